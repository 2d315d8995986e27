#include "utils/windows/WinHandles.h"
#include "utils/windows/WinServices.h"

namespace lathwind::windows {
namespace {

class WinLibraries final : public platform::Libraries {
public:
    platform::ErrorCode load(const std::wstring& path, void*& library) override {
        // What the library itself needs is looked for beside it, not in the current folder.
        library = ::LoadLibraryExW(path.c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
        return resultOf(library != nullptr);
    }
    void* symbol(void* library, const std::string& name) override {
        return reinterpret_cast<void*>(
            ::GetProcAddress(static_cast<HMODULE>(library), name.c_str()));
    }
    void unload(void* library) override { ::FreeLibrary(static_cast<HMODULE>(library)); }
    std::wstring suffix() override { return L".dll"; }
};

}  // namespace

platform::Libraries& libraries() {
    static auto& service = *new WinLibraries;
    return service;
}

}  // namespace lathwind::windows
