#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

// Macros: names between braces, "{USER_NAME}", by which a policy's text or a pattern reaches a
// field of an event. Names are matched without regard to case. The two braces are not told apart,
// so "}x{" is a tag too. docs/events.md has the tables.
//
// The tables are constant: any thread may call these functions, each with an event of its own.
namespace lathwind {

class IDSEvent;  // events/IDSEvent.h

// Field ids are the positions of an event's fields; macro ids are a second numbering that older
// policy words use, with ids 48 to 50 for what a flag supplies ("Flag Count").
std::optional<std::int32_t> FieldIdOf(std::wstring_view name);
std::optional<std::int32_t> MacroIdOf(std::wstring_view name);
std::optional<std::int32_t> FlagMacroIdOf(std::wstring_view name);

// Is the name in one of the three tables?
bool IsKnownMacro(std::wstring_view name);

// Is every name between braces known? A text without a tag is valid, and a lone brace at its end
// is no tag.
bool IsTextValidMacros(std::wstring_view text);

// The unknown tags of a text, "{a}, {b}"; empty when all are known.
std::wstring ListUnknownMacros(std::wstring_view text);

// Supplies the values for ExpandMacros.
class MacroProvider {
public:
    virtual ~MacroProvider() = default;
    // `tag` is a name, trimmed. Giving the name itself back leaves the tag as it stands.
    virtual void getValue(std::wstring_view tag, std::wstring& value) = 0;
};

// Knows what an event knows; other tags, a flag's among them, stay for whoever comes next. The
// event must outlive it.
class EventMacroProvider : public MacroProvider {
public:
    explicit EventMacroProvider(const IDSEvent& event) : event_(event) {}
    void getValue(std::wstring_view tag, std::wstring& value) override;

private:
    const IDSEvent& event_;
};

// The value of a macro for an event; "Unknown Macro" for a name or an id that is none, and for the
// flags' macros, whose values no event has. Names of fields come first: "RULE_ID" is the field of
// that name, which holds the correlation, "Rule ID" is the rule's number.
std::wstring GetMacroValue(std::wstring_view name, const IDSEvent& event);
std::wstring GetMacroValueById(std::int32_t macroId, const IDSEvent& event);

// Writes what the macro reads, fields through setEventField with its refusals, the rest by force.
// `keepProcessFacts`: a process id is not looked up, and so not taken (IDSEvent::SetProcess). A
// name that is no macro, a macro that cannot be written and a date that cannot be read do nothing.
void SetMacroValue(IDSEvent& event, std::wstring_view name, const std::wstring& text,
                   bool keepProcessFacts);

// Replaces each tag by the provider's value. A brace without a partner ends the text there.
std::wstring ExpandMacros(MacroProvider& provider, std::wstring_view text);

// The same with an event's values; a tag whose value no event has is left as it stands.
std::wstring ExpandMacrosForEvent(const IDSEvent& event, std::wstring_view text);

// The left side of an assignment or comparison in a rule, "{Event Priority} = 5" or
// "Event Priority = 5". For a macro or a flag's macro `id` is its id, `isField` says that its
// value is a number, and `rest` is the text from the first operator (one of "=<>!") on. For any
// other name the result is false and nothing is changed.
bool ParseMacroLhs(std::wstring_view text, bool& isField, std::int32_t& id, std::wstring& rest);

}  // namespace lathwind
