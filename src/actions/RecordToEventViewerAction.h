#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "actions/Action.h"
#include "actions/EventFiles.h"
#include "utils/QueueWarningLatch.h"
#include "utils/ThreadSafeStore.h"

namespace lathwind {

// Writes events as lines of the two CSV event files. The name is an old one: no event log of the
// system is touched.
//
// Templates, one for each "T" code of the policy, replace the event's own message in the line; both
// are cut to 128 characters.
class RecordToEventViewerAction : public Action, private QueueWarningLatch {
public:
    explicit RecordToEventViewerAction(const ActionPolicy* policy);
    ~RecordToEventViewerAction() override;

    void perform(const IDSEvent& event, const FlagContexts* flags) override;
    void process() override;
    void handleDotCode(wchar_t code, const std::wstring& text) override;

    // The line of an event, with the next number.
    CsvRecord makeRecord(const IDSEvent& event, const FlagContexts* flags) const;
    bool isFull() const;  // of the queue
    QueueState queueState() const { return records_.state(); }
    // Queues a record. Those of the prevention service and the agent's own have rules of their own
    // for the real-time file. False when the queue was full.
    bool enqueue(CsvRecord record, RuleSet rules);

    static void recordConfigure(RecordSetting setting, const std::wstring& value);
    static void recordSetPaths(const std::wstring& all, const std::wstring& realTime);
    static void recordSetDisk(const std::wstring& path);
    // Reports of a full queue, over all actions, for the statistics.
    static std::uint32_t droppedReports() noexcept;

private:
    std::wstring textOf(const IDSEvent& event, const FlagContexts* flags) const;
    void reportPush(PushResult result);
    void writeNext();

    ThreadSafeStore<std::shared_ptr<CsvRecord>> records_;
    const std::unique_ptr<Lock> latchLock_;
    std::vector<std::wstring> templates_;
};

}  // namespace lathwind
