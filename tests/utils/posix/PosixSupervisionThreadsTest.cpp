#include <csignal>
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "support/TempDir.h"
#include "utils/platform/PlatformFactory.h"

namespace lathwind {
namespace {

using platform::StopAnswer;
using platform::StopReason;

class RecordingListener : public platform::StopListener {
public:
    StopAnswer onStopRequest(StopReason reason) override {
        last = reason;
        told->set();
        return StopAnswer::Stop;
    }
    StopReason last = StopReason::Logoff;
    const std::unique_ptr<Event> told = platformFactory.createEvent({});
};

TEST(PosixSupervisionThreads, SignalsBecomeRequestsAndTheFormerMannerComesBack) {
    const auto former = std::signal(SIGHUP, SIG_IGN);
    RecordingListener listener;
    ASSERT_EQ(platform::supervision().listen(&listener), platform::error::Success);
    std::raise(SIGHUP);  // was ignored, and stays so
    for (const auto& [signal, reason] :
         {std::pair(SIGTERM, StopReason::Termination), std::pair(SIGINT, StopReason::Interrupt)}) {
        std::raise(signal);
        ASSERT_EQ(listener.told->wait(20000, false), WaitResult::Signalled);
        EXPECT_EQ(listener.last, reason);
        listener.told->reset();
    }
    platform::supervision().listen(nullptr);
    EXPECT_EQ(std::signal(SIGTERM, SIG_DFL), SIG_DFL);
    std::signal(SIGHUP, former);
}

TEST(PosixSupervisionThreads, TheServiceManagerHearsOfEachStage) {
    const testing::TempDir folder;
    const std::string name = folder.native("notify").string();
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    ASSERT_LT(name.size(), sizeof address.sun_path);
    std::memcpy(address.sun_path, name.data(), name.size());
    const int socket = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK, 0);
    ASSERT_EQ(::bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    ::setenv("NOTIFY_SOCKET", name.c_str(), 1);
    using platform::ServiceStage;
    for (const auto& [report, text] :
         {std::pair(platform::ServiceReport{ServiceStage::Starting, 1, 3000},
                    "EXTEND_TIMEOUT_USEC=3000000"),
          std::pair(platform::ServiceReport{ServiceStage::Running, 0, 0}, "READY=1\n"),
          std::pair(platform::ServiceReport{ServiceStage::Stopping, 1, 2},
                    "STOPPING=1\nEXTEND_TIMEOUT_USEC=2000")}) {
        platform::supervision().report(report);
        char buffer[100] = {};
        EXPECT_GT(::recv(socket, buffer, sizeof buffer - 1, 0), 0);
        EXPECT_STREQ(buffer, text);
    }
    ::unsetenv("NOTIFY_SOCKET");
    ::close(socket);
}

}  // namespace
}  // namespace lathwind
