#include "agent/LathwindAgent.h"

#include <atomic>
#include <memory>
#include <optional>

#include "actions/ActionThread.h"
#include "actions/EventFiles.h"
#include "agent/Agent.h"
#include "agent/CheckLists.h"
#include "agent/CommandLine.h"
#include "agent/ServiceCommands.h"
#include "agent/StageReports.h"
#include "agent/StopRequest.h"
#include "utils/Console.h"
#include "utils/ErrorLogWriter.h"
#include "utils/FileIO.h"
#include "utils/InstallLayout.h"
#include "utils/Logging.h"
#include "utils/Text.h"

namespace lathwind::agent {
namespace {

using platform::ServiceStage;

constexpr int kThreadDiedRow = 118;

// What the threads' bodies signal when one of them has died: wakes the main thread as a request to
// stop does, and is remembered apart from it.
class DeathNotice : public Event {
public:
    explicit DeathNotice(Event& wake) : wake_(wake) { platformFactory.exitEvent = this; }
    ~DeathNotice() override { platformFactory.exitEvent = nullptr; }

    void set() override {
        isSet_.store(true);
        wake_.set();
    }
    void reset() override { isSet_.store(false); }
    WaitResult wait(std::int32_t milliseconds, bool alertable) override {
        return wake_.wait(milliseconds, alertable);
    }
    bool isSet() const noexcept { return isSet_.load(); }

private:
    Event& wake_;
    std::atomic<bool> isSet_{false};
};

class StopListening {
public:
    explicit StopListening(StopRequest& request) { platform::supervision().listen(&request); }
    ~StopListening() { platform::supervision().listen(nullptr); }
    StopListening(const StopListening&) = delete;
    StopListening& operator=(const StopListening&) = delete;
};

ExitCode complain(ExitCode code, const std::wstring& text) {
    print(L"%ls\n", text);
    return code;
}

// Whoever holds the lock has left its process's id in the file.
std::wstring holderOfLock() {
    FileIO file;
    file.Open(kLockFile, L"rb");
    return std::wstring(trim(file.ReadAll()));
}

ExitCode lockRoot(const std::wstring& root, std::unique_ptr<platform::InstanceLock>& lock) {
    const platform::ErrorCode code = platform::supervision().lockInstance(kLockFile, lock);
    if (code == platform::error::Success) {
        return ExitCode::Success;
    }
    if (code == platform::error::SharingViolation) {
        return complain(
            ExitCode::AlreadyRunning,
            format(L"Another agent, process %ls, is at work on %ls.", holderOfLock(), root));
    }
    return complain(ExitCode::LockFailed, format(L"Cannot lock %ls\\%ls: %ls", binFolderOf(root),
                                                 kLockFile, platform::host().errorText(code)));
}

// Until a request to stop, or until a thread has died.
// What the main thread's own work throws is the death of a thread as well.
void work(Agent& agent, Event& wake, DeathNotice& death) {
    try {
        while (wake.wait(agent.step(), false) == WaitResult::TimeOut) {
        }
    } catch (...) {
        logCatalogued(Severity::Error, ModuleId::Main, kThreadDiedRow, L"Main");
        death.set();
    }
}

ExitCode runEngine(const std::wstring& root, bool asService) {
    std::optional<StageReports> pending(ServiceStage::Starting);
    std::unique_ptr<platform::InstanceLock> lock;
    if (const ExitCode code = lockRoot(root, lock); code != ExitCode::Success) {
        return code;
    }
    const std::unique_ptr<Event> wake = platformFactory.createEvent({});
    DeathNotice death(*wake);
    StopRequest request(*wake, asService);
    const StopListening listening(request);
    {
        Agent agent;
        say(format(L"LathwindAgent %ls, process %u, %ls", kVersionText,
                   platform::processes().currentId(), root));
        agent.start();
        pending.reset();
        if (!request.isMade()) {
            platform::supervision().report({ServiceStage::Running, 0, 0});
        }
        work(agent, *wake, death);
        if (!request.isMade()) {
            pending.emplace(ServiceStage::Stopping);
        }
        say(format(L"Stopping: %ls.", request.isMade() ? wordsFor(request.reason())
                                                       : L"a thread of the agent has died"));
        agent.stop();
    }
    return death.isSet() ? ExitCode::ThreadDied : ExitCode::Success;
}

ExitCode runInRoot(const CommandLine& line) {
    std::string folder;
    if (enterBinFolder(line.rootPath, folder) != platform::error::Success) {
        return complain(ExitCode::DirectoryFailed,
                        format(L"Failed to set current working dir to %s .", folder));
    }
    return line.mode == Mode::Check ? checkLists()
                                    : runEngine(line.rootPath, line.mode == Mode::Service);
}

// The manager calls the body on a thread of its own; this one waits for it.
ExitCode runAsService(const CommandLine& line) {
    ExitCode code = ExitCode::ServiceFailed;
    const platform::ErrorCode answer = platform::supervision().runService(kServiceName, [&] {
        code = runInRoot(line);
        return static_cast<std::uint32_t>(code);
    });
    if (answer == platform::error::Success) {
        return code;
    }
    return complain(ExitCode::ServiceFailed, L"--service is for the service manager alone.");
}

}  // namespace

ExitCode runAgent(const std::vector<std::wstring>& words) {
    CommandLine line;
    if (!parseCommandLine(words, line)) {
        showUsage();
        return ExitCode::CommandLineRejected;
    }
    switch (line.mode) {
        case Mode::Help:
            showUsage();
            return ExitCode::Success;
        case Mode::Install:
            return installService(line.rootPath);
        case Mode::Uninstall:
            return uninstallService();
        case Mode::Service:
            return runAsService(line);
        case Mode::Run:
        case Mode::Check:
            break;
    }
    return runInRoot(line);
}

void finishRecording() {
    ActionThread::instance().stop();
    EventFiles::instance().close();
}

}  // namespace lathwind::agent
