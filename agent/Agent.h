#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "agent/AgentEvents.h"
#include "agent/ConfigurationProgress.h"
#include "agent/EventRecorder.h"
#include "agent/Schedule.h"
#include "agent/StatisticsLog.h"
#include "agent/WatchListChanges.h"
#include "filewatch/FileWatchSubject.h"
#include "plugins/PluginCollector.h"
#include "utils/AgentInfo.h"

namespace lathwind::agent {

// A line for whoever watches the console, and for the log while the module's debug lines are on.
void say(const std::wstring& line);

// The service log, open while it lives; the lines are the agent's events as well.
class LogSession {
public:
    explicit LogSession(AgentEventSink& sink);
    ~LogSession();
    LogSession(const LogSession&) = delete;
    LogSession& operator=(const LogSession&) = delete;
};

// The engine at work for one installation, whose binary folder is the current directory: settings,
// log, collectors, recording, and the recurring work around them. One a process: much of what it
// stands on is the process's.
//
// start, step and stop are called by one thread, in this order.
class Agent {
public:
    Agent();
    ~Agent();  // stop()
    Agent(const Agent&) = delete;
    Agent& operator=(const Agent&) = delete;

    // Starts everything; the watch lists are read and the state is restored on threads of their
    // own.
    void start();
    // Does the recurring work that is due. Gives the milliseconds until there is more.
    std::int32_t step() { return schedule_.step(); }
    // Stops the collectors, which saves the state, and sees every event that was taken written.
    void stop();

private:
    void startFileWatch();
    void startPlugins();
    void addTasks();

    std::uint32_t handOnOwnEvents();
    std::uint32_t followConfiguration();
    std::uint32_t checkWatchLists();
    std::uint32_t pollAddress();
    std::uint32_t reportStatistics();

    bool isFileWatchStarted() const;
    ConfigurationFacts configurationFacts();
    void writeStatistics();
    // Of what the collectors and the recorder took in this run.
    std::uint64_t countLost() const;

    const AgentInfoRef settings_;
    const std::int64_t startTime_;
    EventRecorder recorder_;
    AgentEvents ownEvents_;
    const LogSession log_;
    WatchListChanges listChanges_;  // before the subject reads the lists
    std::vector<std::unique_ptr<PluginCollector>> plugins_;
    std::unique_ptr<FileWatchSubject> subject_;  // null while the settings switch it off
    ConfigurationProgress progress_;
    StatisticsLog statistics_;
    Schedule schedule_;
    std::uint32_t reconfigurations_ = 0;
    bool isStarted_ = false;
};

}  // namespace lathwind::agent
