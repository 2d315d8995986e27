#include "filewatch/FilterEventDecoder.h"

#include <cstddef>
#include <span>
#include <utility>
#include <vector>

#include "filewatch/IPSFilterInterface.h"
#include "filewatch/windows/WinFileAttributes.h"
#include "utils/Logging.h"
#include "utils/SidText.h"
#include "utils/Text.h"
#include "utils/platform/PlatformFactory.h"

namespace lathwind {
namespace {

constexpr ModuleId kModule = ModuleId::FilewatchCollector;
constexpr std::uint32_t kSymlinkTag = 0xA000000C;  // IO_REPARSE_TAG_SYMLINK

struct Operation {
    DriverOperation code = DriverOperation::None;
    const wchar_t* label = L"Undefined Driver Action";
};

constexpr Operation kModified{DriverOperation::Modified, L"File Modified"};

Operation operationOf(std::uint32_t eventType) {
    switch (eventType) {
        case filterEvent::Accessed:
            return {DriverOperation::Accessed, L"File Accessed"};
        case filterEvent::Created:
            return {DriverOperation::Created, L"File Created"};
        case filterEvent::Modified:
            return kModified;
        case filterEvent::Deleted:
            return {DriverOperation::Deleted, L"File Deleted"};
        case filterEvent::Mounted:
            return {DriverOperation::Mounted, L"Filesystem Mounted"};
        case filterEvent::Unmounted:
            return {DriverOperation::Unmounted, L"Filesystem Un-Mounted"};
        case filterEvent::Renamed:
            return {DriverOperation::Renamed, L"File Renamed"};
        default:
            return {};
    }
}

// False for a text that is not there or does not end where the longest path would.
bool takeText(const wchar_t* text, std::wstring& copy) {
    copy.clear();
    if (text == nullptr) {
        return false;
    }
    std::size_t length = 0;
    while (text[length] != L'\0') {
        if (++length > FilterEventDecoder::kMostPathUnits) {
            return false;
        }
    }
    copy.assign(text, length);
    return true;
}

std::vector<std::byte> copySid(const void* identifier) {
    if (identifier == nullptr) {
        return {};
    }
    const auto* bytes = static_cast<const std::byte*>(identifier);
    const std::size_t length =
        sidLengthOfHead(std::span<const std::byte, kSidHeadBytes>(bytes, kSidHeadBytes));
    return {bytes, bytes + length};
}

// The process table is asked without a word in the log: a driver's event may come from a process
// that is closed to us, and comes again and again.
std::wstring processOf(const IPSFilterEvent& event) {
    std::wstring image;
    if (event.processImage != nullptr) {
        takeText(event.processImage, image);
        return image;
    }
    platform::ProcessFacts facts;
    if (platform::processes().query(event.processId, facts) != platform::error::Success) {
        return {};
    }
    return facts.path.empty() ? facts.image : facts.path;
}

// A symbolic link to a volume changes nothing about volumes: it is a file that was changed.
DecodedFilterEvent::Mount mountOf(const std::wstring& path, Operation& operation) {
    if (operation.code == DriverOperation::Unmounted) {
        return DecodedFilterEvent::Mount::Unmounted;
    }
    if (operation.code != DriverOperation::Mounted) {
        return DecodedFilterEvent::Mount::None;
    }
    if (GetReparseTag(path) != kSymlinkTag) {
        return DecodedFilterEvent::Mount::Mounted;
    }
    operation = kModified;
    debugLog(kModule,
             L"Changing IPS_FW_MOUNT to IPS_FW_MODIFIED for %ls reparseTag == "
             L"IO_REPARSE_TAG_SYMLINK",
             path);
    return DecodedFilterEvent::Mount::None;
}

// A stream's birth or death is a change to its file.
void cutStreamName(std::wstring& name, std::uint32_t eventType, Operation& operation) {
    const auto backslash = name.rfind(L'\\');
    const auto colon = name.rfind(L':');
    if (backslash == std::wstring::npos || colon == std::wstring::npos || colon < backslash) {
        return;
    }
    const std::wstring stream = name.substr(colon);
    name.erase(colon);
    debugLog(kModule, L"ADS Stream name: %ls extracted for file: %s", stream, name);
    if (eventType == filterEvent::Created || eventType == filterEvent::Deleted) {
        operation = kModified;
    }
}

}  // namespace

// The whole path counts, with its stream: a file that is deleted right after a stream of its own is
// no repeat.
bool FilterEventDecoder::IsRepeat(const IPSFilterEvent& event, const std::wstring& path) {
    const bool isAccess = event.eventType == filterEvent::Accessed;
    if (!isAccess && event.eventType != filterEvent::Deleted) {
        return false;
    }
    std::wstring key = std::to_wstring(event.processId);
    key.append(L" ").append(toLower(path));
    RecentKeys& recent = isAccess ? recentAccesses_ : recentDeletes_;
    return recent.Touch(std::move(key), platform::host().steadyTimeMs());
}

DecodedFilterEvent FilterEventDecoder::Decode(const IPSFilterEvent& event) {
    DecodedFilterEvent decoded;
    if (event.processId == platform::processes().currentId()) {
        return decoded;  // our own reading and writing
    }
    if (!takeText(event.filePath, decoded.path)) {
        debugLog(kModule,
                 L"Invalid IPS Filewatch Filter event type %ls occured. Bad values passed for "
                 L"file: %p .",
                 event.eventType == filterEvent::Accessed ? L"FileAccess" : L"FileWrite",
                 static_cast<const void*>(event.filePath));
        return decoded;
    }
    decoded.process = processOf(event);
    Operation operation = operationOf(event.eventType);
    decoded.mount = mountOf(decoded.path, operation);
    debugLog(kModule,
             L"IPS FILEWATCH DRIVER FILTER event type (%ls) from (%ls) occured for file %ls.",
             operation.label, decoded.process, decoded.path);

    std::wstring name = decoded.path;
    const bool isRename = operation.code == DriverOperation::Renamed;
    if (isRename) {
        takeText(event.newPath,
                 name);  // without one the file is gone from its old path all the same
    }
    makeLower(name);
    cutStreamName(name, event.eventType, operation);
    decoded.label = operation.label;
    if (IsRepeat(event, decoded.path)) {
        return decoded;
    }
    decoded.notification = std::make_unique<FileNotificationInfo>(
        std::move(name), operation.code, static_cast<std::int32_t>(event.session),
        static_cast<std::int32_t>(event.processId), copySid(event.userIdentifier), decoded.process,
        FileNotificationInfo::kAnyList);
    if (isRename) {
        decoded.notification->oldPath = toLower(decoded.path);
    }
    return decoded;
}

}  // namespace lathwind
