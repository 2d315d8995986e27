// What a watched file costs in memory: the growth of the process while the monitor takes in a tree
// of files under one wildcard entry, with everything that the engine keeps of each (entity,
// snapshot, table rows, the row that polling walks). The reference is the goal of 1 KiB beside the
// file's path. Resident bytes include what the heap keeps for itself.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include "bench/Compare.h"
#include "filewatch/FileWatchMonitor.h"
#include "utils/AgentInfo.h"
#include "utils/Text.h"
#include "utils/platform/PlatformFactory.h"

namespace {

namespace fs = std::filesystem;
using namespace lathwind;

constexpr int kFilesInFolder = 1000;
constexpr double kGoal = 1024;  // bytes for each file

class NoEvents : public EventStore {
public:
    PushResult Offer(std::unique_ptr<IDSEvent>) override { return PushResult::Stored; }
    bool HasRoomFor(std::size_t) const override { return true; }
};

std::uint64_t residentBytes() {
    constexpr std::uint64_t kPage = 4096;
    std::ifstream statm("/proc/self/statm");
    std::uint64_t total = 0;
    std::uint64_t resident = 0;
    statm >> total >> resident;
    return resident * kPage;
}

std::wstring watchedPath(const fs::path& folder) {
    std::wstring path = utf16FromUtf8(folder.string());
    replaceAll(path, L"/", L"\\");
    return toLower(L"c:" + path);
}

// Gives the length of the files' paths together, in UTF-16 units.
std::uint64_t makeTree(const fs::path& root, int files) {
    std::uint64_t units = 0;
    for (int number = 0; number < files; ++number) {
        const fs::path folder = root / ("folder" + std::to_string(number / kFilesInFolder));
        if (number % kFilesInFolder == 0) {
            fs::create_directories(folder);
        }
        const fs::path file = folder / ("document" + std::to_string(number) + ".txt");
        std::ofstream(file).put('x');
        units += watchedPath(file).size();
    }
    return units;
}

// False when the tree could not be watched.
bool measure(const fs::path& root, int files) {
    const std::uint64_t units = makeTree(root, files);
    NoEvents events;
    FileWatchMonitor monitor(events);
    FileWatchParams params;
    params.recursionLevel = 2;
    params.label = L"FileWatch List - High Protection";
    params.listId = 10;
    monitor.GetSource().SetPollingIntervals({params.listId});
    const auto stop = platformFactory.createEvent(std::wstring());
    const std::uint64_t before = residentBytes();
    const double seconds =
        bench::secondsOf([&] { monitor.AddFile(watchedPath(root) + L"\\*.txt", params, *stop); });
    const std::uint64_t grown = residentBytes() - before;
    const double each = static_cast<double>(grown - units * sizeof(wchar_t)) / files;
    std::printf(
        "%d watched files: %.0f bytes each beside its path of %.0f units, ratio to the "
        "goal %.2f; added in %.2f s\n",
        files, each, static_cast<double>(units) / files, each / kGoal, seconds);
    return monitor.GetWatchedFileCount() == static_cast<std::uint32_t>(files);
}

// Each size in a process of its own, so that none finds memory that another has left.
bool run(const char* program, int files) {
    const std::string command = std::string("'") + program + "' " + std::to_string(files);
    return std::system(command.c_str()) == 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        return run(argv[0], 100000) && run(argv[0], 1000000) ? 0 : 1;
    }
    const AgentInfoRef settings;
    const int files = std::atoi(argv[1]);
    const fs::path root =
        fs::temp_directory_path() / ("lathwind-memory-bench-" + std::to_string(files));
    fs::remove_all(root);
    const bool isWatched = measure(root, files);
    fs::remove_all(root);
    if (!isWatched) {
        std::fprintf(stderr, "not all files of %s are watched\n", root.string().c_str());
    }
    return isWatched ? 0 : 1;
}
