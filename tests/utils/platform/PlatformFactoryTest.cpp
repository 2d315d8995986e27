#include <gtest/gtest.h>

#include "support/ScopedOverride.h"
#include "utils/CachedLookup.h"
#include "utils/FileUtility.h"
#include "utils/MessageCatalogue.h"
#include "utils/ProcessObject.h"
#include "utils/platform/PlatformFactory.h"

namespace lathwind {
namespace {

using testing::ScopedOverride;

TEST(PlatformFactory, EveryEntryIsFilled) {
    const PlatformFactory& factory = platformFactory;
    EXPECT_NE(factory.files, nullptr);
    EXPECT_NE(factory.volumes, nullptr);
    EXPECT_NE(factory.registry, nullptr);
    EXPECT_NE(factory.accounts, nullptr);
    EXPECT_NE(factory.processes, nullptr);
    EXPECT_NE(factory.host, nullptr);
    EXPECT_NE(factory.libraries, nullptr);
    EXPECT_NE(factory.supervision, nullptr);
    EXPECT_NE(factory.createMessageCatalogue, nullptr);
    EXPECT_NE(factory.createLock, nullptr);
    EXPECT_NE(factory.createLookup, nullptr);
    EXPECT_NE(factory.createProcess, nullptr);
    EXPECT_NE(factory.createThread, nullptr);
    EXPECT_NE(factory.createEvent, nullptr);
    EXPECT_NE(factory.createFileUtility, nullptr);
    EXPECT_EQ(factory.exitEvent, nullptr);
    // A new entry has to be added above.
    EXPECT_EQ(sizeof(PlatformFactory), 16 * sizeof(void*));
}

TEST(PlatformFactory, ServicesAreOneAndObjectsAreNew) {
    EXPECT_EQ(&platform::files(), &platform::files());
    EXPECT_NE(platformFactory.createLock(), nullptr);
    EXPECT_NE(platformFactory.createLock(), platformFactory.createLock());
    EXPECT_NE(platformFactory.createMessageCatalogue(), nullptr);
    EXPECT_NE(platformFactory.createLookup(), nullptr);
    EXPECT_NE(platformFactory.createProcess(platform::processes().currentId()), nullptr);
    EXPECT_NE(platformFactory.createFileUtility(), nullptr);
}

TEST(PlatformFactory, OverrideRestoresItself) {
    const auto before = platformFactory.files;
    {
        const ScopedOverride none(platformFactory.files, nullptr);
        EXPECT_EQ(platformFactory.files, nullptr);
    }
    EXPECT_EQ(platformFactory.files, before);
}

}  // namespace
}  // namespace lathwind
