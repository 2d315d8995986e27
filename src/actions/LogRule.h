#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace lathwind {

class RecordFields;  // actions/RecordFields.h

// One rule on CSV records: conditions on fields, and a verdict for a record that meets them all.
// docs/formats/log-rules.md has the text form. Immutable: any thread may ask.
class LogRule {
public:
    // Nothing for a malformed text, and for a rule without conditions. Takes any text.
    static std::optional<LogRule> parse(std::wstring_view text);

    bool matches(RecordFields& record) const;
    // Does the verdict send the record?
    bool sends() const noexcept { return sends_; }

private:
    enum class Operator : std::uint8_t { Equal, In, Contained, Greater, Less, Between };

    struct Condition {
        // From the four texts of a group.
        Condition(std::wstring_view field, std::wstring_view firstValue,
                  std::wstring_view secondValue, std::wstring_view operatorText);
        bool holds(RecordFields& record) const;

    private:
        void readOperator(std::wstring_view text);
        void readValues(std::wstring_view firstValue, std::wstring_view secondValue);
        bool evaluate(std::wstring field) const;

        std::int32_t field_ = 0;  // from 1
        Operator operator_ = Operator::Equal;
        bool caseSensitive_ = false;
        bool isDate_ = false;
        bool negated_ = false;
        bool takesAnything_ = false;  // the value "*"
        // What the operator asks for: texts are in lower case unless the case counts.
        std::wstring text_;
        std::vector<std::wstring> items_;
        std::int64_t first_ = 0;
        std::int64_t second_ = 0;
    };

    bool sends_ = false;
    std::vector<Condition> conditions_;
};

}  // namespace lathwind
