#include <arpa/inet.h>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>
#include <ifaddrs.h>
#include <memory>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/stat.h>
#include <sys/utsname.h>
#include <thread>
#include <unistd.h>

#include "utils/Text.h"
#include "utils/posix/Errno.h"
#include "utils/posix/Services.h"

namespace lathwind::posix {
namespace {

namespace error = platform::error;
using platform::ErrorCode;

thread_local ErrorCode lastErrorOfThread = error::Success;

std::string textOfErrno(int number) {
    char buffer[256];
    // The GNU form, which gives the text and uses the buffer only if it has to.
    return ::strerror_r(number, buffer, sizeof buffer);
}

bool exists(const std::string& path) {
    struct stat facts {};
    return ::stat(path.c_str(), &facts) == 0;
}

// A unit of systemd is running when its control group holds a process.
bool hasProcesses(const std::string& unit) {
    for (const char* hierarchy :
         {"/sys/fs/cgroup/", "/sys/fs/cgroup/systemd/", "/sys/fs/cgroup/unified/"}) {
        std::ifstream processes(hierarchy + ("system.slice/" + unit) + "/cgroup.procs");
        int id = 0;
        if (processes >> id) {
            return true;
        }
    }
    return false;
}

bool isUnitName(const std::string& name) {
    return !name.empty() && name[0] != '.' &&
           name.find_first_not_of(
               "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789"
               "_-.:@") == std::string::npos;
}

// The first IPv4 address of an interface that is up, among the loopback ones or the others.
const sockaddr* firstAddress(const ifaddrs* entry, bool ofLoopback) {
    for (; entry != nullptr; entry = entry->ifa_next) {
        const bool isUp = (entry->ifa_flags & IFF_UP) != 0;
        const bool isLoopback = (entry->ifa_flags & IFF_LOOPBACK) != 0;
        if (isUp && isLoopback == ofLoopback && entry->ifa_addr != nullptr &&
            entry->ifa_addr->sa_family == AF_INET) {
            return entry->ifa_addr;
        }
    }
    return nullptr;
}

std::int32_t biasOf(const std::tm& local) {
    return static_cast<std::int32_t>(-local.tm_gmtoff / 60);
}

class PosixHost final : public platform::Host {
public:
    std::wstring widen(std::string_view bytes) override { return utf16FromUtf8(bytes); }
    std::string narrow(std::wstring_view text) override { return utf8FromUtf16(text); }

    std::wstring errorText(ErrorCode code) override {
        const int number = errnoFromError(code);
        if (code != error::Success && number == 0) {
            return L"Unknown error " + std::to_wstring(code);
        }
        return errnoText(number);
    }
    std::wstring errnoText(int number) override { return widen(textOfErrno(number)); }
    void setLastError(ErrorCode code) override { lastErrorOfThread = code; }
    ErrorCode lastError() override { return lastErrorOfThread; }

    // The kernel's version.
    ErrorCode osVersion(bool /*extendedForm*/, platform::OsVersion& version) override {
        version = {};
        version.platform = platform::osPlatform::Linux;
        utsname names{};
        if (::uname(&names) != 0) {
            return errorFromErrno(errno);
        }
        unsigned major = 0;
        unsigned minor = 0;
        if (std::sscanf(names.release, "%u.%u", &major, &minor) == 2) {
            version.major = major;
            version.minor = minor;
        }
        return error::Success;
    }
    bool isWow64Process() override { return false; }
    std::wstring windowsDirectory() override { return {}; }

    // By its exact name first, then without regard to case, as the program's texts are written
    // for a system that has none.
    ErrorCode environment(const std::wstring& name, std::wstring& value) override {
        const std::string bytes = narrow(name);
        if (name.empty() || bytes.find('=') != std::string::npos) {
            return error::FileNotFound;
        }
        if (const char* found = std::getenv(bytes.c_str())) {
            value = widen(found);
            return error::Success;
        }
        for (char** entry = environ; entry != nullptr && *entry != nullptr; ++entry) {
            const std::string_view text = *entry;
            const std::size_t equals = text.find('=');
            if (equals != std::string_view::npos &&
                equalsNoCase(widen(text.substr(0, equals)), name)) {
                value = widen(text.substr(equals + 1));
                return error::Success;
            }
        }
        return error::FileNotFound;
    }

    ErrorCode hostName(std::wstring& name) override {
        char buffer[1024] = {};
        if (::gethostname(buffer, sizeof buffer - 1) != 0) {
            return errorFromErrno(errno);
        }
        name = widen(buffer);
        return error::Success;
    }

    // The first address of an interface that is up, loopback last. The name service is not asked:
    // it may be a network away, and often knows the host by a loopback address only.
    ErrorCode ipAddress(std::wstring& dotted) override {
        ifaddrs* list = nullptr;
        if (::getifaddrs(&list) != 0) {
            return errorFromErrno(errno);
        }
        const std::unique_ptr<ifaddrs, void (*)(ifaddrs*)> owner(list, ::freeifaddrs);
        const sockaddr* best = firstAddress(list, false);
        if (best == nullptr) {
            best = firstAddress(list, true);
        }
        if (best == nullptr) {
            return error::NotFound;
        }
        sockaddr_in address{};
        std::memcpy(&address, best, sizeof address);
        char text[INET_ADDRSTRLEN] = {};
        if (::inet_ntop(AF_INET, &address.sin_addr, text, sizeof text) == nullptr) {
            return errorFromErrno(errno);
        }
        dotted = widenAscii(text);
        return error::Success;
    }

    // Services are systemd's units of the system slice. On a host that runs without systemd, and
    // for a name that no unit has, nothing is known.
    platform::ServiceState serviceState(const std::wstring& name) override {
        const std::string unit = narrow(name) + ".service";
        if (!isUnitName(unit) || !exists("/run/systemd/system")) {
            return platform::ServiceState::Unknown;
        }
        if (hasProcesses(unit)) {
            return platform::ServiceState::Running;
        }
        for (const char* folder : {"/etc/systemd/system/", "/run/systemd/system/",
                                   "/usr/lib/systemd/system/", "/lib/systemd/system/"}) {
            if (exists(folder + unit)) {
                return platform::ServiceState::Stopped;
            }
        }
        return platform::ServiceState::Unknown;
    }

    ErrorCode disableFsRedirection(void*& /*cookie*/) override { return error::CallNotImplemented; }
    ErrorCode revertFsRedirection(void* /*cookie*/) override { return error::CallNotImplemented; }

    std::int64_t currentTimeMs() override {
        const auto now = std::chrono::system_clock::now().time_since_epoch();
        return std::chrono::duration_cast<std::chrono::milliseconds>(now).count();
    }
    // The kernel notes it once, so it stays the same while the clock is set.
    std::int64_t bootTime() override {
        std::ifstream facts("/proc/stat");
        for (std::string word; facts >> word;) {
            std::int64_t seconds = 0;
            if (word == "btime" && facts >> seconds) {
                return seconds;
            }
        }
        return 0;
    }
    std::int64_t steadyTimeMs() override {
        const auto now = std::chrono::steady_clock::now().time_since_epoch();
        return std::chrono::duration_cast<std::chrono::milliseconds>(now).count();
    }
    void sleepMs(std::uint32_t milliseconds) override {
        std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
    }

    // The rules of this year, month by month: the C library's own variables keep those of the
    // last time stamp that anybody converted.
    platform::TimeZoneFacts timeZone() override {
        ::tzset();
        const std::time_t now = std::time(nullptr);
        std::tm today{};
        ::localtime_r(&now, &today);
        platform::TimeZoneFacts facts;
        bool standardSeen = false;
        bool daylightSeen = false;
        for (int month = 0; month < 12; ++month) {
            std::tm day{};
            day.tm_year = today.tm_year;
            day.tm_mon = month;
            day.tm_mday = 15;
            const std::time_t seconds = ::timegm(&day);
            std::tm local{};
            ::localtime_r(&seconds, &local);
            const bool daylight = local.tm_isdst > 0;
            (daylight ? daylightSeen : standardSeen) = true;
            (daylight ? facts.daylightBias : facts.standardBias) = biasOf(local);
            (daylight ? facts.daylightName : facts.standardName) = widen(local.tm_zone);
        }
        if (!daylightSeen) {
            facts.daylightBias = facts.standardBias;
            facts.daylightName = facts.standardName;
        }
        if (!standardSeen) {
            facts.standardBias = facts.daylightBias;
            facts.standardName = facts.daylightName;
        }
        return facts;
    }

    bool isDaylightAt(std::int64_t utcSeconds, std::int32_t& biasMinutes) override {
        const auto seconds = static_cast<std::time_t>(utcSeconds);
        std::tm local{};
        if (::localtime_r(&seconds, &local) == nullptr) {
            biasMinutes = 0;
            return false;
        }
        biasMinutes = biasOf(local);
        return local.tm_isdst > 0;
    }

    bool writeOutput(std::wstring_view text) override { return write(text, stdout); }
    bool writeError(std::wstring_view text) override { return write(text, stderr); }
    bool flushOutput() override { return std::fflush(stdout) == 0; }
    bool isErrorTerminal() override { return ::isatty(STDERR_FILENO) == 1; }

private:
    // The run-time buffers standard output when it is no terminal, so a line costs no call of the
    // system; and what others print through it stays in order.
    static bool write(std::wstring_view text, std::FILE* stream) {
        const std::string bytes = utf8FromUtf16(text);
        return std::fwrite(bytes.data(), 1, bytes.size(), stream) == bytes.size();
    }
};

}  // namespace

platform::Host& host() {
    static platform::Host& instance = *new PosixHost;
    return instance;
}

}  // namespace lathwind::posix
