// Following a log of 100-byte lines against the tools that only count its lines: without a pattern
// against `wc -l`, with a piece of text against `grep -c -F`, with a pattern of two tags against
// `grep -c -E` with two groups. Every line that passes becomes an event, which is then dropped; the
// reader by itself, without events, is measured too. The file is warm, the runs alternate, and the
// best of each side counts. The number of events must be the reference's count. At the end the peak
// of memory after following a file, and after one four times its size.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>

#include "bench/Compare.h"
#include "events/FileAction.h"
#include "filewatch/FileAttributes.h"
#include "filewatch/FileNotificationInfo.h"
#include "filewatch/LogLineReader.h"
#include "filewatch/WatchedLogFile.h"
#include "utils/AgentInfo.h"
#include "utils/IniFile.h"
#include "utils/Text.h"

namespace {

using namespace lathwind;

constexpr std::size_t kLineBytes = 100;
constexpr std::size_t kSmallMegabytes = 50;
constexpr std::size_t kMegabytes = 200;
constexpr std::size_t kLinesOfMegabyte = 1000000 / kLineBytes;
constexpr int kRuns = 5;
const std::string kFile = "build/bench/follow.log";
const std::string kAnswer = "build/bench/follow.txt";

// One line in a hundred is a denial, as in a log of accesses that mostly succeed.
bool makeFile(std::size_t megabytes) {
    std::filesystem::create_directories("build/bench");
    std::ofstream out(kFile, std::ios::binary | std::ios::trunc);
    std::uint64_t state = 0x9e3779b97f4a7c15;
    std::string line;
    for (std::size_t i = 0; i < megabytes * kLinesOfMegabyte; ++i) {
        state = state * 6364136223846793005u + 1442695040888963407u;
        const std::string number = std::to_string(state >> 40);
        line = "user " + number + (state >> 32 & 0x7F ? " was granted " : " was DENIED access to ");
        line += "host-" + number;
        while (line.size() < kLineBytes - 1) {
            line += static_cast<char>('a' + (state >> (line.size() % 59)) % 26);
        }
        line.resize(kLineBytes - 1);
        out << line << '\n';
    }
    out.close();
    return out.good();
}

std::size_t referenceCount(const std::string& command) {
    if (std::system((command + " < " + kFile + " > " + kAnswer).c_str()) != 0) {
        return 0;
    }
    std::size_t count = 0;
    std::ifstream(kAnswer) >> count;
    return count;
}

// The lines that the reader finds and decodes.
std::size_t readLines() {
    LogLineReader reader(LogLineReader::Format{});
    reader.Restart(0);
    std::FILE* stream = std::fopen(kFile.c_str(), "rb");
    const auto source = [stream](char* target, std::size_t count) {
        return std::fread(target, 1, count, stream);
    };
    std::wstring line;
    std::size_t count = 0;
    while (reader.Find(source) != LogLineReader::Found::Nothing) {
        reader.GetText(line);
        count += static_cast<std::size_t>(!line.empty());
    }
    std::fclose(stream);
    return count;
}

// The events of a whole log, in as many passes as the queue's size asks for.
std::size_t followLog(const std::wstring& pattern) {
    IniFile ini;
    ini.parse(L"[Log Files]\nFiles=1\n[File1]\nStringsToParse=1\nS1=" + pattern + L"\n");
    LogFileProperties properties;
    LogFileProperties::ReadFromIni(ini, properties, 1);
    WatchedLogFile log(widenAscii(kFile), &properties, {});
    log.InitializeEntity(true);
    log.SetOffset(0);
    const FileNotificationInfo note(log.GetName(), FileAction::Modified, 0);
    std::size_t count = 0;
    std::uint32_t before = 0;
    do {
        before = log.GetOffset();
        EventList events;
        count += log.ProcessNotification(events, note);
    } while (log.GetOffset() != before);
    return count;
}

bool compare(const char* what, const std::string& command,
             const std::function<std::size_t()>& own) {
    std::size_t count = 0;
    std::size_t expected = referenceCount(command);  // brings the file into memory
    const bench::Best best = bench::bestOf(
        kRuns, [&] { count = own(); }, [&] { expected = referenceCount(command); });
    if (count != expected || count == 0) {
        std::fprintf(stderr, "%s: %zu, but %s counts %zu\n", what, count, command.c_str(),
                     expected);
        return false;
    }
    std::printf("%s: %.0f MB/s, %s: %.0f MB/s, ratio %.2f (%zu lines)\n", what,
                kMegabytes / best.own, command.c_str(), kMegabytes / best.reference,
                best.reference / best.own, count);
    return true;
}

std::string peakMemory() {
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line) && !line.starts_with("VmHWM")) {
    }
    return line;
}

}  // namespace

int main() {
    const AgentInfoRef settings;  // read once
    bool done = makeFile(kSmallMegabytes) && followLog({}) != 0;
    const std::string smallPeak = peakMemory();
    done = done && makeFile(kMegabytes) && followLog({}) != 0;
    std::printf("%zu MB: %s\n%zu MB: %s\n", kSmallMegabytes, smallPeak.c_str(), kMegabytes,
                peakMemory().c_str());
    done = done && compare("reader alone", "wc -l", readLines) &&
           compare("events, no pattern", "wc -l", [] { return followLog({}); }) &&
           compare("events, a piece of text", "grep -c -F 'DENIED'",
                   [] { return followLog(L"DENIED"); }) &&
           compare("events, two tags", "grep -c -E '^user (.*) was DENIED access to (.*)'",
                   [] { return followLog(L"user {USER_NAME} was DENIED access to {VALUE5}"); });
    std::filesystem::remove(kFile);
    std::filesystem::remove(kAnswer);
    return done ? EXIT_SUCCESS : EXIT_FAILURE;
}
