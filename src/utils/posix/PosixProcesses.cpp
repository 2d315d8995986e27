#include <cerrno>
#include <charconv>
#include <climits>
#include <cstring>
#include <dirent.h>
#include <fstream>
#include <signal.h>  // NOLINT(modernize-deprecated-headers): kill is not in <csignal>
#include <sstream>
#include <sys/stat.h>
#include <unistd.h>

#include "utils/Text.h"
#include "utils/posix/Errno.h"
#include "utils/posix/ModeSddl.h"
#include "utils/posix/PathResolver.h"
#include "utils/posix/ProcessStat.h"
#include "utils/posix/Services.h"

namespace lathwind::posix {
namespace {

namespace error = platform::error;
using platform::ErrorCode;

std::string folderOf(std::uint32_t id) {
    return "/proc/" + std::to_string(id);
}

std::optional<ProcessStat> statOf(std::uint32_t id) {
    std::ostringstream text;
    text << std::ifstream(folderOf(id) + "/stat").rdbuf();
    return parseProcessStat(text.str());
}

// The program's path; empty for a thread of the kernel and where it may not be known. A program
// that was removed since it was started keeps its path.
std::string programOf(std::uint32_t id) {
    constexpr std::string_view kRemoved = " (deleted)";
    char target[PATH_MAX];
    const ssize_t size = ::readlink((folderOf(id) + "/exe").c_str(), target, sizeof target);
    std::string path(target, size > 0 ? static_cast<std::size_t>(size) : 0);
    if (path.ends_with(kRemoved)) {
        path.resize(path.size() - kRemoved.size());
    }
    return path;
}

std::wstring imageOf(const std::string& program, const ProcessStat& stat) {
    const std::string name = program.substr(program.find_last_of('/') + 1);
    return utf16FromUtf8(name.empty() ? stat.name : name);
}

bool parseId(const char* name, std::uint32_t& id) {
    const char* end = name + std::strlen(name);
    const auto parsed = std::from_chars(name, end, id);
    return parsed.ec == std::errc() && parsed.ptr == end;
}

class PosixProcesses final : public platform::Processes {
public:
    std::uint32_t currentId() override { return static_cast<std::uint32_t>(::getpid()); }

    ErrorCode list(std::vector<platform::ProcessEntry>& processes) override {
        processes.clear();
        const std::unique_ptr<DIR, int (*)(DIR*)> folder(::opendir("/proc"), ::closedir);
        if (!folder) {
            return errorFromErrno(errno);
        }
        while (const dirent* entry = ::readdir(folder.get())) {
            std::uint32_t id = 0;
            if (!parseId(entry->d_name, id)) {
                continue;
            }
            // One that ended since is left out.
            if (const std::optional<ProcessStat> stat = statOf(id)) {
                processes.push_back({id, stat->parentId, imageOf(programOf(id), *stat)});
            }
        }
        return error::Success;
    }

    ErrorCode query(std::uint32_t id, platform::ProcessFacts& facts) override {
        struct stat owner {};
        const std::optional<ProcessStat> stat = statOf(id);
        if (!stat || ::stat(folderOf(id).c_str(), &owner) != 0) {
            return error::InvalidParameter;
        }
        const std::string program = programOf(id);
        facts = {};
        facts.image = imageOf(program, *stat);
        facts.path = PathResolver::ofProcess().drives().toWide(program);
        facts.parentId = stat->parentId;
        facts.sessionId = stat->sessionId;
        facts.priorityClass = priorityClassOf(*stat);
        platform::AccountName account;
        if (accounts().accountOfSid(sidOfUser(owner.st_uid), account) == error::Success) {
            facts.ownerName = account.name;
            facts.ownerDomain = account.domain;
        }
        return error::Success;
    }

    ErrorCode terminate(std::uint32_t id) override {
        // 0 and what reads as a negative number would mean whole groups of processes.
        if (id == 0 || id > static_cast<std::uint32_t>(INT_MAX)) {
            return error::InvalidParameter;
        }
        return ::kill(static_cast<pid_t>(id), SIGKILL) == 0 ? error::Success
                                                            : errorFromErrno(errno);
    }
};

}  // namespace

platform::Processes& processes() {
    static platform::Processes& instance = *new PosixProcesses;
    return instance;
}

}  // namespace lathwind::posix
