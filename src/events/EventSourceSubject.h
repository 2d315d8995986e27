#pragma once

#include <memory>
#include <string>

#include "events/NamedCollector.h"
#include "utils/SignalledStore.h"
#include "utils/platform/Threading.h"

namespace lathwind {

// A collector with a thread of its own: sources of any thread offer events, which wait in a bounded
// store, and the collector's thread hands them on to the destination.
//
// A derived class starts the thread with its own run(), whose loop is step(), and stops it in its
// destructor.
class EventSourceSubject : public NamedCollector, public Runnable {
public:
    explicit EventSourceSubject(std::wstring name) : NamedCollector(std::move(name)) {}
    ~EventSourceSubject() override;  // destroys what is left in the store

    // The result of the checked push; an event that is refused is destroyed. Any thread.
    PushResult offer(std::unique_ptr<IDSEvent> event);
    QueueState queueState() const { return store_.state(); }
    bool isRunning() const noexcept { return thread_ != nullptr; }

    // One turn: waits for events, at most so long, and hands them on. Half a second's rest where
    // the destination is full. False once told to stop.
    bool step(std::int32_t milliseconds);

protected:
    void setLimit(std::uint32_t limit) { store_.setLimit(limit); }
    void startThread(const std::wstring& threadName);
    // Tells the thread to leave and waits for it. The store accepts nothing from then on.
    void stopThread();
    std::unique_ptr<IDSEvent> nextEvent() override;

private:
    SignalledStore<IDSEvent*> store_;
    std::unique_ptr<Thread> thread_;
};

}  // namespace lathwind
