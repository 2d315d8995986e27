#include "agent/Agent.h"

#include "actions/ActionThread.h"
#include "utils/Console.h"
#include "utils/ErrorLogWriter.h"
#include "utils/Logging.h"
#include "utils/SecurityUtilities.h"

namespace lathwind::agent {
namespace {

constexpr auto kModule = ModuleId::Main;
constexpr int kAddressChangedRow = 245;

constexpr std::uint32_t kSecondMs = 1000;
constexpr std::uint32_t kOwnEventsMs = 1000;
constexpr std::uint32_t kConfigurationMs = 250;
constexpr std::uint32_t kListCheckMs = 10 * kSecondMs;
// A list that is just being written is looked at again soon.
constexpr std::uint32_t kListConfirmMs = 2 * kSecondMs;

std::uint32_t milliseconds(std::uint32_t seconds) {
    constexpr std::uint32_t kMostSeconds = 0xFFFFFFFF / kSecondMs;
    return std::min(seconds, kMostSeconds) * kSecondMs;
}

std::int64_t nowSeconds() {
    return platform::host().currentTimeMs() / kSecondMs;
}

std::int64_t steadyMs() {
    return platform::host().steadyTimeMs();
}

}  // namespace

void say(const std::wstring& line) {
    print(L"%ls\n", line);
    platform::host().flushOutput();
    debugLog(kModule, L"%ls", line);
}

LogSession::LogSession(AgentEventSink& sink) {
    ErrorLogWriter::instance().setEventSink(&sink);
    if (!initDebugLog()) {
        print(L"The service log cannot be opened; going on without it.\n");
    }
}

// The writer asks the sink until it has ended.
LogSession::~LogSession() {
    ErrorLogWriter::instance().stop(Drain::Yes);
    ErrorLogWriter::instance().setEventSink(nullptr);
}

Agent::Agent()
    : startTime_(nowSeconds()),
      log_(ownEvents_),
      statistics_(*settings_),
      schedule_([] { return steadyMs(); }) {
    ownEvents_.attach(recorder_);
    EventRecorder::configureFiles(*settings_);
}

Agent::~Agent() {
    stop();
}

void Agent::start() {
    isStarted_ = true;
    startFileWatch();
    startPlugins();
    addTasks();
}

void Agent::startFileWatch() {
    if (!settings_->collectors().isEnabled(collectorBit::File)) {
        say(L"The settings switch file watching off.");
        return;
    }
    subject_ = std::make_unique<FileWatchSubject>();
    subject_->attach(recorder_);
    progress_.begin(steadyMs());
    subject_->Initialize();
}

void Agent::startPlugins() {
    for (const PluginSetting& setting : settings_->pluginCollectors()) {
        auto plugin = std::make_unique<PluginCollector>(setting.name, setting.library);
        plugin->attach(recorder_);
        settings_->collectors().setEnabled(collectorBit::Plugin, true);
        if (plugin->start()) {
            plugins_.push_back(std::move(plugin));
        } else {
            say(format(L"The collector %ls cannot be used: %ls.", setting.name, setting.library));
        }
    }
}

void Agent::addTasks() {
    schedule_.add(0, [this] { return handOnOwnEvents(); });
    if (subject_ != nullptr) {
        schedule_.add(0, [this] { return followConfiguration(); });
        schedule_.add(kListCheckMs, [this] { return checkWatchLists(); });
    }
    schedule_.add(milliseconds(settings_->ipPollInterval()), [this] { return pollAddress(); });
    schedule_.add(milliseconds(settings_->statisticsFrequency()),
                  [this] { return reportStatistics(); });
}

// The plug-ins and the engine first, whose threads have events; then what they said in the log,
// which the log writer hands on when it ends; last what waits for the event files.
void Agent::stop() {
    if (!isStarted_) {
        return;
    }
    isStarted_ = false;
    recorder_.refuseNothing();
    for (const auto& plugin : plugins_) {
        plugin->stop();
        plugin->Drain();
    }
    if (subject_ != nullptr) {
        subject_->Stop();
    }
    ownEvents_.Drain();
    ActionThread::instance().flush();
    writeStatistics();
    const auto told = [this] {
        const EventRecorder::Totals totals = recorder_.totals();
        return format(L"Stopped: %u events recorded, %u lost.", totals.taken - totals.dropped,
                      countLost());
    };
    // The log ends before the console: what its last lines made events of is in the second line.
    debugLog(kModule, L"%ls", told());
    ErrorLogWriter::instance().stop(Drain::Yes);
    ActionThread::instance().flush();
    print(L"%ls\n", told());
    platform::host().flushOutput();
}

std::uint64_t Agent::countLost() const {
    std::uint64_t lost =
        recorder_.totals().dropped + std::uint64_t{ownEvents_.queueState().dropped};
    if (subject_ != nullptr) {
        lost += subject_->queueState().dropped;
        lost += subject_->GetMonitor()->GetSource().GetQueue().state().dropped;
    }
    for (const auto& plugin : plugins_) {
        lost += plugin->queueState().dropped;
    }
    return lost;
}

std::uint32_t Agent::handOnOwnEvents() {
    ownEvents_.Drain();
    return kOwnEventsMs;
}

std::uint32_t Agent::followConfiguration() {
    if (progress_.isWaiting()) {
        const std::wstring line = progress_.look(configurationFacts(), steadyMs());
        if (!line.empty()) {
            say(line);
        }
    }
    return kConfigurationMs;
}

// One configuration after the other: the saved state belongs to the lists of the start, and is
// compared with what they watch before that changes.
std::uint32_t Agent::checkWatchLists() {
    if (!configurationFacts().isFinal) {
        return kListConfirmMs;
    }
    listChanges_.forget(subject_->TakeUnreadLists());
    if (const std::uint32_t lists = listChanges_.look(); lists != 0) {
        if (!subject_->Reconfigure(lists)) {
            listChanges_.forget(lists);
            return kListConfirmMs;
        }
        say(L"The watch lists have changed.");
        ++reconfigurations_;
        progress_.begin(steadyMs());
    }
    return listChanges_.isUnsettled() ? kListConfirmMs : kListCheckMs;
}

std::uint32_t Agent::pollAddress() {
    const std::wstring before = settings_->ipAddress();
    if (settings_->pollIpAddress()) {
        logCatalogued(Severity::Status, kModule, kAddressChangedRow, before,
                      settings_->ipAddress());
    }
    return milliseconds(settings_->ipPollInterval());
}

std::uint32_t Agent::reportStatistics() {
    writeStatistics();
    return milliseconds(settings_->statisticsFrequency());
}

bool Agent::isFileWatchStarted() const {
    return settings_->collectors().stateOf(collectorBit::File) == collectorState::Started;
}

// Configuring is over when nothing waits to be done and the last item, which says so, is done.
ConfigurationFacts Agent::configurationFacts() {
    ConfigurationFacts facts;
    if (subject_ == nullptr || !isFileWatchStarted()) {
        return facts;
    }
    FileWatchMonitor& monitor = *subject_->GetMonitor();
    facts.itemsToGo = monitor.GetWorkItems().GetLength();
    facts.isFinal = facts.itemsToGo == 0 && !monitor.IsConfigurationPending();
    facts.files = monitor.GetWatchedFileCount();
    facts.logs = monitor.GetWatchedLogCount();
    return facts;
}

void Agent::writeStatistics() {
    StatisticsFacts facts;
    facts.bootTime = platform::host().bootTime();
    facts.startTime = startTime_;
    facts.now = nowSeconds();
    for (const StatisticsRow& message : ErrorLogWriter::instance().statistics()) {
        facts.messages.push_back(message);
    }
    if (subject_ != nullptr) {
        facts.fileWatchLine = subject_->GetStatistics();
        facts.collected += subject_->eventCount();
        facts.droppedNotifications = subject_->GetMonitor()->GetSource().GetQueue().state().dropped;
    }
    for (const auto& plugin : plugins_) {
        facts.collectors.push_back(
            {plugin->name(), plugin->eventCount(), plugin->queueState().dropped});
    }
    facts.collectors.push_back(
        {ownEvents_.name(), ownEvents_.eventCount(), ownEvents_.queueState().dropped});
    for (const CollectorFacts& collector : facts.collectors) {
        facts.collected += collector.events;
    }
    facts.recorded = recorder_.totals();
    facts.dropReports = RecordToEventViewerAction::droppedReports();
    facts.configuration = configurationFacts();
    facts.reconfigurations = reconfigurations_;
    facts.lookups = sidToNameLookup().statistics(L"SID to name");
    for (StatisticsRow& row : nameToSidLookup().statistics(L"Name to SID")) {
        facts.lookups.push_back(std::move(row));
    }
    statistics_.write(composeStatistics(facts), facts.fileWatchLine);
}

}  // namespace lathwind::agent
