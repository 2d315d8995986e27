#include <gtest/gtest.h>
#include <map>
#include <string>
#include <vector>

#include "filewatch/windows/WinPathMapping.h"
#include "support/HostDecorator.h"
#include "support/LogCapture.h"
#include "support/ServiceOverride.h"

namespace lathwind {
namespace {

namespace error = platform::error;
using Lines = std::vector<std::wstring>;

const SystemFolders kRedirected{true, L"c:\\windows"};
const SystemFolders kPlain{false, L"c:\\windows"};

TEST(WinPathMapping, Table) {
    const std::wstring shown = L"c:\\windows\\system32\\x\\system32";
    const std::wstring real = L"c:\\windows\\sysnative\\x\\sysnative";
    EXPECT_EQ(MapToRealPath(shown, kRedirected), real);
    EXPECT_EQ(MapToWatchedPath(real, kRedirected), shown);
    EXPECT_EQ(MapToRealPath(shown, kPlain), shown);
    EXPECT_EQ(MapToWatchedPath(real, kPlain), real);
    EXPECT_EQ(MapToRealPath(L"d:\\system32", kRedirected), L"d:\\system32");
}

class RedirectingHost : public testing::HostDecorator {
public:
    using HostDecorator::HostDecorator;
    platform::ErrorCode disableFsRedirection(void*& cookie) override {
        ++depth;
        cookie = this;
        return code;
    }
    platform::ErrorCode revertFsRedirection(void* cookie) override {
        EXPECT_EQ(cookie, this);
        --depth;
        return code;
    }
    platform::ErrorCode code = error::Success;
    int depth = 0;
};

TEST(WinPathMapping, RedirectionIsRevertedOnlyIfItWasDisabled) {
    RedirectingHost host(platform::host());
    const testing::ServiceOverride answers(platformFactory.host, host);
    testing::LogCapture lines;
    FsRedirection redirection;
    for (const auto& [path, disabled] : std::map<std::wstring, bool>{
             {L"", true}, {L"c:\\windows\\system32\\a", true}, {L"c:\\windows\\a", false}}) {
        DisableFsRedirection(redirection, path, kRedirected);
        EXPECT_EQ(host.depth, disabled ? 1 : 0);
        RevertFsRedirection(redirection);
        EXPECT_EQ(host.depth, 0);
    }
    DisableFsRedirection(redirection, L"", kPlain);
    EXPECT_EQ(host.depth, 0);
    EXPECT_EQ(lines.takeDebug(), Lines{});

    DisableFsRedirection(redirection, L"", kRedirected);
    host.code = error::GenFailure;
    RevertFsRedirection(redirection);
    DisableFsRedirection(redirection, L"", kRedirected);
    EXPECT_FALSE(redirection.isDisabled);
    host.code = error::CallNotImplemented;  // no such entry point: not worth a word
    DisableFsRedirection(redirection, L"", kRedirected);
    const std::wstring text = host.errorText(error::GenFailure);
    EXPECT_EQ(lines.takeDebug(), (Lines{L"Wow64RevertWow64FsRedirection() failed: " + text,
                                        L"Wow64DisableWow64FsRedirection() failed: " + text}));
}

}  // namespace
}  // namespace lathwind
