#include "utils/LocalLibrary.h"

#include <utility>

#include "utils/FileIO.h"
#include "utils/platform/PlatformFactory.h"

namespace lathwind {

LocalLibrary::~LocalLibrary() {
    unload();
}

bool LocalLibrary::isBareName(const std::wstring& name) {
    return !name.empty() && name.find_first_of(L"\\/:") == std::wstring::npos;
}

platform::ErrorCode LocalLibrary::load(const std::wstring& name) {
    if (!isBareName(name) || !FileIO::Exists(name)) {
        return platform::error::FileNotFound;
    }
    return platform::libraries().load(FileIO::MakeAbsolutePath(name), handle_);
}

void LocalLibrary::unload() {
    if (handle_ != nullptr) {
        platform::libraries().unload(std::exchange(handle_, nullptr));
    }
}

void* LocalLibrary::symbol(const char* name) const {
    return platform::libraries().symbol(handle_, name);
}

}  // namespace lathwind
