#include "tools/Lathwind.h"

#include <memory>
#include <new>

#include "filewatch/WatchedEntity.h"
#include "filewatch/windows/WinMountManager.h"
#include "tools/CommandLine.h"
#include "utils/Console.h"
#include "tools/InstallPaths.h"
#include "tools/StateFileTool.h"
#include "utils/ErrorLogWriter.h"
#include "utils/FileIO.h"
#include "utils/InstallLayout.h"

namespace lathwind::tool {
namespace {

// What every mode works on.
struct Session {
    std::wstring logPath;
    EntityTable entities;
    // Without memory for it the block of mount states is neither read nor written.
    std::unique_ptr<MountManager> mountState{new (std::nothrow) WinMountManager};
};

// The service log for as long as a mode runs. A tool that lives for a second must not lose its
// own lines, so what is queued is written out at the end; a log that cannot be written changes
// nothing else.
class LogSession {
public:
    explicit LogSession(OpenLog when) { initDebugLog(when); }
    ~LogSession() { ErrorLogWriter::instance().stop(Drain::Yes); }
    LogSession(const LogSession&) = delete;
    LogSession& operator=(const LogSession&) = delete;
};

ExitCode fail(ExitCode code, std::wstring_view text) {
    print(text);
    return code;
}

ExitCode writeState(const Session& session, std::uint16_t version, std::uint32_t recursionLevel) {
    if (!WriteFileWatchDat(session.entities, session.mountState.get(), version, recursionLevel)) {
        return fail(ExitCode::WriteFailed, L"FAILED to write FileWatch.dat.\n");
    }
    return ExitCode::Success;
}

ExitCode addServiceLog(Session& session, std::uint32_t offset) {
    if (!AddEditServiceLog(session.logPath, offset, session.entities)) {
        return fail(ExitCode::ServiceLogFailed,
                    L"FAILED to add/edit IPS service log in FileWatch.dat.\n");
    }
    return ExitCode::Success;
}

ExitCode view(Session& session) {
    StateFileInput input;
    if (!input.open(watchFiles::kStateFile)) {
        print(L"No FileWatch.dat to upgrade.\n");
        return ExitCode::Success;
    }
    if (!ViewFileWatchDat(input.stream(), session.mountState.get())) {
        return fail(ExitCode::ReadFailed, L"FAILED to read FileWatch.dat.\n");
    }
    return ExitCode::Success;
}

ExitCode initialise(Session& session) {
    const ExitCode added = addServiceLog(session, 0);
    return added != ExitCode::Success ? added : writeState(session, 0, 0);
}

// The place up to which the prevention agent itself has read the log, if it has left word of it.
std::uint32_t takeHandOver(Session& session) {
    AgentFilePointerRecord record{};
    if (!installPaths().ReadAgentFilePointer(record)) {
        return 0;
    }
    AgentFilePointer pointer = DecodeAgentFilePointer(record);
    session.logPath = std::move(pointer.path);
    return pointer.offset;
}

ExitCode upgrade(Session& session) {
    StateFileInput input;
    if (!input.open(watchFiles::kStateFile)) {
        print(L"There is no FileWatch.dat to upgrade.\n");
        return ExitCode::Success;
    }
    StateFileHeader header;
    const bool isRead =
        ReadFileWatchDat(input.stream(), session.entities, session.mountState.get(), header);
    input.close();
    if (!isRead) {
        return fail(ExitCode::ReadFailed, L"FAILED to read FileWatch.dat.\n");
    }
    if (header.version >= FileWatchVersion) {
        print(L"FileWatch.dat is already up to date.\n");
        return ExitCode::Success;
    }
    if (header.signature == FileWatchReconfigSignature) {
        print(L"FileWatch.dat was saved during a re-config operation. Skipping conversion.\n");
        return ExitCode::Success;
    }
    if (!UpdateWatchedEntities(session.entities, header.version)) {
        return fail(ExitCode::UpdateFailed, L"FAILED updating the watched entities.\n");
    }
    const std::uint32_t offset = takeHandOver(session);
    const ExitCode added = addServiceLog(session, offset);
    return added != ExitCode::Success ? added
                                      : writeState(session, header.version, header.recursionLevel);
}

// A file that was never there counts as deleted.
bool deleteIfThere(std::wstring_view name) {
    const std::wstring path(name);
    return !FileIO::Exists(path) || FileIO::Delete(path);
}

ExitCode deleteState() {
    const bool stateGone = deleteIfThere(watchFiles::kStateFile);
    const bool previousGone = deleteIfThere(watchFiles::kPreviousStateFile);
    if (!stateGone || !previousGone) {
        return fail(ExitCode::DeleteFailed,
                    L"FAILED to delete FileWatch.dat and/or FileWatch.dat.tmp.\n");
    }
    print(L"Delete FileWatch.dat and FileWatch.dat.tmp.\n");
    return ExitCode::Success;
}

ExitCode runMode(const CommandLine& line) {
    Session session;
    session.logPath = line.logPath;
    if (line.viewFlag) {
        return view(session);
    }
    if (line.initFlag) {
        return initialise(session);
    }
    if (line.convertFlag) {
        return upgrade(session);
    }
    return deleteState();
}

}  // namespace

ExitCode runLathwind(const std::vector<std::wstring>& words) {
    CommandLine line;
    if (!ParseCommandLine(words, line)) {
        ShowUsage();
        return ExitCode::CommandLineRejected;
    }
    if (line.helpFlag) {
        ShowUsage();
        return ExitCode::Success;
    }
    installPaths().SetRootPath(line.rootPath);
    std::string binary;
    if (enterBinFolder(line.rootPath, binary) != platform::error::Success) {
        print(L"Failed to set current working dir to %s .\n", binary);
        ShowUsage();
        return ExitCode::DirectoryFailed;
    }
    // Viewing changes nothing on disk: the log is opened only if there is something to write.
    const LogSession log(line.viewFlag ? OpenLog::OnFirstRecord : OpenLog::AtStart);
    return runMode(line);
}

}  // namespace lathwind::tool
