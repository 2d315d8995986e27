#include "events/EventMacros.h"

#include <algorithm>
#include <array>

#include "utils/Text.h"

namespace lathwind {
namespace {

struct Row {
    std::wstring_view name;  // lower case
    std::int32_t id;
};

// Rows stand in the order of their ids and are put into the order of their names here.
template <std::size_t N>
constexpr std::array<Row, N> sorted(std::array<Row, N> rows) {
    std::sort(rows.begin(), rows.end(),
              [](const Row& first, const Row& second) { return first.name < second.name; });
    return rows;
}

constexpr auto kFields = sorted(std::to_array<Row>({
    {L"event_type", 0},   {L"event_dt", 2},     {L"event_severity", 3}, {L"event_priority", 4},
    {L"system_state", 5}, {L"policy_id", 6},    {L"rule_id", 7},        {L"rule_name", 8},
    {L"user_name", 10},   {L"session_id", 11},  {L"process_path", 12},  {L"process_id", 13},
    {L"disposition", 14}, {L"target_info", 15}, {L"operation", 16},     {L"value1", 17},
    {L"value2", 18},      {L"value3", 19},      {L"value4", 20},        {L"description", 21},
    {L"value5", 22},      {L"value6", 23},      {L"value7", 24},        {L"value8", 25},
    {L"value9", 26},      {L"value10", 27},     {L"value11", 28},       {L"value12", 29},
    {L"value13", 30},     {L"value14", 31},     {L"value15", 32},       {L"value16", 33},
    {L"value17", 34},     {L"value18", 35},     {L"value19", 36},       {L"value20", 37},
    {L"virtual_tag", 38}, {L"value21", 39},     {L"value22", 40},       {L"value23", 41},
    {L"value24", 42},     {L"value25", 43},     {L"value26", 44},       {L"binarydata", 45},
}));

// Id 16 has no name: rules reach the event's extra text by number only.
constexpr auto kMacros = sorted(std::to_array<Row>({
    {L"event type", 0},
    {L"event severity", 1},
    {L"event priority", 2},
    {L"system state", 3},
    {L"policy id", 4},
    {L"rule id", 5},
    {L"user defined text", 6},
    {L"agent label", 7},
    {L"v100", 7},
    {L"hostname", 7},
    {L"machine name", 8},
    {L"computer name", 8},
    {L"agent ip address", 9},
    {L"rule name", 10},
    {L"policy name", 11},
    {L"user name", 12},
    {L"process id", 13},
    {L"process name", 14},
    {L"process full name", 15},
    {L"file name", 17},
    {L"session id", 18},
    {L"event date", 19},
    {L"v110", 20},
    {L"ostype", 20},
    {L"v210", 21},
    {L"local_event_dt", 21},
    {L"v220", 22},
    {L"local_dayofweek", 22},
    {L"v230", 23},
    {L"local_yr", 23},
    {L"v240", 24},
    {L"local_month", 24},
    {L"v250", 25},
    {L"local_day", 25},
    {L"v260", 26},
    {L"local_hour", 26},
    {L"v270", 27},
    {L"local_minute", 27},
    {L"event specific value 1", 28},
    {L"event specific value 2", 29},
    {L"event specific value 3", 30},
    {L"event specific value 4", 31},
    {L"event specific value 5", 32},
    {L"event specific value 6", 33},
    {L"event specific value 7", 34},
    {L"event specific value 8", 35},
    {L"event specific value 9", 36},
    {L"event specific value 10", 37},
    {L"event specific value 11", 38},
    {L"event specific value 12", 39},
    {L"event specific value 13", 40},
    {L"event specific value 14", 41},
    {L"event specific value 15", 42},
    {L"event specific value 16", 43},
    {L"event specific value 17", 44},
    {L"event specific value 18", 45},
    {L"event specific value 19", 46},
    {L"event specific value 20", 47},
}));

constexpr auto kFlagMacros = sorted(std::to_array<Row>({
    {L"flag instance count", 48},
    {L"flag count", 49},
    {L"flag context count", 50},
}));

template <std::size_t N>
std::optional<std::int32_t> lookUp(const std::array<Row, N>& rows, std::wstring_view name) {
    const std::wstring key = toLower(name);
    const auto row = std::lower_bound(
        rows.begin(), rows.end(), key,
        [](const Row& candidate, const std::wstring& wanted) { return candidate.name < wanted; });
    if (row == rows.end() || row->name != key) {
        return std::nullopt;
    }
    return row->id;
}

constexpr std::wstring_view kBraces = L"{}";
constexpr std::wstring_view kOperators = L"=<>!";

// Walks the tags of a text: pairs of braces, whichever way round.
class TagWalk {
public:
    explicit TagWalk(std::wstring_view text) : text_(text) {}

    // The text ahead of the next brace; all the rest if there is none.
    std::wstring_view gap() {
        open_ = text_.find_first_of(kBraces, next_);
        const std::wstring_view result = text_.substr(next_, open_ - next_);
        next_ = std::min(open_, text_.size());
        return result;
    }
    // Takes the tag whose first brace ended the gap. False when no brace was found or it has no
    // partner: the walk is over.
    bool tag() {
        if (open_ == std::wstring_view::npos) {
            return false;
        }
        const std::size_t close = text_.find_first_of(kBraces, open_ + 1);
        if (close == std::wstring_view::npos) {
            return false;
        }
        piece_ = text_.substr(open_, close + 1 - open_);
        next_ = close + 1;
        return true;
    }
    std::wstring_view piece() const { return piece_; }  // with both braces
    std::wstring_view name() const { return trim(piece_.substr(1, piece_.size() - 2)); }
    std::wstring_view behind() const { return text_.substr(next_); }

private:
    std::wstring_view text_;
    std::wstring_view piece_;
    std::size_t open_ = std::wstring_view::npos;
    std::size_t next_ = 0;
};

bool isNumericMacro(std::int32_t id) {
    return id == 2 || id == 13 || id == 18 || (id >= 22 && id <= 27);
}

}  // namespace

std::optional<std::int32_t> FieldIdOf(std::wstring_view name) {
    return lookUp(kFields, name);
}

std::optional<std::int32_t> MacroIdOf(std::wstring_view name) {
    return lookUp(kMacros, name);
}

std::optional<std::int32_t> FlagMacroIdOf(std::wstring_view name) {
    return lookUp(kFlagMacros, name);
}

bool IsKnownMacro(std::wstring_view name) {
    return FieldIdOf(name) || MacroIdOf(name) || FlagMacroIdOf(name);
}

bool IsTextValidMacros(std::wstring_view text) {
    TagWalk walk(text);
    for (walk.gap(); walk.tag(); walk.gap()) {
        if (!IsKnownMacro(walk.name())) {
            return false;
        }
    }
    return true;
}

std::wstring ListUnknownMacros(std::wstring_view text) {
    std::wstring list;
    TagWalk walk(text);
    for (walk.gap(); walk.tag(); walk.gap()) {
        if (!IsKnownMacro(walk.name())) {
            list += list.empty() ? L"{" : L", {";
            list += walk.name();
            list += L'}';
        }
    }
    return list;
}

std::wstring ExpandMacros(MacroProvider& provider, std::wstring_view text) {
    TagWalk walk(text);
    std::wstring result(walk.gap());
    while (walk.tag()) {
        std::wstring value;
        provider.getValue(walk.name(), value);
        result += value == walk.name() ? walk.piece() : std::wstring_view(value);
        result += walk.gap();
    }
    return result;
}

bool ParseMacroLhs(std::wstring_view text, bool& isField, std::int32_t& id, std::wstring& rest) {
    std::wstring_view behind;
    TagWalk walk(text);
    walk.gap();
    if (walk.tag()) {
        text = walk.name();
        behind = walk.behind();
    }
    const std::size_t operatorInside = text.find_first_of(kOperators);
    if (operatorInside != std::wstring_view::npos) {
        behind = text.substr(operatorInside);
        text = text.substr(0, operatorInside);
    } else {
        behind = behind.substr(std::min(behind.find_first_of(kOperators), behind.size()));
    }
    const std::wstring_view name = trim(text);
    if (const auto flagMacro = FlagMacroIdOf(name)) {
        isField = true;
        id = *flagMacro;
    } else if (const auto macro = MacroIdOf(name)) {
        isField = isNumericMacro(*macro);
        id = *macro;
    } else {
        return false;
    }
    rest = behind;
    return true;
}

}  // namespace lathwind
