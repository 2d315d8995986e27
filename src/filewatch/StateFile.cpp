#include "filewatch/StateFile.h"

#include "utils/Digests.h"
#include "utils/FileIO.h"
#include "utils/platform/PlatformFactory.h"

namespace lathwind {
namespace {

constexpr std::size_t kBufferBytes = 256 * 1024;

}  // namespace

std::vector<std::size_t> storedWatchLists(std::uint16_t version) {
    if (stateVersion::hasServiceLogList(version)) {
        return {0, 1, 2, 3, 4};
    }
    if (stateVersion::hasCustomLists(version)) {
        return {0, 1, 2, 3};
    }
    return {0, 2};
}

std::array<Md5Digest, watchFiles::kWatchLists.size()> digestWatchLists() {
    std::array<Md5Digest, watchFiles::kWatchLists.size()> digests{};
    for (std::size_t i = 0; i < digests.size(); ++i) {
        HashFileMd5(std::wstring(watchFiles::kWatchLists[i]), digests[i].data(), 0);
    }
    return digests;
}

StateFileInput::StateFileInput() : buffer_(kBufferBytes) {
    stream_.rdbuf()->pubsetbuf(buffer_.data(), static_cast<std::streamsize>(buffer_.size()));
}

bool StateFileInput::open(std::wstring_view path) {
    const std::wstring name(path);
    // The library's stream opens a folder like a file on some systems, and waits for the other end
    // of a pipe. FileIO opens files alone.
    if (FileIO probe; !probe.Open(name, L"rb")) {
        return false;
    }
    stream_.open(platform::files().nativePath(name), std::ios::in | std::ios::binary);
    return stream_.is_open();
}

void StateFileInput::close() {
    stream_.close();
}

StateFileOutput::StateFileOutput() : buffer_(kBufferBytes), stream_(&file_) {
    file_.pubsetbuf(buffer_.data(), static_cast<std::streamsize>(buffer_.size()));
}

bool StateFileOutput::open(std::wstring_view path) {
    path_ = path;
    const bool isOpen = file_.open(platform::files().nativePath(path_),
                                   std::ios::out | std::ios::binary | std::ios::trunc) != nullptr;
    stream_.clear(isOpen ? std::ios::goodbit : std::ios::failbit);
    return isOpen;
}

bool StateFileOutput::flush() {
    return stream_.good() && file_.writeOut() &&
           platform::files().flushToDisk(path_) == platform::error::Success;
}

bool StateFileOutput::close() {
    if (file_.close() == nullptr) {
        stream_.setstate(std::ios::failbit);
    }
    return !stream_.fail();
}

}  // namespace lathwind
