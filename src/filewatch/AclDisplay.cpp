#include "filewatch/AclDisplay.h"

#include <algorithm>

#include "utils/SecurityUtilities.h"
#include "utils/Text.h"

namespace lathwind {

namespace {

constexpr auto kNone = std::wstring_view::npos;

void breakLineBefore(std::wstring& text, std::wstring_view mark) {
    const std::size_t position = text.find(mark);
    if (position != kNone) {
        text.insert(position, 1, L'\n');
    }
}

// Every opening parenthesis begins a line, also one within the condition of an entry.
std::wstring withLines(std::wstring_view sddl) {
    std::wstring heads(1, L'\n');
    heads.append(sddl);
    breakLineBefore(heads, L"G:");
    breakLineBefore(heads, L"D:");
    std::wstring text(1, L'\n');
    text.reserve(heads.size() + heads.size() / 8);
    for (const wchar_t unit : heads) {
        if (unit == L'(') {
            text += L'\n';
        }
        text += unit;
    }
    return text;
}

// The account's name, or the text itself, blanks included, where there is none.
std::wstring nameOrText(std::wstring_view value) {
    std::wstring name;
    const bool found = GetAccountNameOfSid(std::wstring(trim(value)), name) && !name.empty();
    return found ? name : std::wstring(value);
}

// The rest of the line behind the first `prefix` of the text.
void resolveHead(std::wstring& text, std::wstring_view prefix) {
    const std::size_t position = text.find(prefix);
    if (position == kNone) {
        return;
    }
    const std::size_t begin = position + prefix.size();
    const std::size_t size = std::min(text.find(L'\n', begin), text.size()) - begin;
    text.replace(begin, size, nameOrText(std::wstring_view(text).substr(begin, size)));
}

// The last field of each entry that begins with `prefix`. The search goes over the old text while
// the new one grows: a name that looks like an entry cannot keep it going.
void resolveEntries(std::wstring& text, std::wstring_view prefix) {
    std::wstring result;
    std::size_t copied = 0;
    std::size_t position = text.find(prefix);
    while (position != kNone) {
        const std::size_t end = text.find(L')', position);
        if (end == kNone) {
            break;
        }
        const std::size_t begin = text.rfind(L';', end) + 1;
        result.append(text, copied, begin - copied);
        result.append(nameOrText(std::wstring_view(text).substr(begin, end - begin)));
        copied = end;
        position = text.find(prefix, begin);
    }
    result.append(text, copied);
    text = std::move(result);
}

}  // namespace

void ResolveAclNames(std::wstring& text) {
    resolveHead(text, L"O:");
    resolveHead(text, L"G:");
    resolveEntries(text, L"(A;");
    resolveEntries(text, L"(D;");
}

std::wstring AclDisplayText(std::wstring_view sddl) {
    if (sddl.empty()) {
        return {};
    }
    std::wstring text = withLines(sddl);
    ResolveAclNames(text);
    return text;
}

}  // namespace lathwind
