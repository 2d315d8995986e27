// What it costs to see that nothing has changed: a walk of a polling list over files that rest,
// against the bare status call (the standard library's status, which is stat(2) and a switch) on
// the same paths in the same order. The sides run in turns and the best turn of each counts. Each
// walk looks at an eighth of the files in full, so one is as good as another.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "bench/Compare.h"
#include "filewatch/FileAttributes.h"
#include "filewatch/windows/PollDirEntry.h"
#include "filewatch/windows/PollWalk.h"
#include "filewatch/windows/WinMountManager.h"
#include "support/IdleSource.h"
#include "utils/Text.h"
#include "utils/platform/PlatformFactory.h"

namespace {

namespace fs = std::filesystem;
using namespace lathwind;

constexpr int kFilesInFolder = 1000;
constexpr int kTurns = 10;
constexpr std::int32_t kList = 1;

// Last known states in path order, with a cursor: a walk asks for one after the other.
class KnownFiles : public MonitorQueries {
public:
    void add(const std::wstring& path) { states_.emplace_back(path, CreateFileAttributes(path)); }
    LastKnownState GetAttributes(const std::wstring& path, std::int32_t /*listId*/) override {
        if (next_ == states_.size() || states_[next_].first != path) {
            next_ = static_cast<std::size_t>(
                std::lower_bound(states_.begin(), states_.end(), path,
                                 [](const auto& state, const std::wstring& wanted) {
                                     return state.first < wanted;
                                 }) -
                states_.begin());
            if (next_ == states_.size() || states_[next_].first != path) {
                return {};
            }
        }
        return {states_[next_++].second, false};
    }
    bool IsIPSFilterWatchingFile(const std::wstring&, std::int32_t) override { return false; }
    IPSFilterInterface* GetStartedFilter() override { return nullptr; }

private:
    std::vector<std::pair<std::wstring, std::shared_ptr<const FileAttributes>>> states_;
    std::size_t next_ = 0;
};

class Counter : public PollReporter {
public:
    bool Queue(const std::wstring&, FileAction, std::int32_t, std::int32_t) override {
        ++count;
        return true;
    }
    int count = 0;
};

class Tree {
public:
    explicit Tree(int files) : folder_(fs::absolute("build/bench/polling")) {
        fs::remove_all(folder_);
        fs::create_directories(folder_);
        std::vector<std::wstring> folders;
        for (int file = 0; file < files; ++file) {
            if (file % kFilesInFolder == 0) {
                folders.push_back(L"d" + std::to_wstring(1000000 + file));
                fs::create_directories(folder_ / folders.back());
            }
            const fs::path path =
                folder_ / folders.back() / ("file" + std::to_string(1000000 + file) + ".txt");
            std::ofstream(path) << file;
            paths_.push_back(path);
        }
        for (const std::wstring& name : folders) {
            folders_.push_back(folder_ / name);
        }
    }
    ~Tree() { fs::remove_all(folder_); }
    Tree(const Tree&) = delete;
    Tree& operator=(const Tree&) = delete;

    const std::vector<fs::path>& paths() const { return paths_; }
    const std::vector<fs::path>& folders() const { return folders_; }

private:
    fs::path folder_;
    std::vector<fs::path> paths_;
    std::vector<fs::path> folders_;
};

std::wstring spelled(const fs::path& path) {
    std::wstring wide = L"c:" + toLower(widen(path.string()));
    std::replace(wide.begin(), wide.end(), L'/', L'\\');
    return wide;
}

bool benchFiles(int files) {
    const Tree tree(files);
    platform::host().sleepMs(3500);  // a file that changed a moment ago gets a second full look
    KnownFiles known;
    lathwind::testing::IdleSource source;
    WinMountManager mounts;
    Counter told;
    source.SetMonitor(&known);
    source.SetMountManager(&mounts);
    PollList list;
    for (const fs::path& path : tree.paths()) {
        known.add(spelled(path));
        list.Insert(spelled(path), std::make_unique<PollEntry>(false));
    }
    for (const fs::path& folder : tree.folders()) {
        list.Insert(spelled(folder), MakePollEntry(spelled(folder), 1, false, L"*.txt").entry);
    }
    const auto walk = [&] {
        PollWalk(list, kList, source, told, platform::host().currentTimeMs() / 1000).Run();
    };
    walk();  // the first one looks at everything in full
    walk();
    std::uint64_t seen = 0;
    const auto best = bench::bestOf(kTurns, walk, [&] {
        for (const fs::path& path : tree.paths()) {
            std::error_code failure;
            seen += fs::status(path, failure).type() == fs::file_type::regular;
        }
    });
    std::printf("walk over %d unchanged files: %.3f s, status calls: %.3f s, ratio of cost %.2f\n",
                files, best.own, best.reference, best.own / best.reference);
    std::fflush(stdout);
    return told.count == 0 && seen == std::uint64_t{kTurns} * static_cast<unsigned>(files);
}

}  // namespace

// The number of files can be given, for one measurement.
int main(int count, char** arguments) {
    bool done = true;
    if (count > 1) {
        done = benchFiles(std::atoi(arguments[1]));
    } else {
        done = benchFiles(100'000) && benchFiles(1'000'000);
    }
    if (!done) {
        std::fprintf(stderr,
                     "a walk told of a file that had not changed, or a file was not there\n");
    }
    return done ? EXIT_SUCCESS : EXIT_FAILURE;
}
