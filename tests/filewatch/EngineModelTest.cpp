// Nothing lost, nothing invented: the whole engine under random changes of files, saves, stops,
// crashes, restarts and reconfigurations, against a model that knows what must be told of each.
//
// LATHWIND_MODEL_SEED repeats one run; LATHWIND_MODEL_RUNS makes more of them.
#include <algorithm>
#include <array>
#include <cstdlib>
#include <gtest/gtest.h>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "support/EngineRig.h"

namespace lathwind {
namespace {

using testing::EngineRig;
using Told = std::vector<std::string>;

constexpr int kSteps = 60;
constexpr std::array kNames = {"a.txt", "b.txt", "sub\\c.txt", "d.cfg", "sub\\e.cfg"};

// What the engine knows of files (by the number of their last change) and of the log.
struct Knowledge {
    std::map<std::string, int> files;
    bool hasLog = false;
    std::size_t logOffset = 0;  // characters of the log that were read
    bool hasCfg = true;         // the lists in force
};

class EngineModel {
public:
    explicit EngineModel(std::uint32_t seed) : random_(seed) {
        rig_.writeSettings("DatFile State Saving Frequency=60000\n");
        rig_.root().write("system/logwatch.ini", "[Log Files]\nFiles=1\n[File1]\nFileName=" +
                                                     rig_.watched("*.log") + "\n");
        rig_.root().makeFolder("watched/sub");
        writeLists();
        start();
    }

    void step() {
        switch (pick(12)) {
            case 0:
            case 1:
            case 2:
                return write(kNames[pick(kNames.size())]);
            case 3:
            case 4:
                return remove(kNames[pick(kNames.size())]);
            case 5:
            case 6:
                return appendLog();
            case 7:
            case 8:
                return poll();
            case 9:
                return save();
            case 10:
                return restart(pick(2) == 0);
            default:
                return reconfigure();
        }
    }

    std::string history;  // of the steps, for a failure

private:
    std::size_t pick(std::size_t count) { return random_() % count; }
    static bool isCfg(const std::string& name) { return name.ends_with(".cfg"); }
    bool isWatched(const std::string& name) const { return known_.hasCfg || !isCfg(name); }
    static std::string native(std::string name) {
        std::replace(name.begin(), name.end(), '\\', '/');
        return name;
    }

    // The number is the size, so every change can be seen whatever the clock's steps.
    void write(const std::string& name) {
        history += " write:" + name;
        rig_.write(native(name), std::string(static_cast<std::size_t>(++changes_), 'x'));
        disk_[name] = changes_;
    }
    void remove(const std::string& name) {
        history += " remove:" + name;
        rig_.remove(native(name));
        disk_.erase(name);
    }
    // Sometimes a line is finished by a later call only.
    void appendLog() {
        history += " log";
        const std::string text =
            "line " + std::to_string(++changes_) + (pick(4) == 0 ? " and" : "\n");
        rig_.append("app.log", text);
        log_ += text;
    }

    void poll() {
        history += " poll";
        rig_.poll();
        expectDifference();
    }
    void save() {
        history += " save";
        rig_.monitor().Serialize();
        keepSaved();
    }
    void keepSaved() {
        saved_[1] = saved_[0];
        saved_[0] = {true, known_};
    }
    // A crash tells again what came behind the last save.
    void restart(bool isCrash) {
        history += isCrash ? " crash" : " stop";
        if (isCrash) {
            rig_.kill();
        } else {
            rig_.stop();
            keepSaved();
        }
        EXPECT_EQ(rig_.take(), Told());
        for (auto changes = pick(3); changes > 0; --changes) {
            pick(2) == 0 ? write(kNames[pick(kNames.size())]) : appendLog();
        }
        start();
    }
    void start() {
        history += " start";
        rig_.start();
        const bool hasCfg = known_.hasCfg;
        const auto found = std::find_if(saved_.begin(), saved_.end(), [&](const Saved& saved) {
            return saved.isThere && saved.state.hasCfg == hasCfg;
        });
        // A state without a record is no history.
        if (found == saved_.end() || (found->state.files.empty() && !found->state.hasLog)) {
            takeAsKnown();
            EXPECT_EQ(rig_.take(), Told()) << history;
            return;
        }
        known_ = found->state;
        if (!known_.hasLog) {
            known_.logOffset = log_.size();  // a log without a history begins at its end
        }
        expectDifference();
    }
    void takeAsKnown() {
        known_.files.clear();
        for (const auto& [name, change] : disk_) {
            if (isWatched(name)) {
                known_.files[name] = change;
            }
        }
        known_.hasLog = !log_.empty();
        known_.logOffset = log_.size();
    }

    // What comes in is as it is, what goes out is forgotten.
    void reconfigure() {
        history += " reconfigure";
        known_.hasCfg = !known_.hasCfg;
        writeLists();
        rig_.reconfigure(FileWatchSubject::kFileLists);
        for (const char* name : kNames) {
            if (!isCfg(name)) {
                continue;
            }
            known_.files.erase(name);
            if (known_.hasCfg && disk_.contains(name)) {
                known_.files[name] = disk_[name];
            }
        }
        EXPECT_EQ(rig_.take(), Told()) << history;
    }
    void writeLists() {
        const std::string text = rig_.watched("*.txt") + "|2|1|0\n";
        const std::string cfg = "File0002=" + rig_.watched("*.cfg") + "|2|0|0\n";
        rig_.writeFileList("MaxFileNumber=" + std::to_string(known_.hasCfg ? 2 : 1) +
                           "\nFile0001=" + text + (known_.hasCfg ? cfg : ""));
    }

    // Exactly the differences between what was known and what is there, and from now on it is
    // known.
    void expectDifference() {
        Told expected;
        for (const char* name : kNames) {
            const auto before = known_.files.find(name);
            const auto now = disk_.find(name);
            const bool existed = before != known_.files.end();
            const bool exists = now != disk_.end() && isWatched(name);
            if (existed && !exists) {
                expected.push_back(std::string("D ") + name);
            } else if (!existed && exists) {
                expected.push_back(std::string("C ") + name);
            } else if (exists && before->second != now->second) {
                expected.push_back(std::string("M ") + name);
            }
        }
        for (auto end = log_.find('\n', known_.logOffset); end != std::string::npos;
             end = log_.find('\n', known_.logOffset)) {
            expected.push_back("app.log: " + log_.substr(known_.logOffset, end - known_.logOffset));
            known_.logOffset = end + 1;
        }
        Told told = rig_.take();
        std::sort(told.begin(), told.end());
        std::sort(expected.begin(), expected.end());
        EXPECT_EQ(told, expected) << history;
        const std::size_t offset = known_.logOffset;
        takeAsKnown();
        known_.logOffset = offset;
    }

    struct Saved {
        bool isThere = false;
        Knowledge state;
    };

    std::mt19937 random_;
    EngineRig rig_;
    int changes_ = 0;
    std::map<std::string, int> disk_;
    std::string log_;
    Knowledge known_;
    std::array<Saved, 2> saved_;  // the state file, and the one before
};

std::uint32_t numberFrom(const char* variable, std::uint32_t fallback) {
    const char* text = std::getenv(variable);
    return text == nullptr ? fallback : static_cast<std::uint32_t>(std::strtoul(text, nullptr, 10));
}

TEST(EngineModel, TellsExactlyWhatChanged) {
    const std::uint32_t first = numberFrom("LATHWIND_MODEL_SEED", std::random_device()());
    const std::uint32_t runs = numberFrom("LATHWIND_MODEL_RUNS", 12);
    for (std::uint32_t seed = first; seed != first + runs && !HasFailure(); ++seed) {
        SCOPED_TRACE("LATHWIND_MODEL_SEED=" + std::to_string(seed));
        std::printf("seed %u\n", seed);
        EngineModel model(seed);
        for (int step = 0; step < kSteps && !HasFailure(); ++step) {
            model.step();
        }
    }
}

}  // namespace
}  // namespace lathwind
