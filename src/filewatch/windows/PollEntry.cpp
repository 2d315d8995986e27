#include "filewatch/windows/PollEntry.h"

#include "filewatch/FileAttributes.h"

namespace lathwind {

const std::set<std::wstring>& PollEntry::GetMasks() const {
    static const std::set<std::wstring> none;
    return none;
}

}  // namespace lathwind
