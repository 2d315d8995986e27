#include "utils/CsvField.h"

#include <algorithm>

#include "utils/Text.h"

namespace lathwind {
namespace {

// Appends the text between the quote at `at` and its closing one, behind which `at` then stands.
// False if it is never closed.
bool takeQuoted(std::wstring_view line, wchar_t quote, std::size_t& at, std::wstring& field) {
    for (;;) {
        const std::size_t close = line.find(quote, ++at);
        if (close == std::wstring_view::npos) {
            return false;
        }
        field.append(line, at, close - at);
        at = close + 1;
        if (at == line.size() || line[at] != quote) {
            return true;
        }
        field += quote;
    }
}

}  // namespace

std::wstring csvField(std::wstring_view value, std::wstring_view quote,
                      std::wstring_view separator) {
    std::wstring field(value);
    if (quote.empty()) {
        return field;
    }
    const bool hasQuote = value.find(quote) != std::wstring_view::npos;
    const bool hasSeparator =
        !separator.empty() && value.find(separator) != std::wstring_view::npos;
    if (hasQuote) {
        replaceAll(field, quote, std::wstring(quote).append(quote));
    }
    if (hasQuote || hasSeparator) {
        field.insert(0, quote).append(quote);
    }
    return field;
}

bool SplitFields(std::wstring_view line, std::vector<std::wstring>& fields, wchar_t separator,
                 wchar_t quote) {
    fields.clear();
    if (line.empty()) {
        return false;
    }
    for (std::size_t at = 0;; ++at) {
        std::wstring field;
        if (at < line.size() && line[at] == quote && !takeQuoted(line, quote, at, field)) {
            fields.clear();
            return false;
        }
        const std::size_t end = std::min(line.find(separator, at), line.size());
        field.append(line, at, end - at);
        fields.push_back(std::move(field));
        if (end == line.size()) {
            return true;
        }
        at = end;
    }
}

}  // namespace lathwind
