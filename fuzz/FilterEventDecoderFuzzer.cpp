// Any event of the real-time filter: type, process, each pointer there or not, and any texts. What
// comes out must be a notification of a lower-case path, and the same event right behind it a
// repeat exactly where repeats are dropped.

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "filewatch/FilterEventDecoder.h"
#include "filewatch/IPSFilterInterface.h"
#include "utils/Text.h"

namespace {

constexpr std::size_t kHeadBytes = 4;
constexpr std::size_t kLongestSid = 8 + 15 * 4;

void require(bool holds) {
    if (!holds) {
        std::abort();
    }
}

// Takes the text up to the next line feed off the front.
std::wstring takeText(std::string_view& rest) {
    const auto end = rest.find('\n');
    std::wstring text = lathwind::utf16FromUtf8(rest.substr(0, end));
    rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
    return text;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace lathwind;
    if (size < kHeadBytes) {
        return 0;
    }
    const std::uint8_t present = data[1];
    std::string_view rest(reinterpret_cast<const char*>(data) + kHeadBytes, size - kHeadBytes);
    const std::wstring path = takeText(rest);
    const std::wstring image = takeText(rest);
    const std::wstring newPath = takeText(rest);
    std::vector<std::byte> sid(kLongestSid);
    if (!rest.empty()) {
        std::memcpy(sid.data(), rest.data(), std::min(rest.size(), sid.size()));
    }
    IPSFilterEvent event{};
    event.eventType = data[0];
    event.session = data[2];
    event.processId = 0x7FFFFF00u + data[3];  // nobody's
    event.userIdentifier = (present & 1) != 0 ? sid.data() : nullptr;
    event.filePath = (present & 2) != 0 ? path.c_str() : nullptr;
    event.processImage = (present & 4) != 0 ? image.c_str() : nullptr;
    event.newPath = (present & 8) != 0 ? newPath.c_str() : nullptr;

    FilterEventDecoder decoder;
    const DecodedFilterEvent first = decoder.Decode(event);
    const DecodedFilterEvent second = decoder.Decode(event);
    const bool isRepeatDropped =
        event.eventType == filterEvent::Accessed || event.eventType == filterEvent::Deleted;
    const bool isBad =
        event.filePath == nullptr || path.size() > FilterEventDecoder::kMostPathUnits;
    require((first.notification == nullptr) == isBad);
    if (first.notification == nullptr) {
        return 0;
    }
    require((second.notification == nullptr) == isRepeatDropped);
    const FileNotificationInfo& note = *first.notification;
    require(note.path == toLower(note.path));
    require(note.userSid.size() <= kLongestSid);
    require(note.oldPath.empty() || note.action == FileAction::Renamed);
    require((first.mount == DecodedFilterEvent::Mount::None) ==
            (note.action != FileAction::Mount && note.action != FileAction::Unmount));
    return 0;
}
