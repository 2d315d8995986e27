// The "txt" filter against the `diff` program on the same warm files of 10,240 KB that differ in
// every tenth line. Both read the files and make the whole script; ours is decoded as well. The
// runs alternate and the best of each side counts: a busy machine slows single runs, never speeds
// them up. The scripts are compared too; a difference makes the program fail.
//
// Then the texts that a search for the shortest script would be lost in: what counts there is that
// it ends.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "bench/Compare.h"
#include "plugins/TextDiff.h"
#include "utils/ByteArray.h"
#include "utils/FileIO.h"
#include "utils/Text.h"

namespace {

using lathwind::ByteArray;
using lathwind::FileIO;
using lathwind::TextDiff;
namespace bench = lathwind::bench;

constexpr std::size_t kFileBytes = 10240 * 1024;
constexpr int kRuns = 9;
constexpr double kGoal = 2.0;
const std::string kOld = "build/bench/diff-old.txt";
const std::string kNew = "build/bench/diff-new.txt";
const std::string kScript = "build/bench/diff.txt";

using Lines = std::vector<std::string>;

bool write(const std::string& path, const Lines& lines) {
    std::ofstream out(path, std::ios::binary);
    for (const std::string& line : lines) {
        out << line;
    }
    out.close();
    return out.good();
}

// As many lines as the size takes.
Lines makeLines(const std::function<std::string(std::size_t)>& line) {
    Lines lines;
    for (std::size_t size = 0;;) {
        std::string next = line(lines.size());
        size += next.size();
        if (size > kFileBytes) {
            return lines;
        }
        lines.push_back(std::move(next));
    }
}

std::wstring ownScript() {
    const auto before = FileIO::ReadFile(lathwind::widenAscii(kOld));
    const auto now = FileIO::ReadFile(lathwind::widenAscii(kNew));
    void* state = nullptr;
    return TextDiff().run(state, *before, *now);
}

bool runProgram() {
    const std::string command = "diff " + kOld + " " + kNew + " > " + kScript;
    const int status = std::system(command.c_str());
    return status != -1 && std::filesystem::file_size(kScript) != 0;
}

std::wstring programsScript() {
    std::ifstream in(kScript, std::ios::binary);
    return lathwind::widen(std::string(std::istreambuf_iterator<char>(in), {}));
}

bool compareWithProgram() {
    std::mt19937 random(1);
    const auto word = [&] { return std::to_string(random()); };
    const Lines before = makeLines([&](std::size_t number) {
        return std::to_string(number) + " service " + word() + " started by user " + word() + "\n";
    });
    Lines now = before;
    for (std::size_t i = 0; i < now.size(); i += 10) {
        now[i] = std::to_string(i) + " service " + word() + " stopped by user " + word() + "\n";
    }
    if (!write(kOld, before) || !write(kNew, now)) {
        return false;
    }
    bool done = true;
    std::wstring script;
    const auto [own, reference] = bench::bestOf(
        kRuns, [&] { script = ownScript(); }, [&] { done &= runProgram(); });
    if (!done || script != programsScript()) {
        std::fprintf(stderr, "no script, or another one than the program's\n");
        return false;
    }
    std::printf(
        "every tenth of %zu lines changed: %.0f ms, diff: %.0f ms, ratio %.2f (goal %.1f)\n",
        before.size(), own * 1e3, reference * 1e3, own / reference, kGoal);
    return true;
}

bool timeAlone(const char* name, const Lines& before, const Lines& now) {
    if (!write(kOld, before) || !write(kNew, now)) {
        return false;
    }
    std::wstring script;
    const double seconds = bench::secondsOf([&] { script = ownScript(); });
    std::printf("%s, %zu lines: %.1f s\n", name, before.size(), seconds);
    return !script.empty();
}

bool timePathological() {
    std::mt19937 random(2);
    const auto numbered = [](const char* text) {
        return makeLines(
            [text](std::size_t number) { return text + std::to_string(number) + "\n"; });
    };
    const Lines sorted = numbered("entry ");
    Lines shuffled = sorted;
    std::shuffle(shuffled.begin(), shuffled.end(), random);
    const auto letters = [&] {
        return makeLines([&](std::size_t) { return random() % 2 == 0 ? "a\n" : "b\n"; });
    };
    return timeAlone("no line in common", sorted, numbered("other ")) &&
           timeAlone("the same lines shuffled", sorted, shuffled) &&
           timeAlone("two lines at random", letters(), letters());
}

}  // namespace

int main() {
    std::filesystem::create_directories("build/bench");
    const bool done = compareWithProgram() && timePathological();
    for (const std::string& file : {kOld, kNew, kScript}) {
        std::filesystem::remove(file);
    }
    return done ? EXIT_SUCCESS : EXIT_FAILURE;
}
