// What it costs to see that nothing happened: taking a snapshot of a file, the whole of a
// notification, and comparing two equal snapshots. The reference of the first two is the bare
// status call on the same file (the standard library's status, which is stat(2) and a switch), that
// of the last the plain equality of snapshots. The sides run in turns, and the best turn of each
// counts: a busy machine slows single turns, never speeds them up.
//
// A file with an extended attribute takes three calls to the system that each look up its path
// (status, names, value), one without takes two: that is the floor of the ratios.
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <system_error>

#include "bench/Compare.h"
#include "filewatch/FileAttributes.h"
#include "filewatch/FileNotificationInfo.h"
#include "filewatch/WatchedFile.h"
#include "filewatch/windows/WinFileAttributes.h"
#include "utils/Text.h"
#include "utils/platform/PlatformFactory.h"

namespace {

namespace fs = std::filesystem;
using lathwind::FileAttributes;
using lathwind::WinFileAttributes;
using lathwind::bench::Best;

constexpr int kTurns = 300;
constexpr int kRounds = 1000;  // of one turn

template <class Action>
auto rounds(Action action) {
    return [action] {
        for (int round = 0; round < kRounds; ++round) {
            action();
        }
    };
}

template <class Own, class Reference>
Best measure(Own own, Reference reference) {
    return lathwind::bench::bestOf(kTurns, rounds(own), rounds(reference));
}

void print(const char* what, const char* reference, const Best& best) {
    std::printf("%s: %.0f/s, %s: %.0f/s, ratio of cost %.2f\n", what, kRounds / best.own, reference,
                kRounds / best.reference, best.own / best.reference);
}

// Python is there for other benchmarks, and its standard library has the call.
bool setAttribute(const fs::path& file) {
    const std::string command =
        "python3 -c 'import os,sys; os.setxattr(sys.argv[1], \"user.note\", b\"value\")' '" +
        file.string() + "' 2> /dev/null";
    return std::system(command.c_str()) == 0;
}

bool benchFile(const fs::path& file) {
    const std::wstring path = lathwind::widen(file.string());
    const std::unique_ptr<FileAttributes> snapshot = lathwind::CreateFileAttributes(path);
    const std::unique_ptr<FileAttributes> previous = snapshot->Clone();
    std::uint64_t seen = 0;
    const auto status = [&] {
        std::error_code failure;
        seen += fs::status(file, failure).type() == fs::file_type::regular;
    };
    print("snapshots", "status calls", measure([&] { seen += snapshot->Initialize(); }, status));
    lathwind::platform::FileFacts facts;
    print("snapshots", "queries of the platform layer",
          measure([&] { seen += snapshot->Initialize(); },
                  [&] { seen += lathwind::platform::files().query(path, facts) == 0; }));
    print("snapshots with comparison", "status calls",
          measure(
              [&] {
                  const auto now = snapshot->TakeNew();
                  seen += now->CompareToText(*snapshot, true, nullptr, nullptr, true).empty();
              },
              status));
    lathwind::WatchedFile entity(path, nullptr, {});
    const lathwind::FileNotificationInfo hint(path, lathwind::FileAction::Modified, 1);
    lathwind::EventList events;
    print("notifications without a change", "status calls",
          measure([&] { seen += entity.ProcessNotification(events, hint) == 0; }, status));
    print("comparisons of equal snapshots", "Equals",
          measure(
              [&] {
                  seen += snapshot->CompareToText(*previous, false, nullptr, nullptr, true).empty();
              },
              [&] { seen += snapshot->Equals(*previous); }));
    // Every round saw the file and found it unchanged: what was counted really ran.
    const auto rounds = static_cast<std::uint64_t>(kTurns) * kRounds;
    return seen == 10 * rounds && snapshot->Exists();
}

}  // namespace

int main() {
    const fs::path folder = fs::absolute("build/bench/snapshot");
    fs::create_directories(folder);
    const fs::path plain = folder / "plain.txt";
    const fs::path noted = folder / "noted.txt";
    std::ofstream(plain) << "contents";
    std::ofstream(noted) << "contents";
    std::printf("%s\n", "a file without extended attributes");
    bool done = benchFile(plain);
    if (setAttribute(noted)) {
        std::printf("%s\n", "a file with one extended attribute");
        done = benchFile(noted) && done;
    } else {
        std::printf("the file system of %s keeps no extended attributes\n", folder.c_str());
    }
    fs::remove_all(folder);
    if (!done) {
        std::fprintf(stderr, "a round did not see the file as it was\n");
    }
    return done ? EXIT_SUCCESS : EXIT_FAILURE;
}
