#include "utils/CsvField.h"

#include "utils/Text.h"

namespace lathwind {

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

}  // namespace lathwind
