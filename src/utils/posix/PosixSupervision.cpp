#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>

#include "utils/posix/Descriptor.h"
#include "utils/posix/Errno.h"
#include "utils/posix/Mutex.h"
#include "utils/posix/Services.h"

// Requests to stop are signals. A handler may do next to nothing, so it writes the signal's number
// into a pipe, at whose end a thread tells the listener.
//
// The service manager is systemd. A unit of type "notify" is told how far the program is by a
// datagram to a socket that the environment names; units are installed as files, not by programs.
namespace lathwind::posix {
namespace {

namespace error = platform::error;
using platform::ErrorCode;
using platform::StopReason;

struct StopSignal {
    int number;
    StopReason reason;
};
constexpr std::array<StopSignal, 3> kStopSignals = {{
    {SIGINT, StopReason::Interrupt},
    {SIGTERM, StopReason::Termination},
    {SIGHUP, StopReason::ConsoleClosed},
}};

// The end of the pipe that handlers write to.
std::atomic<int> signalPipe{-1};
static_assert(std::atomic<int>::is_always_lock_free);

void onSignal(int number) {
    const int saved = errno;
    const auto byte = static_cast<unsigned char>(number);
    // A full pipe holds requests enough.
    [[maybe_unused]] const auto written = ::write(signalPipe.load(), &byte, 1);
    errno = saved;
}

// From construction on the listener is told of signals; the destructor puts the former manner back.
class SignalWatch {
public:
    explicit SignalWatch(platform::StopListener& listener) : listener_(listener) {
        std::array<int, 2> ends{};
        if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
            code_ = errorFromErrno(errno);
            return;
        }
        reader_.reset(ends[0]);
        writer_.reset(ends[1]);
        ::fcntl(writer_.get(), F_SETFL, O_NONBLOCK);
        signalPipe.store(writer_.get());
        thread_ = std::thread([this] { readRequests(); });
        for (std::size_t i = 0; i < kStopSignals.size(); ++i) {
            install(kStopSignals[i].number, former_[i]);
        }
    }
    ~SignalWatch() {
        if (code_ != error::Success) {
            return;
        }
        for (std::size_t i = 0; i < kStopSignals.size(); ++i) {
            ::sigaction(kStopSignals[i].number, &former_[i], nullptr);
        }
        signalPipe.store(-1);
        writer_.close();  // ends the reading
        thread_.join();
    }
    SignalWatch(const SignalWatch&) = delete;
    SignalWatch& operator=(const SignalWatch&) = delete;

    ErrorCode code() const noexcept { return code_; }

private:
    // A shell has its background programs ignore the keyboard, "nohup" the terminal's end.
    static void install(int number, struct sigaction& former) {
        ::sigaction(number, nullptr, &former);
        if (former.sa_handler == SIG_IGN) {
            return;
        }
        struct sigaction action {};
        action.sa_handler = onSignal;
        action.sa_flags = SA_RESTART;
        ::sigfillset(&action.sa_mask);
        ::sigaction(number, &action, nullptr);
    }

    void readRequests() {
        unsigned char byte = 0;
        for (;;) {
            const ssize_t got = ::read(reader_.get(), &byte, 1);
            if (got == 0 || (got < 0 && errno != EINTR)) {
                return;
            }
            for (const StopSignal& signal : kStopSignals) {
                if (got == 1 && signal.number == byte) {
                    listener_.onStopRequest(signal.reason);
                }
            }
        }
    }

    platform::StopListener& listener_;
    ErrorCode code_ = error::Success;
    Descriptor reader_;
    Descriptor writer_;
    std::array<struct sigaction, kStopSignals.size()> former_{};
    std::thread thread_;
};

std::string textOf(const platform::ServiceReport& report) {
    using platform::ServiceStage;
    std::string text = report.stage == ServiceStage::Running    ? "READY=1\n"
                       : report.stage == ServiceStage::Stopping ? "STOPPING=1\n"
                                                                : "";
    if (report.waitHintMs != 0) {
        text += "EXTEND_TIMEOUT_USEC=" + std::to_string(std::uint64_t{report.waitHintMs} * 1000);
    }
    return text;
}

// The manager's socket: a path, or "@" and a name that no file has.
void notifyManager(const std::string& text) {
    const char* const name = std::getenv("NOTIFY_SOCKET");
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::size_t length = name == nullptr ? 0 : std::strlen(name);
    if (length == 0 || length >= sizeof address.sun_path || text.empty()) {
        return;
    }
    std::memcpy(address.sun_path, name, length);
    if (address.sun_path[0] == '@') {
        address.sun_path[0] = '\0';
    }
    const Descriptor socket(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + length);
    // A manager that has gone is no concern of the program's.
    [[maybe_unused]] const auto sent =
        ::sendto(socket.get(), text.data(), text.size(), MSG_NOSIGNAL | MSG_DONTWAIT,
                 reinterpret_cast<const sockaddr*>(&address), size);
}

// The lock belongs to the open file, which the kernel closes with the process however that ends.
class FileLock final : public platform::InstanceLock {
public:
    explicit FileLock(Descriptor file) : file_(std::move(file)) {}

private:
    Descriptor file_;
};

class PosixSupervision final : public platform::Supervision {
public:
    ErrorCode listen(platform::StopListener* listener) override {
        const MutexHolder holder(mutex_);
        watch_.reset();
        if (listener == nullptr) {
            return error::Success;
        }
        // A console that has gone must not end the program at its next line.
        ::signal(SIGPIPE, SIG_IGN);
        watch_ = std::make_unique<SignalWatch>(*listener);
        return watch_->code();
    }

    void report(const platform::ServiceReport& report) override { notifyManager(textOf(report)); }

    ErrorCode runService(const std::wstring&, const std::function<std::uint32_t()>&) override {
        return error::CallNotImplemented;
    }
    ErrorCode installService(const platform::ServiceDefinition&) override {
        return error::CallNotImplemented;
    }
    ErrorCode removeService(const std::wstring&) override { return error::CallNotImplemented; }

    ErrorCode lockInstance(const std::wstring& path,
                           std::unique_ptr<platform::InstanceLock>& lock) override {
        const std::string name = posix::files().nativePath(path).string();
        Descriptor file(::open(name.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644));
        if (!file) {
            return errorFromErrno(errno);
        }
        if (::flock(file.get(), LOCK_EX | LOCK_NB) != 0) {
            return errno == EWOULDBLOCK ? error::SharingViolation : errorFromErrno(errno);
        }
        const std::string id = std::to_string(::getpid()) + "\n";
        // Only a help to people: the lock holds without it.
        [[maybe_unused]] const bool isNoted =
            ::ftruncate(file.get(), 0) == 0 && ::write(file.get(), id.data(), id.size()) > 0;
        lock = std::make_unique<FileLock>(std::move(file));
        return error::Success;
    }

private:
    Mutex mutex_;
    std::unique_ptr<SignalWatch> watch_ GUARDED_BY(mutex_);
};

}  // namespace

platform::Supervision& supervision() {
    static platform::Supervision& instance = *new PosixSupervision;
    return instance;
}

}  // namespace lathwind::posix
