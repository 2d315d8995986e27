// The engine with its threads, in an installation of its own.
//
// Start: from the reading of the lists until the configuration is final, against listing the same
// folders and one status call for each file. The entries are queued, and the queue is taken from at
// most once each 100 ms: with ten entries that alone is more than a second, so a start with one
// entry stands beside it. The files are there and warm.
//
// Events: from the filter's callback, for files that really changed, to lines of the CSV event
// file, against writing the same lines to a buffered stream. The engine's lines are on their way to
// the disk one by one, so that a kill tears none: writing them with a flush for each is told as
// well.
//
// LATHWIND_BENCH_LARGE adds a start with a million files.
#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <system_error>
#include <vector>

#include "actions/ActionThread.h"
#include "actions/RecordToEventViewerAction.h"
#include "bench/Compare.h"
#include "filewatch/FileWatchSubject.h"
#include "filewatch/IPSFilterInterface.h"
#include "utils/AgentInfo.h"
#include "utils/Text.h"
#include "utils/platform/PlatformFactory.h"

namespace {

namespace fs = std::filesystem;
using namespace lathwind;

constexpr int kFilesInFolder = 1000;
constexpr int kEntries = 10;
constexpr int kChangedFiles = 20'000;
constexpr std::uint32_t kActor = 0x7FFFFF01;  // nobody's id

std::wstring spelled(const fs::path& path) {
    std::wstring wide = L"c:" + toLower(widen(path.string()));
    std::replace(wide.begin(), wide.end(), L'/', L'\\');
    return wide;
}

// An installation, with the process in its binary folder, and a tree to be watched beside it.
class Installation {
public:
    explicit Installation(int files) : before_(fs::current_path()) {
        root_ = fs::absolute("build/bench/engine");
        fs::remove_all(root_);
        for (const char* folder : {"bin", "log", "system", "watched"}) {
            fs::create_directories(root_ / folder);
        }
        const int folders = files / kFilesInFolder;
        for (int folder = 0; folder < folders; ++folder) {
            addFolder(root_ / "watched" / ("e" + std::to_string(folder % kEntries)) /
                      ("d" + std::to_string(100000 + folder)));
        }
        fs::current_path(root_ / "bin");
        write("LocalAgent.ini",
              "[Event Management]\nFile Collector Events Limit=1000000\n"
              "Event Processing Queue Limit=2000000\n");
        AgentInfoRef()->reload();
    }
    ~Installation() {
        fs::current_path(before_);
        fs::remove_all(root_);
    }
    Installation(const Installation&) = delete;
    Installation& operator=(const Installation&) = delete;

    // The list that is walked least often: no walk falls into a measurement.
    void writeList(int entries) const {
        std::string list = "[FileWatch]\nNumLists=2\n[FileWatch List - Normal Protection]\n";
        list += "MaxFileNumber=" + std::to_string(entries) + "\n";
        for (int entry = 0; entry < entries; ++entry) {
            const fs::path top = entries == 1 ? root_ / "watched"
                                              : root_ / "watched" / ("e" + std::to_string(entry));
            list += "File" + std::to_string(10001 + entry).substr(1) + "=" + narrow(spelled(top)) +
                    "\\*.txt|4\n";
        }
        write("filewatch.ini", list);
    }
    void forgetState() const {
        for (const char* name : {"FileWatch.dat", "FileWatch.dat.tmp"}) {
            fs::remove(root_ / "bin" / name);
        }
    }
    fs::path watched() const { return root_ / "watched"; }
    fs::path log(const char* name) const { return root_ / "log" / name; }
    const std::vector<fs::path>& paths() const { return paths_; }

private:
    void addFolder(const fs::path& folder) {
        fs::create_directories(folder);
        for (int file = 0; file < kFilesInFolder; ++file) {
            paths_.push_back(folder / ("file" + std::to_string(100000 + file) + ".txt"));
            std::ofstream(paths_.back()) << file;
        }
    }
    void write(const char* name, const std::string& text) const {
        std::ofstream(root_ / "system" / name) << text;
    }

    const fs::path before_;
    fs::path root_;
    std::vector<fs::path> paths_;
};

class Recorder : public EventDestination {
public:
    bool isFull() override { return action_.isFull(); }
    void take(std::unique_ptr<IDSEvent> event) override {
        action_.perform(*event, nullptr);
        ++taken_;
    }
    std::size_t taken() const { return taken_.load(); }

private:
    RecordToEventViewerAction action_{nullptr};
    std::atomic<std::size_t> taken_{0};
};

template <class Test>
void waitUntil(const Test& test) {
    while (!test()) {
        platform::host().sleepMs(1);
    }
}

class Engine {
public:
    explicit Engine(EventDestination* destination = nullptr) {
        if (destination != nullptr) {
            subject_.attach(*destination);
        }
        subject_.Initialize();
        FileWatchMonitor& monitor = *subject_.GetMonitor();
        waitUntil([&] {
            return AgentInfoRef()->collectors().stateOf(collectorBit::File) ==
                       collectorState::Started &&
                   monitor.GetWorkItems().GetLength() == 0 && !monitor.IsConfigurationPending();
        });
    }
    FileWatchMonitor& monitor() { return *subject_.GetMonitor(); }

private:
    FileWatchSubject subject_;
};

std::size_t listAndLook(const fs::path& top) {
    std::size_t files = 0;
    for (const auto& entry : fs::recursive_directory_iterator(top)) {
        std::error_code failure;
        files += fs::status(entry.path(), failure).type() == fs::file_type::regular;
    }
    return files;
}

// Gives the seconds; 0 where the engine watches another number of files than there are.
double benchStart(const Installation& installation, int entries) {
    constexpr int kTurns = 3;
    const std::size_t files = installation.paths().size();
    installation.writeList(entries);
    bool isWhole = true;
    bench::Best best;
    for (int turn = 0; turn < kTurns; ++turn) {
        best.reference = std::min(best.reference, bench::secondsOf([&] {
                                      isWhole =
                                          listAndLook(installation.watched()) == files && isWhole;
                                  }));
        installation.forgetState();
        std::unique_ptr<Engine> engine;
        best.own =
            std::min(best.own, bench::secondsOf([&] { engine = std::make_unique<Engine>(); }));
        isWhole = engine->monitor().GetWatchedFileCount() == files && isWhole;
    }
    std::printf(
        "start with %zu files under %d entries: %.3f s, listing and status calls: %.3f s, ratio of "
        "cost %.2f\n",
        files, entries, best.own, best.reference, best.own / best.reference);
    std::fflush(stdout);
    return isWhole ? best.own : 0;
}

std::vector<std::string> linesOf(const fs::path& file) {
    std::vector<std::string> lines;
    std::ifstream stream(file, std::ios::binary);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

double secondsToWrite(const std::vector<std::string>& lines, const fs::path& file, bool isFlushed) {
    return bench::secondsOf([&] {
        std::ofstream stream(file, std::ios::binary);
        for (const std::string& line : lines) {
            stream << line << '\n';
            if (isFlushed) {
                stream.flush();
            }
        }
    });
}

void notify(const std::wstring& path) {
    const IPSFilterEvent event{filterEvent::Modified, 1,        kActor, nullptr,
                               path.c_str(),          L"p.exe", nullptr};
    FileWatchMonitor::OnFilterEvent(&event);
}

bool benchEvents(const Installation& installation) {
    constexpr int kTurns = 3;
    const std::size_t files = installation.paths().size();
    std::vector<std::wstring> paths;
    for (const fs::path& path : installation.paths()) {
        paths.push_back(spelled(path));
    }
    installation.forgetState();
    RecordToEventViewerAction::recordSetPaths({}, {});
    Recorder recorder;
    Engine engine(&recorder);
    double own = 1e9;
    for (std::size_t turn = 1; turn <= kTurns; ++turn) {
        for (const fs::path& path : installation.paths()) {
            std::ofstream(path, std::ios::app) << '.';
        }
        own = std::min(own, bench::secondsOf([&] {
                           for (const std::wstring& path : paths) {
                               notify(path);
                           }
                           waitUntil([&] { return recorder.taken() == turn * files; });
                           ActionThread::instance().flush();
                       }));
    }
    std::vector<std::string> lines = linesOf(installation.log("QVRIDSEvents.csv"));
    const bool isWhole = lines.size() >= kTurns * files;
    lines.resize(std::min(lines.size(), files));
    double buffered = 1e9;
    double flushed = 1e9;
    for (int turn = 0; turn < kTurns; ++turn) {
        buffered =
            std::min(buffered, secondsToWrite(lines, installation.log("reference.csv"), false));
        flushed = std::min(flushed, secondsToWrite(lines, installation.log("reference.csv"), true));
    }
    const auto count = static_cast<double>(files);
    std::printf(
        "notifications to event lines: %.0f/s; plain lines, buffered: %.0f/s, ratio of speed %.3f; "
        "flushed one by one: %.0f/s, ratio of speed %.3f\n",
        count / own, count / buffered, buffered / own, count / flushed, flushed / own);
    return isWhole;
}

bool runEvents(int files) {
    const Installation installation(files);
    installation.writeList(1);
    return benchEvents(installation);
}

bool run() {
    double small = 0;
    {
        const Installation installation(100'000);
        small = benchStart(installation, kEntries);
        if (small == 0 || benchStart(installation, 1) == 0) {
            return false;
        }
    }
    if (std::getenv("LATHWIND_BENCH_LARGE") != nullptr) {
        const Installation installation(1'000'000);
        const double large = benchStart(installation, kEntries);
        if (large == 0) {
            return false;
        }
        std::printf("growth from 100000 to 1000000 files: %.2f\n", large / small);
    }
    return runEvents(kChangedFiles);
}

}  // namespace

// One measurement alone: "events" or "start", and the number of files.
int main(int count, char** arguments) {
    const AgentInfoRef settings;
    const std::string what = count == 3 ? arguments[1] : "";
    const int files = count == 3 ? std::atoi(arguments[2]) : 0;
    const bool isWhole = what == "events"  ? runEvents(files)
                         : what == "start" ? benchStart(Installation(files), 1) != 0
                                           : run();
    if (!isWhole) {
        std::fprintf(stderr, "the engine watched or told another number of files than there are\n");
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}
