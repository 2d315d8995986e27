#include "plugins/FileDiffPlugin.h"

#include <algorithm>
#include <cstdint>
#include <exception>
#include <utility>

#include "utils/ByteArray.h"
#include "utils/Logging.h"
#include "utils/Text.h"
#include "utils/platform/PlatformFactory.h"

namespace lathwind {
namespace {

constexpr ModuleId kModule = ModuleId::FilewatchCollector;

std::wstring systemText(platform::ErrorCode code) {
    return platform::host().errorText(code);
}

// What a plug-in has written so far. It is called from foreign code, which no exception may cross.
class Result {
public:
    static std::int32_t FILEDIFF_CALL write(void* context, const char* text,
                                            std::uint32_t size) noexcept {
        return context != nullptr && static_cast<Result*>(context)->append(text, size) ? 0 : 1;
    }
    bool isRefused() const { return refused_; }
    std::wstring text() const {
        std::wstring wide = utf16FromUtf8(bytes_);
        std::replace(wide.begin(), wide.end(), L'\0', L'\xFFFD');
        return wide;
    }

private:
    bool append(const char* text, std::uint32_t size) noexcept {
        refused_ = refused_ || (text == nullptr && size != 0) ||
                   size > DiffFilter::kMostText - bytes_.size();
        if (refused_ || size == 0) {
            return !refused_;
        }
        try {
            bytes_.append(text, size);
        } catch (const std::exception&) {  // no memory
            refused_ = true;
        }
        return !refused_;
    }

    std::string bytes_;
    bool refused_ = false;
};

}  // namespace

std::wstring FileDiffPlugin::libraryName(const std::wstring& type) {
    std::wstring name = L"filediff_";
    name.append(type).append(platform::libraries().suffix());
    return name;
}

std::unique_ptr<FileDiffPlugin> FileDiffPlugin::load(const std::wstring& library) {
    std::unique_ptr<FileDiffPlugin> plugin(new FileDiffPlugin(library));
    return plugin->load() && plugin->findEntries() ? std::move(plugin) : nullptr;
}

bool FileDiffPlugin::load() {
    if (!LocalLibrary::isBareName(name_)) {
        debugLog(kModule, L"FileDiff plugin must reside in bin/ directory: %ls", name_);
        return false;
    }
    const platform::ErrorCode code = library_.load(name_);
    if (code == platform::error::FileNotFound) {
        debugLog(kModule, L"FileDiff plugin does not exist in bin/ directory: %ls", name_);
    } else if (code != platform::error::Success) {
        debugLog(kModule, L"Failed to load FileDiff plugin (%ls): %ls", name_, systemText(code));
    }
    return library_.isLoaded();
}

template <class Entry>
bool FileDiffPlugin::find(const char* name, Entry& entry) const {
    const bool isFound = library_.find(name, entry);
    if (!isFound) {
        debugLog(kModule, L"Failed to load %ls API from FileDiff plugin (%ls): %ls", name, name_,
                 systemText(platform::error::ProcedureNotFound));
    }
    return isFound;
}

bool FileDiffPlugin::findEntries() {
    filediff_version_entry version = nullptr;
    if (!find("Filter", filter_) || !find("Free", free_) || !find("FilterVersion", version)) {
        return false;
    }
    const std::uint32_t found = version();
    if (found != FILEDIFF_VERSION) {
        debugLog(kModule, L"FileDiff plugin (%ls) has interface version %u, expected %u", name_,
                 found, FILEDIFF_VERSION);
    }
    return found == FILEDIFF_VERSION;
}

std::wstring FileDiffPlugin::run(void*& state, const ByteArray& previous,
                                 const ByteArray& current) const {
    Result result;
    filediff_request request{};
    request.size = sizeof(request);
    request.previous = previous.GetData();
    request.previous_size = static_cast<std::uint32_t>(previous.GetLength());
    request.current = current.GetData();
    request.current_size = static_cast<std::uint32_t>(current.GetLength());
    request.write = Result::write;
    request.context = &result;
    const std::int32_t error = filter_(&state, &request);
    if (error != 0) {
        debugLog(kModule, L"FileDiff plugin (%ls) failed with %d", name_, error);
        return {};
    }
    if (result.isRefused()) {
        debugLog(kModule, L"FileDiff plugin (%ls) wrote a result that cannot be taken", name_);
        return {};
    }
    return result.text();
}

void FileDiffPlugin::release(void* state) const {
    if (state != nullptr) {
        free_(state);
    }
}

}  // namespace lathwind
