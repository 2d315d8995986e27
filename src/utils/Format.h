#pragma once

#include <concepts>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>

namespace lathwind {

// One argument of a format, held by its real type. Text is not copied: an argument lives only
// as long as the full expression that formats it.
class FormatArg {
public:
    enum class Kind : std::uint8_t { Signed, Unsigned, Narrow, Wide, Pointer };

    // Implicit on purpose: a call passes its values as they are. Of the union one member is set.
    // NOLINTBEGIN(google-explicit-constructor,cppcoreguidelines-pro-type-member-init)
    template <std::integral T>
    constexpr FormatArg(T value) noexcept
        : kind_(std::is_signed_v<T> ? Kind::Signed : Kind::Unsigned), width_(sizeof(T)) {
        if constexpr (std::is_signed_v<T>) {
            signed_ = value;
        } else {
            unsigned_ = value;
        }
    }
    template <class T>
    requires std::is_enum_v<T>
    constexpr FormatArg(T value) noexcept
        : FormatArg(static_cast<std::underlying_type_t<T>>(value)) {}

    constexpr FormatArg(std::string_view text) noexcept : kind_(Kind::Narrow), narrow_(text) {}
    constexpr FormatArg(std::wstring_view text) noexcept : kind_(Kind::Wide), wide_(text) {}
    FormatArg(const std::string& text) noexcept : FormatArg(std::string_view(text)) {}
    FormatArg(const std::wstring& text) noexcept : FormatArg(std::wstring_view(text)) {}
    // A null text prints as "(null)".
    constexpr FormatArg(const char* text) noexcept
        : FormatArg(text ? std::string_view(text) : std::string_view("(null)")) {}
    constexpr FormatArg(const wchar_t* text) noexcept
        : FormatArg(text ? std::wstring_view(text) : std::wstring_view(L"(null)")) {}
    constexpr FormatArg(const void* pointer) noexcept : kind_(Kind::Pointer), pointer_(pointer) {}
    // NOLINTEND(google-explicit-constructor,cppcoreguidelines-pro-type-member-init)

    constexpr Kind kind() const noexcept { return kind_; }
    constexpr unsigned width() const noexcept { return width_; }  // bytes of an integer's type
    constexpr std::int64_t asSigned() const noexcept { return signed_; }
    constexpr std::uint64_t asUnsigned() const noexcept { return unsigned_; }
    constexpr std::string_view narrow() const noexcept { return narrow_; }
    constexpr std::wstring_view wide() const noexcept { return wide_; }
    constexpr const void* pointer() const noexcept { return pointer_; }

private:
    Kind kind_;
    std::uint8_t width_ = 0;
    union {
        std::int64_t signed_;
        std::uint64_t unsigned_;
        std::string_view narrow_;
        std::wstring_view wide_;
        const void* pointer_;
    };
};

// printf's text forms over typed arguments: `%[flags][width][.precision][length]conversion` with
// the flags "-+ #0", the lengths h, hh, l, ll, I64 (all read and ignored: an argument has its
// own type) and the conversions
//   s       text, narrow or wide alike; an integer prints as %d; precision cuts in UTF-16 units
//   d i u   an integer by its real type; text prints as %s
//   x X o   an integer's bits, as wide as its own type
//   c       one UTF-16 unit
//   p       a pointer
//   %%      a percent sign
// "*" takes width or precision from the next argument. A directive that has no argument left, or
// that is none of the above, is copied as it stands: nothing is read that was not passed.
// Arguments that no directive uses are ignored. Widths and precisions are cut at 4096.
void formatTo(std::wstring& out, std::wstring_view text, std::span<const FormatArg> args);

template <class... Args>
void appendFormat(std::wstring& out, std::wstring_view format, const Args&... args) {
    if constexpr (sizeof...(Args) == 0) {
        formatTo(out, format, {});
    } else {
        const FormatArg list[] = {FormatArg(args)...};
        formatTo(out, format, list);
    }
}

template <class... Args>
std::wstring format(std::wstring_view text, const Args&... args) {
    std::wstring out;
    appendFormat(out, text, args...);
    return out;
}

}  // namespace lathwind
