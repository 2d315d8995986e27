#include "filewatch/FileWatchInit.h"

#include <utility>

#include "utils/Logging.h"
#include "utils/platform/PlatformFactory.h"

namespace lathwind {
namespace {

constexpr auto kModule = ModuleId::FilewatchCollector;

WorkItem mountItem(WorkItem::Kind kind, const std::wstring& path, std::int32_t processId,
                   const std::wstring& user, const std::wstring& process) {
    WorkItem item(kind);
    item.path = path;
    item.argument = processId;
    item.user = user;
    item.process = process;
    return item;
}

}  // namespace

bool isStopRequested(Event& stop) {
    return stop.wait(0, false) == WaitResult::Signalled;
}

FileWatchInit::FileWatchInit(WorkItemTarget* target)
    : target_(target),
      lock_(platformFactory.createLock()),
      stop_(platformFactory.createEvent(std::wstring())) {}

FileWatchInit::~FileWatchInit() {
    Stop();
}

void FileWatchInit::Start() {
    debugLog(kModule, L"FileWatchInit::Start()");
    if (thread_ != nullptr) {
        return;
    }
    stop_->reset();
    thread_ = platformFactory.createThread(*this);
    thread_->start(L"FileInitThread");
}

void FileWatchInit::Stop() {
    debugLog(kModule, L"FileWatchInit::Stop()");
    if (thread_ != nullptr) {
        stop_->set();
        thread_->wait();
        thread_.reset();
    }
    const ScopedLock guard(*lock_);
    queue_.clear();
    waitingMounts_.clear();
}

void FileWatchInit::run() {
    debugLog(kModule, L"FileWatchInit::Run()");
    while (Step()) {
    }
}

bool FileWatchInit::Step(std::int32_t milliseconds) {
    if (stop_->wait(milliseconds, false) != WaitResult::TimeOut) {
        return false;
    }
    WorkItem item;
    if (target_ != nullptr && TakeFirst(item)) {
        DoItem(item);
    }
    return true;
}

bool FileWatchInit::TakeFirst(WorkItem& item) {
    const ScopedLock guard(*lock_);
    if (queue_.empty()) {
        return false;
    }
    item = std::move(queue_.front());
    queue_.pop_front();
    waitingMounts_.erase({item.kind, item.path});
    return true;
}

std::size_t FileWatchInit::GetLength() const {
    const ScopedLock guard(*lock_);
    return queue_.size();
}

// A filter that tells of one mount again and again must not fill the memory.
void FileWatchInit::EnQueue(WorkItem item) {
    const ScopedLock guard(*lock_);
    const bool isOfMount =
        item.kind == WorkItem::Kind::Mount || item.kind == WorkItem::Kind::UnMount;
    if (isOfMount && !waitingMounts_.emplace(item.kind, item.path).second) {
        return;
    }
    queue_.push_back(std::move(item));
}

void FileWatchInit::EnQueueDeserialize(const std::wstring& path) {
    debugLog(kModule, L"FileWatchInit::EnQueueDeserialize(%ls)", path);
    // Not first by an item: a stop ahead of it would save tables that are still empty as complete.
    if (target_ != nullptr) {
        target_->SetConfigurationPending(true);
    }
    WorkItem item(WorkItem::Kind::Deserialize);
    item.path = path;
    EnQueue(std::move(item));
}

void FileWatchInit::EnQueueAdd(const std::wstring& path, const FileWatchParams& params) {
    debugLog(kModule, L"FileWatchInit::EnQueueAdd(%ls)", path);
    WorkItem item(WorkItem::Kind::Add);
    item.path = path;
    item.params = params;
    EnQueue(std::move(item));
}

void FileWatchInit::EnQueueAddLog(const LogFileProperties& properties, std::int32_t startOffset) {
    debugLog(kModule, L"FileWatchInit::EnQueueAddLog(%ls)", properties.GetFileName());
    WorkItem item(WorkItem::Kind::AddLog);
    item.log = properties;
    item.argument = startOffset;
    EnQueue(std::move(item));
}

void FileWatchInit::EnQueueRemove(const std::wstring& path, const FileWatchParams& params,
                                  std::int32_t mapIndex) {
    debugLog(kModule, L"FileWatchInit::EnQueueRemove(%ls)", path);
    WorkItem item(WorkItem::Kind::Remove);
    item.path = path;
    item.params = params;
    item.argument = mapIndex;
    EnQueue(std::move(item));
}

void FileWatchInit::EnQueueFinalizeConfig() {
    debugLog(kModule, L"FileWatchInit::EnQueueFinalizeConfig()");
    EnQueue(WorkItem(WorkItem::Kind::FinalizeConfig));
}

void FileWatchInit::EnQueueUpdate() {
    debugLog(kModule, L"FileWatchInit::EnQueueUpdate()");
    EnQueue(WorkItem(WorkItem::Kind::Update));
}

void FileWatchInit::EnQueueUpdateFileDiffs() {
    debugLog(kModule, L"FileWatchInit::EnQueueUpdateFileDiffs()");
    EnQueue(WorkItem(WorkItem::Kind::UpdateFileDiffs));
}

void FileWatchInit::EnQueueMount(const std::wstring& path, std::int32_t processId,
                                 const std::wstring& user, const std::wstring& process) {
    debugLog(kModule, L"FileWatchInit::EnQueueMount()");
    EnQueue(mountItem(WorkItem::Kind::Mount, path, processId, user, process));
}

void FileWatchInit::EnQueueUnMount(const std::wstring& path, std::int32_t processId,
                                   const std::wstring& user, const std::wstring& process) {
    debugLog(kModule, L"FileWatchInit::EnQueueUnMount()");
    EnQueue(mountItem(WorkItem::Kind::UnMount, path, processId, user, process));
}

void FileWatchInit::DoItem(const WorkItem& item) {
    switch (item.kind) {
        case WorkItem::Kind::Deserialize:
            debugLog(kModule, L"FileWatchInit::DoItemDeserialize()");
            target_->RestoreState(item.path, *stop_);
            return;
        case WorkItem::Kind::Add:
            debugLog(kModule, L"FileWatchInit::DoItemAdd(%ls)", item.path);
            target_->AddFile(item.path, item.params, *stop_);
            return;
        case WorkItem::Kind::AddLog:
            debugLog(kModule, L"FileWatchInit::DoItemAddLog(%ls)", item.log.GetFileName());
            target_->AddLogFile(item.log, item.argument);
            return;
        case WorkItem::Kind::Remove:
            debugLog(kModule, L"FileWatchInit::DoItemRemove(%ls)", item.path);
            target_->RemoveFile(item.path, item.params, item.argument);
            return;
        case WorkItem::Kind::FinalizeConfig:
            debugLog(kModule, L"FileWatchInit::DoItemFinalizeConfig()");
            target_->SetConfigurationPending(false);
            return;
        case WorkItem::Kind::Update:
            debugLog(kModule, L"FileWatchInit::DoItemUpdate()");
            target_->UpdateAll();
            return;
        case WorkItem::Kind::UpdateFileDiffs:
            debugLog(kModule, L"FileWatchInit::DoItemUpdateFileDiffs()");
            target_->UpdateFileDiffs();
            return;
        case WorkItem::Kind::Mount:
            debugLog(kModule, L"FileWatchInit::DoItemMount(%ls)", item.path);
            target_->ProcessMount(item.path, item.argument, item.user, item.process, *stop_);
            return;
        case WorkItem::Kind::UnMount:
            // The walk for what went away is part of the next mount, and polling finds the rest.
            debugLog(kModule, L"FileWatchInit::DoItemUnMount(%ls)", item.path);
            return;
        case WorkItem::Kind::None:
            break;
    }
    debugLog(kModule, L"FileWatchInit::DoItemNone()");
}

}  // namespace lathwind
