// Saving and restoring the engine's state, for 100,000 and for 1,000,000 watched files, against
// plain buffered writing and reading of as many bytes; both writers wait for the disk. The restore
// compares every live file with its saved state and finds nothing new. The sides run in turns and
// the best turn of each counts. Last, how the time for one entity grows with their number.
#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "bench/Compare.h"
#include "filewatch/FileWatchMonitor.h"
#include "filewatch/windows/WinMountManager.h"
#include "support/FakeDisk.h"
#include "support/FakeVolumes.h"
#include "support/IdleSource.h"
#include "support/ServiceOverride.h"
#include "utils/AgentInfo.h"
#include "utils/Text.h"
#include "utils/platform/PlatformFactory.h"

namespace {

namespace fs = std::filesystem;
using namespace lathwind;

constexpr int kFilesInFolder = 1000;
constexpr int kTurns = 3;
constexpr std::array kSizes = {100000, 1000000};
const std::string kCopy = "copy.dat";

class Counter : public EventStore {
public:
    PushResult Offer(std::unique_ptr<IDSEvent>) override {
        ++count;
        return PushResult::Stored;
    }
    bool HasRoomFor(std::size_t) const override { return true; }
    int count = 0;
};

// A drive on which there is every file that is asked for, all of them alike: what the disk takes to
// tell of a file is no part of this.
class FullDisk : public testing::FakeDisk {
public:
    FullDisk() { write(kOne, "contents"); }
    ErrorCode query(const std::wstring& path, platform::FileFacts& facts) override {
        return FakeDisk::query(instead(path), facts);
    }
    std::unique_ptr<platform::BackupReader> openBackup(const std::wstring& path,
                                                       ErrorCode& code) override {
        return FakeDisk::openBackup(instead(path), code);
    }
    std::unique_ptr<platform::SecurityDescriptor> readSecurity(const std::wstring& path,
                                                               std::uint32_t information,
                                                               ErrorCode& code) override {
        return FakeDisk::readSecurity(instead(path), information, code);
    }
    StreamQuery queryStreams(const std::wstring& path, std::span<std::byte> buffer,
                             ErrorCode& code) override {
        return FakeDisk::queryStreams(instead(path), buffer, code);
    }

private:
    static const std::wstring& instead(const std::wstring& path) {
        static const std::wstring one = kOne;
        return path.starts_with(L"x:") ? one : path;
    }
    static constexpr wchar_t kOne[] = L"x:\\one";
};

// A folder of its own for the state, with the process in it while it lives.
class Folder {
public:
    Folder() : before_(fs::current_path()), folder_(before_ / "build/bench/state") {
        fs::remove_all(folder_);
        fs::create_directories(folder_);
        fs::current_path(folder_);
    }
    ~Folder() {
        fs::current_path(before_);
        fs::remove_all(folder_);
    }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;

private:
    fs::path before_;
    fs::path folder_;
};

void copyOut(const std::string& bytes) {
    std::ofstream stream(kCopy, std::ios::binary | std::ios::trunc);
    stream.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    stream.flush();
    platform::files().flushToDisk(widen(kCopy));
}

std::string readAll(const std::string& name) {
    std::ifstream stream(name, std::ios::binary | std::ios::ate);
    std::string bytes(static_cast<std::size_t>(stream.tellg()), '\0');
    stream.seekg(0);
    stream.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    return bytes;
}

struct Cost {
    double save = 0;  // microseconds for each entity
    double restore = 0;
};

bool measure(int files, Cost& cost) {
    const Folder folder;
    FullDisk disk;
    testing::FakeVolumes volumes;
    const testing::ServiceOverride<platform::Files> fileAnswers(platformFactory.files, disk);
    const testing::ServiceOverride<platform::Volumes> volumeAnswers(platformFactory.volumes,
                                                                    volumes);
    Counter events;
    FileWatchMonitor monitor(events, nullptr, {},
                             {std::make_unique<lathwind::testing::IdleSource>(true),
                              std::make_unique<WinMountManager>()});
    const auto stop = platformFactory.createEvent({});
    for (int file = 0; file < files; ++file) {
        monitor.AddFile(L"x:\\program files\\application\\folder" +
                            std::to_wstring(file / kFilesInFolder) + L"\\file" +
                            std::to_wstring(file) + L".txt",
                        {}, *stop);
    }
    monitor.SetConfigurationPending(false);
    monitor.Serialize();
    const std::string bytes = readAll("FileWatch.dat");
    const bench::Best save = bench::bestOf(
        kTurns, [&] { monitor.Serialize(); }, [&] { copyOut(bytes); });
    RestoreResult result = RestoreResult::Failed;
    std::size_t read = 0;
    const bench::Best restore = bench::bestOf(
        kTurns, [&] { result = monitor.Deserialize(L"FileWatch.dat", *stop); },
        [&] { read = readAll("FileWatch.dat").size(); });
    if (result != RestoreResult::Restored || events.count != 0 || read != bytes.size()) {
        std::fprintf(stderr, "restored with %d, %d events\n", static_cast<int>(result),
                     events.count);
        return false;
    }
    cost = {save.own / files * 1e6, restore.own / files * 1e6};
    std::printf("%d files, %.1f MB: saved in %.2f us each, plain writing: %.2f us, ratio %.2f\n",
                files, static_cast<double>(bytes.size()) / 1e6, cost.save,
                save.reference / files * 1e6, save.own / save.reference);
    std::printf("%d files: restored in %.2f us each, plain reading: %.2f us, ratio %.2f\n", files,
                cost.restore, restore.reference / files * 1e6, restore.own / restore.reference);
    return true;
}

}  // namespace

int main() {
    const AgentInfoRef settings;  // read once
    std::array<Cost, kSizes.size()> costs;
    for (std::size_t i = 0; i < kSizes.size(); ++i) {
        if (!measure(kSizes[i], costs[i])) {
            return EXIT_FAILURE;
        }
    }
    std::printf("growth of the time for one entity, 1 is linear: saving %.2f, restoring %.2f\n",
                costs[1].save / costs[0].save, costs[1].restore / costs[0].restore);
    return EXIT_SUCCESS;
}
