#pragma once

#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>
#include <utility>

#include "support/Bytes.h"
#include "utils/platform/Files.h"

namespace lathwind::testing {

// A backup stream over bytes. The operation with number `failing` (reads and skips, from 0) is
// refused.
class FakeBackup : public platform::BackupReader {
public:
    static constexpr int kNone = -1;

    explicit FakeBackup(std::string bytes, int failing = kNone,
                        platform::ErrorCode finishCode = platform::error::Success)
        : bytes_(std::move(bytes)), failing_(failing), finishCode_(finishCode) {}

    platform::ErrorCode read(void* target, std::uint32_t count, std::uint32_t& got) override {
        got = 0;
        if (isRefused()) {
            return platform::error::GenFailure;
        }
        got = static_cast<std::uint32_t>(std::min<std::size_t>(count, bytes_.size() - position_));
        std::memcpy(target, bytes_.data() + position_, got);
        position_ += got;
        return platform::error::Success;
    }
    platform::ErrorCode skip(std::uint64_t count) override {
        if (isRefused()) {
            return platform::error::GenFailure;
        }
        position_ = static_cast<std::size_t>(std::min<std::uint64_t>(
            bytes_.size(), position_ + std::min<std::uint64_t>(count, bytes_.size())));
        return platform::error::Success;
    }
    platform::ErrorCode finish() override { return finishCode_; }

    std::size_t position() const { return position_; }

private:
    bool isRefused() { return failing_-- == 0; }

    std::string bytes_;
    int failing_;
    platform::ErrorCode finishCode_;
    std::size_t position_ = 0;
};

// One stream of a backup: header, name, data.
inline std::string backupStream(std::uint32_t id, std::string_view data,
                                std::string_view name = {}) {
    return Bytes().u32(id).u32(0).u64(data.size()).u32(name.size()).raw(name).raw(data).str();
}

// One entry of an attribute list, without what pads it to the next.
inline std::string eaEntry(std::uint32_t next, std::string_view name, std::string_view value) {
    Bytes entry;
    entry.u32(next).u8(0).u8(name.size()).u16(value.size());
    return entry.raw(name).u8(0).raw(value).str();
}

}  // namespace lathwind::testing
