#include "tools/Progress.h"

#include <algorithm>

#include "utils/Format.h"
#include "utils/platform/PlatformFactory.h"

namespace lathwind::tool {
namespace {

constexpr std::int64_t kPatienceMs = 2000;
constexpr std::int64_t kIntervalMs = 250;
constexpr std::uint64_t kMiB = 1024 * 1024;

}  // namespace

Progress::Progress(std::wstring_view what, std::uint64_t total)
    : what_(what), total_(total), active_(platform::host().isErrorTerminal()), listening_(*this) {
    if (active_) {
        due_ = platform::host().steadyTimeMs() + kPatienceMs;
    }
}

Progress::~Progress() {
    if (shown_ != 0) {
        platform::host().writeError(L"\r" + std::wstring(shown_, L' ') + L"\r");
    }
}

void Progress::onBytes(std::uint64_t bytes) {
    bytes_ += bytes;
    if (active_) {
        look();
    }
}

void Progress::look() {
    const std::int64_t now = platform::host().steadyTimeMs();
    if (now >= due_) {
        due_ = now + kIntervalMs;
        show();
    }
}

void Progress::show() {
    std::wstring line = format(L"%ls: %u", what_, done_);
    if (total_ != 0) {
        appendFormat(line, L" of %u", total_);
    }
    if (bytes_ >= kMiB) {
        appendFormat(line, L", %u MiB of the next file read", bytes_ / kMiB);
    }
    const std::size_t length = line.size();
    line.append(shown_ > length ? shown_ - length : 0, L' ');
    shown_ = std::max(shown_, length);
    platform::host().writeError(L"\r" + line);
}

}  // namespace lathwind::tool
