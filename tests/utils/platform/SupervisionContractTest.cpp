#include <gtest/gtest.h>

#include "support/TempDir.h"
#include "utils/platform/PlatformFactory.h"

namespace lathwind {
namespace {

using platform::InstanceLock;
using testing::TempDir;

std::string withoutLineEnd(std::string text) {
    text.erase(text.find_last_not_of("\r\n") + 1);
    return text;
}

TEST(Supervision, OneHolderOfALockAtATime) {
    const TempDir folder;
    folder.write("lock", "something older and longer");
    platform::Supervision& supervision = platform::supervision();
    std::unique_ptr<InstanceLock> first;
    std::unique_ptr<InstanceLock> second;
    ASSERT_EQ(supervision.lockInstance(folder.path(L"lock"), first), platform::error::Success);
    EXPECT_EQ(supervision.lockInstance(folder.path(L"lock"), second),
              platform::error::SharingViolation);
    EXPECT_EQ(second, nullptr);
    EXPECT_EQ(withoutLineEnd(folder.read("lock")),
              std::to_string(platform::processes().currentId()));
    first.reset();
    EXPECT_EQ(supervision.lockInstance(folder.path(L"lock"), second), platform::error::Success);
    EXPECT_NE(supervision.lockInstance(folder.path(L"no\\folder"), first),
              platform::error::SharingViolation);
    EXPECT_EQ(first, nullptr);
}

TEST(Supervision, NobodyStartedThisAsAService) {
    bool ran = false;
    const auto body = [&ran] {
        ran = true;
        return 0u;
    };
    EXPECT_NE(platform::supervision().runService(L"LathwindTest", body), platform::error::Success);
    EXPECT_FALSE(ran);
    platform::supervision().report({platform::ServiceStage::Running, 0, 0});  // to nobody
}

TEST(Supervision, BootTimeIsBehindUs) {
    const std::int64_t now = platform::host().currentTimeMs() / 1000;
    EXPECT_LE(platform::host().bootTime(), now);
    EXPECT_GT(platform::host().bootTime(), now - std::int64_t{20} * 365 * 86400);
}

}  // namespace
}  // namespace lathwind
