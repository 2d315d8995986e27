#include "utils/windows/ResourceCatalogue.h"

#include "utils/windows/SystemHeaders.h"
#include "utils/windows/WinServices.h"

namespace lathwind::windows {

constexpr int kLastId = 0xFFFF;

int ResourceCatalogue::load(int id, wchar_t* buffer, int size) {
    // LoadStringW looks at the low 16 bits of an id only. A size of 0 is its wish for a pointer to
    // the row, which it would write into the buffer.
    if (id < 0 || id > kLastId || buffer == nullptr || size <= 0) {
        return 0;
    }
    return ::LoadStringW(::GetModuleHandleW(nullptr), static_cast<UINT>(id), buffer, size);
}

std::unique_ptr<MessageCatalogue> makeResourceCatalogue() {
    return std::make_unique<ResourceCatalogue>();
}

}  // namespace lathwind::windows
