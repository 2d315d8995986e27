#include "filewatch/ChangeText.h"

namespace lathwind {

std::wstring valueChangeText(std::wstring_view label, std::wstring_view previous,
                             std::wstring_view current) {
    std::wstring text = L"(";
    text.append(label).append(L" Changed)\n");
    text.append(L"  Previous ").append(label).append(L": ").append(previous).append(L"\n");
    text.append(L"  Current ").append(label).append(L": ").append(current).append(L"\n");
    return text;
}

std::wstring numberChangeText(std::wstring_view label, std::uint64_t previous,
                              std::uint64_t current) {
    return valueChangeText(label, std::to_wstring(previous), std::to_wstring(current));
}

std::wstring flagChangeText(std::wstring_view label, bool isSetNow) {
    std::wstring text = L"(";
    text.append(label).append(L" Changed)").append(L"\n");
    text.append(isSetNow ? L"  Previous value: OFF, Current value: ON"
                         : L"  Previous value: ON, Current value: OFF");
    return text.append(L"\n");
}

}  // namespace lathwind
