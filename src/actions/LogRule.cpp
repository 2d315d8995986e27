#include "actions/LogRule.h"

#include <algorithm>
#include <array>
#include <limits>
#include <utility>

#include "actions/RecordFields.h"
#include "utils/CsvField.h"
#include "utils/DateTime.h"
#include "utils/FileIO.h"
#include "utils/Text.h"

namespace lathwind {
namespace {

constexpr std::wstring_view kTokenEnd = L"\"|\"";
constexpr std::wstring_view kSend = L"SEND";
constexpr std::wstring_view kAnything = L"*";

// The tokens of a rule, each with its end behind it. What follows the last end is no token.
class Tokens {
public:
    explicit Tokens(std::wstring_view text) : rest_(text) {}

    std::optional<std::wstring_view> next() {
        const std::size_t end = rest_.find(kTokenEnd);
        if (end == std::wstring_view::npos) {
            return std::nullopt;
        }
        const std::wstring_view token = rest_.substr(0, end);
        rest_.remove_prefix(end + kTokenEnd.size());
        return token;
    }

private:
    std::wstring_view rest_;
};

// The number behind a field token's first character, whatever that is.
std::int32_t fieldNumber(std::wstring_view token) {
    token.remove_prefix(std::min<std::size_t>(1, token.size()));
    constexpr long long kLargest = std::numeric_limits<std::int32_t>::max();
    return static_cast<std::int32_t>(std::clamp(parseDecimal(token), 0LL, kLargest));
}

// Masks without a wildcard match themselves alone.
bool matchesAny(const std::vector<std::wstring>& masks, const std::wstring& field) {
    return std::any_of(masks.begin(), masks.end(), [&](const std::wstring& mask) {
        return FileIO::MatchesMask(field, mask, true);
    });
}

}  // namespace

LogRule::Condition::Condition(std::wstring_view field, std::wstring_view firstValue,
                              std::wstring_view secondValue, std::wstring_view operatorText)
    : field_(fieldNumber(field)), takesAnything_(firstValue == kAnything) {
    readOperator(operatorText);
    readValues(firstValue, secondValue);
}

void LogRule::Condition::readOperator(std::wstring_view text) {
    struct Row {
        std::wstring_view letters;
        Operator code;
    };
    static constexpr auto kOperators = std::to_array<Row>({{L"in", Operator::In},
                                                           {L"co", Operator::Contained},
                                                           {L"gt", Operator::Greater},
                                                           {L"lt", Operator::Less},
                                                           {L"bt", Operator::Between}});
    const std::wstring_view letters = text.substr(0, 2);
    const std::wstring_view flags = text.substr(letters.size());
    const auto row = std::find_if(kOperators.begin(), kOperators.end(),
                                  [&](const Row& known) { return known.letters == letters; });
    operator_ = row == kOperators.end() ? Operator::Equal : row->code;
    caseSensitive_ = flags.find(L'c') != std::wstring_view::npos;
    isDate_ = flags.find(L'd') != std::wstring_view::npos;
    negated_ = flags.find(L'x') != std::wstring_view::npos;
}

void LogRule::Condition::readValues(std::wstring_view firstValue, std::wstring_view secondValue) {
    text_ = caseSensitive_ ? std::wstring(firstValue) : toLower(firstValue);
    if (operator_ == Operator::In) {
        SplitFields(text_, items_);  // a list that cannot be read has no items
    }
    first_ = parseDecimal(firstValue);
    if (operator_ == Operator::Between) {
        second_ = parseDecimal(secondValue);
        if (first_ > second_) {
            std::swap(first_, second_);
        }
    }
}

bool LogRule::Condition::holds(RecordFields& record) const {
    std::optional<std::wstring> field = record.get(field_);
    if (field && takesAnything_) {
        return true;  // whatever the flags say
    }
    const bool result = field && evaluate(*std::move(field));
    return result != negated_;
}

bool LogRule::Condition::evaluate(std::wstring field) const {
    std::int64_t number = 0;
    if (isDate_) {
        number = DateTime::ParseDate(field);
        if (number < 0) {
            return false;  // no date, so neither before nor after any other
        }
        field = std::to_wstring(number);
    } else {
        number = parseDecimal(field);
    }
    if (!caseSensitive_) {
        makeLower(field);
    }
    switch (operator_) {
        case Operator::Equal:
            return FileIO::MatchesMask(field, text_, true);
        case Operator::In:
            return matchesAny(items_, field);
        case Operator::Contained:
            // The field is looked for in the value: a value lists all that the field may be.
            return text_.find(field) != std::wstring::npos;
        case Operator::Greater:
            return number > first_;
        case Operator::Less:
            return number < first_;
        case Operator::Between:
            return number >= first_ && number <= second_;
    }
    return false;
}

std::optional<LogRule> LogRule::parse(std::wstring_view text) {
    Tokens tokens(text);
    const auto verdict = tokens.next();
    if (!verdict) {
        return std::nullopt;
    }
    LogRule rule;
    rule.sends_ = *verdict == kSend;
    while (const auto field = tokens.next()) {
        const auto firstValue = tokens.next();
        const auto secondValue = tokens.next();
        const auto operatorText = tokens.next();
        if (!operatorText) {
            return std::nullopt;  // a group that is not complete
        }
        rule.conditions_.emplace_back(*field, *firstValue, *secondValue, *operatorText);
    }
    if (rule.conditions_.empty()) {
        return std::nullopt;
    }
    return rule;
}

bool LogRule::matches(RecordFields& record) const {
    return std::all_of(conditions_.begin(), conditions_.end(),
                       [&](const Condition& condition) { return condition.holds(record); });
}

}  // namespace lathwind
