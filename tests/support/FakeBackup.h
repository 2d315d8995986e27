#pragma once

#include <algorithm>
#include <cstring>
#include <string>
#include <utility>

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

}  // namespace lathwind::testing
