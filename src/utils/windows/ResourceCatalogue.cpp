#include "utils/windows/ResourceCatalogue.h"

#include "utils/windows/SystemHeaders.h"
#include "utils/windows/WinServices.h"

namespace lathwind::windows {

int ResourceCatalogue::load(int id, wchar_t* buffer, int size) {
    // LoadStringW takes a size of 0 as the wish for a pointer to the row itself, and would write
    // that pointer into the buffer.
    if (id < 0 || buffer == nullptr || size <= 0) {
        return 0;
    }
    return ::LoadStringW(::GetModuleHandleW(nullptr), static_cast<UINT>(id), buffer, size);
}

std::unique_ptr<MessageCatalogue> makeResourceCatalogue() {
    return std::make_unique<ResourceCatalogue>();
}

}  // namespace lathwind::windows
