#include <dlfcn.h>

#include "utils/posix/Services.h"

namespace lathwind::posix {
namespace {

class PosixLibraries final : public platform::Libraries {
public:
    // A name without a folder is sought where the system keeps its libraries, any other as a path.
    platform::ErrorCode load(const std::wstring& path, void*& library) override {
        const bool bare = path.find_first_of(L"\\/:") == std::wstring::npos;
        const std::string bytes =
            bare ? posix::host().narrow(path) : posix::files().nativePath(path).string();
        // An empty name would give a handle of the program itself.
        library = bytes.empty() ? nullptr : ::dlopen(bytes.c_str(), RTLD_NOW | RTLD_LOCAL);
        return library != nullptr ? platform::error::Success : platform::error::ModuleNotFound;
    }

    void* symbol(void* library, const std::string& name) override {
        return library != nullptr ? ::dlsym(library, name.c_str()) : nullptr;
    }

    void unload(void* library) override {
        if (library != nullptr) {
            ::dlclose(library);
        }
    }

    std::wstring suffix() override { return L".so"; }
};

}  // namespace

platform::Libraries& libraries() {
    static platform::Libraries& instance = *new PosixLibraries;
    return instance;
}

}  // namespace lathwind::posix
