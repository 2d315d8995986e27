#include "utils/ProcessObject.h"

#include <utility>

#include "utils/Logging.h"
#include "utils/Text.h"
#include "utils/platform/PlatformFactory.h"

namespace lathwind {
namespace {

constexpr int kNoProcessListRow = 99;
constexpr int kOpenFailedRow = 100;
constexpr int kTooManyProcessesRow = 247;

// Is `user` the owner's account name, with or without its domain?
bool isOwner(const platform::ProcessFacts& facts, std::wstring_view user) {
    // An owner that is unknown is nobody.
    return !facts.ownerName.empty() &&
           (equalsNoCase(facts.ownerName, user) ||
            equalsNoCase(facts.ownerDomain + L'\\' + facts.ownerName, user));
}

std::vector<std::uint32_t> processesOf(std::wstring_view user) {
    std::vector<std::uint32_t> ids;
    std::vector<platform::ProcessEntry> entries;
    if (user.empty() || !ProcessBase::list(entries)) {
        return ids;
    }
    platform::Processes& processes = platform::processes();
    const std::uint32_t self = processes.currentId();
    for (const platform::ProcessEntry& entry : entries) {
        platform::ProcessFacts facts;
        // A process that ended since, or whose owner is not for us to know, is not the user's.
        if (entry.id != self && processes.query(entry.id, facts) == platform::error::Success &&
            isOwner(facts, user)) {
            ids.push_back(entry.id);
        }
    }
    return ids;
}

class SnapshotProcess : public ProcessObject {
public:
    explicit SnapshotProcess(std::uint32_t id) : id_(id) {
        const platform::ErrorCode code = platform::processes().query(id, facts_);
        exists_ = code == platform::error::Success;
        if (!exists_) {
            facts_ = {};
            // An id without a process is an answer, not a failure.
            if (code != platform::error::InvalidParameter) {
                logCatalogued(Severity::Warning, ModuleId::Utils, kOpenFailedRow, id);
            }
        }
    }

    std::wstring name() const override { return facts_.image; }
    std::wstring owner() const override { return facts_.ownerName; }
    std::uint32_t id() const override { return id_; }
    bool exists() const override { return exists_; }
    std::wstring path() const override { return facts_.path; }
    std::wstring ownerDomain() const override { return facts_.ownerDomain; }
    std::uint32_t parentId() const override { return facts_.parentId; }
    std::uint32_t sessionId() const override { return facts_.sessionId; }
    std::wstring priorityClass() const override {
        return std::wstring(priorityClassText(facts_.priorityClass));
    }

private:
    const std::uint32_t id_;
    bool exists_ = false;
    platform::ProcessFacts facts_;
};

}  // namespace

bool ProcessBase::list(std::vector<platform::ProcessEntry>& processes) {
    processes.clear();
    if (platform::processes().list(processes) != platform::error::Success) {
        logCatalogued(Severity::Error, ModuleId::Utils, kNoProcessListRow);
        processes.clear();
        return false;
    }
    if (processes.size() > kMaxProcesses) {
        logCatalogued(Severity::Warning, ModuleId::Utils, kTooManyProcessesRow);
        processes.resize(kMaxProcesses);
    }
    return true;
}

bool ProcessBase::killById(std::uint32_t processId) {
    platform::ProcessFacts facts;
    if (platform::processes().query(processId, facts) == platform::error::InvalidParameter) {
        debugLog(ModuleId::Utils, L"Unable to find process with PID: %ld", processId);
        return false;
    }
    const bool done = platform::processes().terminate(processId) == platform::error::Success;
    debugLog(ModuleId::Utils, L"%ls to kill process with PID: %ld", done ? L"Succeeded" : L"FAILED",
             processId);
    return done;
}

std::size_t ProcessBase::killByUser(std::wstring_view user) {
    const std::vector<std::uint32_t> ids = processesOf(user);
    debugLog(ModuleId::Utils, L"Attempting to kill %ld processes owned by user %ls", ids.size(),
             user);
    std::size_t killed = 0;
    for (const std::uint32_t id : ids) {
        if (killById(id)) {
            ++killed;
        }
    }
    return killed;
}

std::unique_ptr<ProcessObject> makeProcessObject(std::uint32_t processId) {
    return std::make_unique<SnapshotProcess>(processId);
}

std::wstring_view priorityClassText(std::uint32_t priorityClass) noexcept {
    static constexpr std::pair<std::uint32_t, std::wstring_view> kClasses[] = {
        {0x100, L"REALTIME_PRIORITY_CLASS"},      {0x20, L"NORMAL_PRIORITY_CLASS"},
        {0x40, L"IDLE_PRIORITY_CLASS"},           {0x80, L"HIGH_PRIORITY_CLASS"},
        {0x4000, L"BELOW_NORMAL_PRIORITY_CLASS"}, {0x8000, L"ABOVE_NORMAL_PRIORITY_CLASS"}};
    for (const auto& [value, text] : kClasses) {
        if (value == priorityClass) {
            return text;
        }
    }
    return L"unkown";  // the word that reports and their filters have always had
}

}  // namespace lathwind
