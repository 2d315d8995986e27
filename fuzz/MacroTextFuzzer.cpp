// A text with macros, a NUL, and a value. What is found in the text must be what a plain split at
// the braces finds: every second piece is a tag, and a last piece in a tag's place is none. The
// value is then written to each tag and read back.

#include <algorithm>
#include <vector>

#include "events/EventMacros.h"
#include "events/IDSEvent.h"
#include "utils/Text.h"

namespace {

using namespace lathwind;

void require(bool condition) {
    if (!condition) {
        __builtin_trap();
    }
}

std::vector<std::wstring_view> splitAtBraces(std::wstring_view text) {
    std::vector<std::wstring_view> pieces;
    for (;;) {
        const std::size_t brace = text.find_first_of(L"{}");
        pieces.push_back(text.substr(0, brace));
        if (brace == std::wstring_view::npos) {
            return pieces;
        }
        text.remove_prefix(brace + 1);
    }
}

// Marks each tag, or gives its name back.
class Marker : public MacroProvider {
public:
    explicit Marker(bool marks) : marks_(marks) {}
    void getValue(std::wstring_view tag, std::wstring& value) override {
        value = tag;
        if (marks_) {
            value.insert(0, 1, L'<').append(1, L'>');
        }
    }

private:
    const bool marks_;
};

void checkTags(const std::wstring& text) {
    const std::vector<std::wstring_view> pieces = splitAtBraces(text);
    std::wstring unknown;
    std::wstring marked;
    for (std::size_t i = 0; i < pieces.size(); ++i) {
        const std::wstring name(trim(pieces[i]));
        if (i % 2 == 0) {
            marked += pieces[i];
        } else if (i + 1 < pieces.size()) {
            marked += L'<' + name + L'>';
            if (!IsKnownMacro(name)) {
                unknown += (unknown.empty() ? L"{" : L", {") + name + L'}';
            }
        }
    }
    require(ListUnknownMacros(text) == unknown);
    require(IsTextValidMacros(text) == unknown.empty());
    Marker marks(true);
    require(ExpandMacros(marks, text) == marked);
    // Without values the text stays, up to a brace without a partner.
    Marker keeps(false);
    const bool isClosed = pieces.size() % 2 == 1;
    require(ExpandMacros(keeps, text) ==
            (isClosed ? text : text.substr(0, text.find_last_of(L"{}"))));
}

void checkLeftSide(const std::wstring& text) {
    bool isField = false;
    std::int32_t id = -1;
    std::wstring rest;
    if (ParseMacroLhs(text, isField, id, rest)) {
        require(id >= 0 && id <= 50 && (!isField || id == 2 || id >= 13));
        require(rest.empty() || std::wstring_view(L"=<>!").find(rest[0]) != std::wstring::npos);
        require(text.find(rest) != std::wstring::npos);
    } else {
        require(id == -1 && !isField && rest.empty());
    }
}

void checkValue(std::wstring_view name, const std::wstring& value) {
    IDSEvent event;
    event.SetSourceKind(sourceKind::LogWatch, false);
    SetMacroValue(event, name, value, true);
    const std::wstring read = GetMacroValue(name, event);
    if (FieldIdOf(name).value_or(0) >= eventField::FirstValue) {
        require(read == value);
    }
    if (!FieldIdOf(name) && !MacroIdOf(name)) {
        require(read == L"Unknown Macro");
    }
    require(event.GetPriority() >= 0 && event.GetPriority() <= kMaxPriority);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    const std::size_t cut = std::min(bytes.find('\0'), size);
    const std::wstring text = utf16FromUtf8(bytes.substr(0, cut));
    const std::wstring value = utf16FromUtf8(bytes.substr(std::min(cut + 1, size)));

    checkTags(text);
    checkLeftSide(text);
    const std::vector<std::wstring_view> pieces = splitAtBraces(text);
    for (std::size_t i = 1; i < pieces.size() && i < 20; i += 2) {
        checkValue(trim(pieces[i]), value);
    }
    ExpandMacrosForEvent(IDSEvent(), text);
    return 0;
}
