#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "events/EventSourceSubject.h"
#include "plugins/collector_plugin.h"
#include "utils/LocalLibrary.h"
#include "utils/QueueWarningLatch.h"

namespace lathwind {

// What a plug-in's record becomes.
class PluginEvent : public IDSEvent {
public:
    // From a record that keeps to the interface (isSound). The agent is its origin.
    explicit PluginEvent(const collector_record& record);
    // May the record be read?
    static bool isSound(const collector_record* record) noexcept;
};

// Hosts an event source that lives in a library outside the agent: the library hands it records,
// which become events and go the way of those of any collector. docs/collector-plugins.md
// describes the library's side.
//
// start and stop are called by one thread. A plug-in that cannot be used leaves the collector off,
// with a debug line that says why, and the agent runs on.
class PluginCollector : public EventSourceSubject, private QueueWarningLatch {
public:
    // `library` is a bare name, of a file in the process's current directory.
    PluginCollector(std::wstring collectorName, std::wstring library);
    ~PluginCollector() override;  // stop()

    // Loads the library and starts it, and the thread that hands its events on. Once for an object.
    // Gives whether it runs; the state of the collector tells the same (collectorBit::Plugin).
    bool start();
    // Has the plug-in end its work, then ends the thread. Events that the destination has not
    // taken are destroyed.
    void stop();

    void run() override;

private:
    static std::int32_t COLLECTOR_CALL pass(void* context, const collector_record* record) noexcept;
    std::int32_t take(const collector_record& record);
    bool load();
    template <class Entry>
    bool find(const char* entryName, Entry& entry) const;

    const std::wstring libraryName_;
    const collector_host host_;
    const std::unique_ptr<Lock> latchLock_;
    bool wasStarted_ = false;
    LocalLibrary library_;
    void* plugin_ = nullptr;
    collector_terminate_entry terminate_ = nullptr;
};

}  // namespace lathwind
