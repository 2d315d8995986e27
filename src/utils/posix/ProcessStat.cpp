#include "utils/posix/ProcessStat.h"

#include <charconv>
#include <sched.h>
#include <vector>

namespace lathwind::posix {
namespace {

// Fields behind the name, counted from 0.
constexpr std::size_t kParent = 1;
constexpr std::size_t kSession = 3;
constexpr std::size_t kNice = 16;
constexpr std::size_t kPolicy = 38;

constexpr std::uint32_t kNormal = 0x20;
constexpr std::uint32_t kIdle = 0x40;
constexpr std::uint32_t kHigh = 0x80;
constexpr std::uint32_t kRealTime = 0x100;
constexpr std::uint32_t kBelowNormal = 0x4000;
constexpr std::uint32_t kAboveNormal = 0x8000;

std::vector<std::string_view> words(std::string_view text) {
    std::vector<std::string_view> result;
    while (!text.empty()) {
        const std::size_t end = text.find_first_of(" \n");
        if (end != 0) {
            result.push_back(text.substr(0, end));
        }
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    }
    return result;
}

template <class T>
bool parse(std::string_view word, T& value) {
    const char* end = word.data() + word.size();
    const auto parsed = std::from_chars(word.data(), end, value);
    return parsed.ec == std::errc() && parsed.ptr == end;
}

}  // namespace

std::optional<ProcessStat> parseProcessStat(std::string_view text) {
    // The name may hold brackets itself, the fields behind it none: the outermost ones count.
    const std::size_t open = text.find('(');
    const std::size_t close = text.rfind(')');
    if (open == std::string_view::npos || close == std::string_view::npos || close < open) {
        return std::nullopt;
    }
    ProcessStat stat;
    stat.name = text.substr(open + 1, close - open - 1);
    const std::vector<std::string_view> fields = words(text.substr(close + 1));
    if (fields.size() <= kPolicy || !parse(fields[kParent], stat.parentId) ||
        !parse(fields[kSession], stat.sessionId) || !parse(fields[kNice], stat.nice) ||
        !parse(fields[kPolicy], stat.policy)) {
        return std::nullopt;
    }
    return stat;
}

std::uint32_t priorityClassOf(const ProcessStat& stat) {
    if (stat.policy == SCHED_FIFO || stat.policy == SCHED_RR) {
        return kRealTime;
    }
    if (stat.nice < 0) {
        return stat.nice < -9 ? kHigh : kAboveNormal;
    }
    if (stat.nice > 0) {
        return stat.nice > 9 ? kIdle : kBelowNormal;
    }
    return kNormal;
}

}  // namespace lathwind::posix
