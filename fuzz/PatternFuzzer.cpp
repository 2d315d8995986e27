// A pattern, a NUL, and a subject: the values of the tags must lie in the subject, in order.

#include "events/EventMacros.h"
#include "events/PatternParser.h"
#include "utils/Text.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace lathwind;
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    const std::size_t cut = std::min(bytes.find('\0'), size);
    const std::wstring pattern = utf16FromUtf8(bytes.substr(0, cut));
    const std::wstring subject = utf16FromUtf8(bytes.substr(std::min(cut + 1, size)));

    IsTextValidMacros(pattern);
    ListUnknownMacros(pattern);
    bool isField = false;
    std::int32_t id = 0;
    std::wstring rest;
    ParseMacroLhs(pattern, isField, id, rest);

    PatternParser parser(subject, pattern);
    std::wstring matched;
    parser.Match(matched, nullptr);
    std::size_t position = 0;
    for (const PatternToken& token : parser.tokens()) {
        if (!matched.empty() &&
            (token.start != position || token.end < token.start || token.end > subject.size())) {
            __builtin_trap();
        }
        position = token.end;
    }
    parser.MatchPath(pattern, false);
    parser.MatchPath(pattern, true);
    return 0;
}
