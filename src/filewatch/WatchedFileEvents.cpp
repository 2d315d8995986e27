// How a watched file finds out what became of a hint, and what it says about it. What the facts
// come to is decided in FileChangeAnalysis; this file asks for them, in an order that asks for
// nothing that is not needed, and puts the event together. docs/change-analysis.md tells it all.
#include <new>
#include <utility>

#include "events/FileTamperEvent.h"
#include "filewatch/ChangeText.h"
#include "filewatch/FileAttributes.h"
#include "filewatch/FileChangeAnalysis.h"
#include "filewatch/FileNotificationInfo.h"
#include "filewatch/WatchedFile.h"
#include "filewatch/windows/WinPathMapping.h"
#include "plugins/FileDiffState.h"
#include "utils/ByteArray.h"
#include "utils/Digests.h"
#include "utils/Format.h"
#include "utils/Logging.h"
#include "utils/SecurityUtilities.h"
#include "utils/SidText.h"

namespace lathwind {
namespace {

constexpr ModuleId kModule = ModuleId::FilewatchCollector;
constexpr std::uint32_t kFileState = 0x102;  // "VD", of an event under a virtual name
// Where a rename's values carry the new path. Nothing else does; the slot is that of the previous
// link target.
constexpr std::size_t kNewPathValue = 8;

bool isMountAction(FileAction action) {
    return action == FileAction::Mount || action == FileAction::Unmount;
}

bool isChangeAction(FileAction action) {
    return action == FileAction::Modified || action == FileAction::Accessed;
}

std::wstring userOf(const FileNotificationInfo& note) {
    const std::wstring sid = sidTextOfBytes(note.userSid);
    std::wstring name;
    return !sid.empty() && GetAccountNameOfSid(sid, name) && !name.empty() ? name : L"unknown";
}

// Only the filter knows who did it.
void addUser(DescribedEvent& event, const FileNotificationInfo& note, const std::wstring& file) {
    const std::wstring user = userOf(note);
    event.SetUserName(user);
    event.SetProcessId(note.processId);
    event.SetSessionId(note.sessionId);
    event.SetProcessPath(note.processName);  // the image: its last part is the process's name
    event.AddChangeText(format(L"\nUser: %ls\nSession ID: %d\nProcess ID: %d\nProcess Name: %ls\n",
                               user, note.sessionId, note.processId, note.processName));
    debugLog(kModule, L"Event Text : %ls\n", event.GetEventText());
    debugLog(kModule,
             L"IPS FileWatch Filter event created for file: %ls, user: %ls, session: %ld, "
             L"pid: %ld, process: %ls",
             file, user, note.sessionId, note.processId, note.processName);
}

}  // namespace

// The working values of one analysis, and its steps.
class WatchedFile::Analysis {
public:
    explicit Analysis(WatchedFile& file) : file_(file) {
        facts_.monitorAccessTime = file.monitorAccessTime;
    }

    std::size_t ofNotification(EventList& events, const FileNotificationInfo& note);
    std::size_t sinceLastRun(EventList& events, const WatchedEntity& saved,
                             const std::wstring& nameInEvents);

private:
    using EventPtr = std::unique_ptr<DescribedEvent>;

    void takeSnapshot(const FileNotificationInfo& note);
    void dropIfGone(const FileNotificationInfo& note);
    void judgeModified();
    void judgeAccessed();
    void adopt(const ChangeDecision& decision);
    void takeDigest(FileAction hinted);
    Digest hashFile() const;
    void addDigests(const Digest* previous, const Digest& current);
    void addSecurity();
    void addDiff();
    std::size_t report(EventList& events, const FileNotificationInfo& note);

    void compareSince(const FileAttributes& old);
    void compareDigests(const Digest& saved);
    void takeContents(const WatchedEntity& saved);
    std::size_t reportSince(EventList& events, const std::wstring& nameInEvents);

    EventPtr makeEvent(const std::wstring& name) const;
    void setFields(IDSEvent& event, const std::wstring& nameInEvents, bool fromDriver) const;

    const FileAttributes& current() const { return *file_.attributes; }
    // A folder's access date is never looked at.
    bool comparesAccess() const { return file_.monitorAccessTime && !current().IsDirectory(); }
    bool differsBeyondAccess(bool compareVolatile) const {
        bool any = false;
        current().CompareToText(*previous_, false, &any, nullptr, compareVolatile);
        return any;
    }
    bool hasDiff() const {
        return file_.diffState && file_.diffState->hasFilter() && !file_.diffState->isBinary;
    }

    WatchedFile& file_;
    std::shared_ptr<const FileAttributes> previous_;
    FileAction action_ = FileAction::None;
    ChangeFacts facts_;
    std::wstring changeText_;
    std::wstring detailText_;
    bool securityChanged_ = false;
};

std::size_t WatchedFile::ProcessNotification(EventList& events, const FileNotificationInfo& note) {
    return Analysis(*this).ofNotification(events, note);
}

std::size_t WatchedFile::CompareWithSaved(EventList& events, const WatchedEntity& saved,
                                          const std::wstring& nameInEvents) {
    return Analysis(*this).sinceLastRun(events, saved, nameInEvents);
}

// ---- A notification.

std::size_t WatchedFile::Analysis::ofNotification(EventList& events,
                                                  const FileNotificationInfo& note) {
    action_ = note.action;
    takeSnapshot(note);
    dropIfGone(note);
    if (action_ == FileAction::Modified) {
        judgeModified();
    } else if (action_ == FileAction::Accessed) {
        judgeAccessed();
    }
    takeDigest(note.action);
    addSecurity();
    if (hasDiff() && action_ == FileAction::Modified) {
        addDiff();
        file_.attributes.edit().RefreshAccessTime();
    }
    const std::size_t count = action_ == FileAction::None ? 0 : report(events, note);
    file_.lastAction = static_cast<std::int32_t>(action_);
    return count;
}

// The filter's accesses are by far the most frequent hints: they cost one look at the file. An
// added file was looked at when its entity was made, a renamed one is not there any more.
void WatchedFile::Analysis::takeSnapshot(const FileNotificationInfo& note) {
    OwnedSnapshot& attributes = file_.attributes;
    previous_ = attributes.share();
    facts_.isPolled = note.driverOperation == DriverOperation::None;
    if (note.driverOperation == DriverOperation::Accessed && action_ == FileAction::Accessed) {
        facts_.exists = attributes.edit().RefreshAccessTime();
    } else if (action_ == FileAction::Added || action_ == FileAction::Renamed) {
        facts_.exists = attributes->Exists();
    } else {
        attributes.renew();
        facts_.exists = attributes->Exists();
    }
    facts_.existed = previous_->Exists();
}

void WatchedFile::Analysis::dropIfGone(const FileNotificationInfo& note) {
    if (isChangeAction(action_) && !facts_.exists) {
        debugLog(kModule, L"Dropping %ls event for %ls since the file no longer exists",
                 fileActionText(action_), note.path);
        action_ = FileAction::None;
    }
}

void WatchedFile::Analysis::judgeModified() {
    const bool monitored = file_.monitorAccessTime;
    changeText_ = current().CompareToText(*previous_, comparesAccess(), nullptr, &securityChanged_,
                                          monitored);
    facts_.differs = !changeText_.empty();
    facts_.differsBeyondAccess = facts_.differs && monitored && differsBeyondAccess(true);
    adopt(decideModified(facts_));
}

// The flags that come and go with mere use do not make an access a modification.
void WatchedFile::Analysis::judgeAccessed() {
    changeText_ = current().CompareToText(*previous_, true, nullptr, nullptr, true);
    facts_.differs = !changeText_.empty();
    facts_.differsBeyondAccess = facts_.differs && differsBeyondAccess(false);
    adopt(decideAccessed(facts_));
}

void WatchedFile::Analysis::adopt(const ChangeDecision& decision) {
    action_ = decision.action;
    if (decision.line != nullptr) {
        debugLog(kModule, decision.line, file_.GetName());
    }
}

// The digest of a file that was added is as fresh as its entity. One that another hint turned out
// to have added was not there when its digest was taken.
void WatchedFile::Analysis::takeDigest(FileAction hinted) {
    if (!file_.checksumEnabled || !current().IsRegularFile()) {
        return;
    }
    if (action_ == FileAction::Added) {
        if (hinted != FileAction::Added) {
            file_.digest = hashFile();
        }
        addDigests(nullptr, file_.digest);
    } else if (action_ == FileAction::Modified && facts_.exists) {
        const Digest now = hashFile();
        if (now != file_.digest) {
            debugLog(kModule, L"Checksums changed for file: %ls", file_.GetName());
            addDigests(&file_.digest, now);
            file_.digest = now;
        }
    }
}

// A zero digest if the file cannot be read, so that its next change is told as one. Our own read
// moves the access time; refreshing it keeps that out of the next comparison.
WatchedEntity::Digest WatchedFile::Analysis::hashFile() const {
    Digest digest{};
    if (HashFileSha256(MapToRealPath(file_.GetName()), digest.data())) {
        debugLog(kModule, L"SHA2 processed for: %ls", file_.GetName());
    } else {
        debugLog(kModule, L"SHA2 calculation failed for: %ls", file_.GetName());
        digest = {};
    }
    file_.attributes.edit().RefreshAccessTime();
    return digest;
}

void WatchedFile::Analysis::addDigests(const Digest* previous, const Digest& current) {
    detailText_ += L"SHA-256 checksum changed.\n";
    if (previous != nullptr) {
        detailText_.append(L"Old Hash: ").append(Sha256ToHex(previous->data())).append(L"\n");
    }
    detailText_.append(L"New Hash: ").append(Sha256ToHex(current.data())).append(L"\n\n");
}

void WatchedFile::Analysis::addSecurity() {
    if (securityChanged_ && (action_ == FileAction::Added || action_ == FileAction::Modified ||
                             action_ == FileAction::Mount)) {
        detailText_ += current().CompareExtendedToText(*previous_);
    }
}

void WatchedFile::Analysis::addDiff() {
    file_.MakeDiff(detailText_);
    if (!detailText_.empty()) {
        changeText_.append(L"(Contents Changed)\n").append(detailText_);
    }
}

std::size_t WatchedFile::Analysis::report(EventList& events, const FileNotificationInfo& note) {
    const bool isMount = isMountAction(action_);
    EventPtr event =
        makeEvent(isMount && !note.mountText().empty() ? note.mountText() : file_.GetName());
    if (event == nullptr) {
        action_ = FileAction::None;
        return 0;
    }
    if (isChangeAction(action_) && facts_.existed) {
        event->AddChangeText(changeText_);
    }
    action_ = actionOfValues(action_, facts_);
    if (action_ == FileAction::Renamed) {
        event->AddChangeText(valueChangeText(L"Name", note.oldPath, note.path));
    }
    if (!facts_.isPolled) {
        addUser(*event, note, file_.GetName());
    }
    setFields(*event, note.virtualName, !facts_.isPolled);
    if (action_ == FileAction::Renamed) {
        std::vector<std::wstring> values = event->GetValues();
        values.at(kNewPathValue) = note.path;
        event->SetValues(std::move(values));
    }
    events.push_back(std::move(event));
    return 1;
}

// ---- The start of the agent.

std::size_t WatchedFile::Analysis::sinceLastRun(EventList& events, const WatchedEntity& saved,
                                                const std::wstring& nameInEvents) {
    const FileAttributes& old = saved.GetAttributes();
    facts_.existed = old.Exists();
    facts_.exists = current().Exists();
    facts_.isPolled = true;
    // With the present modified time: a file of which nothing else changed is to stay quiet.
    std::unique_ptr<FileAttributes> quiet = old.Clone();
    quiet->TakeModifiedTime(current());
    previous_ = std::move(quiet);
    if (facts_.existed == facts_.exists) {
        compareSince(old);
    }
    action_ = decideSinceLastRun(facts_);
    if (facts_.existed == facts_.exists) {
        file_.attributes.edit().RefreshAccessTime();
    }
    if (file_.checksumEnabled && current().IsRegularFile()) {
        compareDigests(saved.GetDigest());
    }
    if (hasDiff()) {
        takeContents(saved);
    }
    const std::size_t count = action_ == FileAction::None ? 0 : reportSince(events, nameInEvents);
    file_.lastAction = static_cast<std::int32_t>(action_);
    return count;
}

// Something else having changed, the modified time counts again.
void WatchedFile::Analysis::compareSince(const FileAttributes& old) {
    const bool monitored = file_.monitorAccessTime;
    current().CompareToText(*previous_, comparesAccess(), &facts_.differs, nullptr, monitored);
    if (!facts_.differs) {
        return;
    }
    previous_ = old.Clone();
    changeText_ =
        current().CompareToText(*previous_, comparesAccess(), nullptr, nullptr, monitored);
    facts_.differsBeyondAccess = monitored && differsBeyondAccess(true);
}

void WatchedFile::Analysis::compareDigests(const Digest& saved) {
    const bool differ = file_.digest != saved;
    if (differ) {
        debugLog(kModule, L"Checksums changed for file: %s", file_.GetName());
        addDigests(&saved, file_.digest);
    }
    action_ = decideByDigest(action_, differ);
}

// The contents of the last run are the ones to compare with, also when there is nothing to report:
// the next change's diff then spans all that happened since.
void WatchedFile::Analysis::takeContents(const WatchedEntity& saved) {
    const auto* source = dynamic_cast<const WatchedFile*>(&saved);
    if (source != nullptr && source->diffState && source->diffState->holdsContents()) {
        file_.diffState->contents = std::make_unique<ByteArray>(*source->diffState->contents);
    }
    if (action_ == FileAction::Modified) {
        addDiff();
    }
}

std::size_t WatchedFile::Analysis::reportSince(EventList& events,
                                               const std::wstring& nameInEvents) {
    EventPtr event = makeEvent(file_.GetName());
    if (event == nullptr) {
        action_ = FileAction::None;
        return 0;
    }
    if (isChangeAction(action_)) {
        event->AddChangeText(changeText_);
    }
    action_ = actionOfValues(action_, facts_);
    setFields(*event, nameInEvents, false);
    events.push_back(std::move(event));
    return 1;
}

// ---- The event.

// Null without memory for it: the next change of the file may find some.
WatchedFile::Analysis::EventPtr WatchedFile::Analysis::makeEvent(const std::wstring& name) const {
    try {
        if (current().IsSymbolicLink()) {
            return std::make_unique<SymlinkTamperEvent>(name, current().GetLinkTarget(),
                                                        facts_.existed, action_, file_.label);
        }
        const bool isFolder = previous_->IsDirectory() || current().IsDirectory();
        return std::make_unique<FileTamperEvent>(name, isFolder, facts_.existed, action_,
                                                 file_.label);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

// The name that comes with the occasion is the one to report; without one the entity's own stands
// in, which it was given when it was found or brought along from its record.
void WatchedFile::Analysis::setFields(IDSEvent& event, const std::wstring& nameInEvents,
                                      bool fromDriver) const {
    event.SetFileName(file_.GetName());
    event.SetSourceKind(sourceKind::FileWatch, false);
    file_.SetEventFields(event, previous_.get(), action_, detailText_, fromDriver);
    if (!isMountAction(action_)) {
        file_.ApplyVirtualName(nameInEvents, event, kFileState, true);
    }
}

}  // namespace lathwind
