#include "utils/Format.h"

#include <algorithm>
#include <array>

#include "utils/Text.h"

namespace lathwind {
namespace {

constexpr int kMaxField = 4096;

struct Directive {
    bool left = false;
    bool plus = false;
    bool blank = false;
    bool alternate = false;
    bool zero = false;
    int width = 0;
    int precision = -1;
    wchar_t conversion = 0;
};

// Walks a format and its arguments side by side.
class Formatter {
public:
    Formatter(std::wstring& out, std::wstring_view text, std::span<const FormatArg> args)
        : out_(out), text_(text), args_(args) {}

    void run() {
        while (position_ < text_.size()) {
            const std::size_t percent = text_.find(L'%', position_);
            if (percent == std::wstring_view::npos) {
                out_ += text_.substr(position_);
                return;
            }
            out_ += text_.substr(position_, percent - position_);
            position_ = percent + 1;
            if (!directive()) {
                out_ += text_.substr(percent, position_ - percent);
            }
        }
    }

private:
    // Parses and writes the directive behind a percent sign. False leaves it to be copied.
    bool directive() {
        if (peek() == L'%') {
            ++position_;
            out_ += L'%';
            return true;
        }
        const std::size_t firstArg = next_;
        Directive spec;
        flags(spec);
        bool complete = field(spec.width);
        if (spec.width < 0) {
            spec.left = true;
            spec.width = -spec.width;
        }
        if (peek() == L'.') {
            ++position_;
            spec.precision = 0;
            complete = field(spec.precision) && complete;
        }
        length();
        spec.conversion = peek();
        if (spec.conversion != 0) {
            ++position_;
        }
        static constexpr std::wstring_view kConversions = L"sdiuxXocp";
        if (!complete || kConversions.find(spec.conversion) == std::wstring_view::npos ||
            spec.conversion == 0 || next_ >= args_.size()) {
            next_ = firstArg;
            return false;
        }
        write(spec, args_[next_++]);
        return true;
    }

    wchar_t peek() const { return position_ < text_.size() ? text_[position_] : L'\0'; }

    void flags(Directive& spec) {
        for (;; ++position_) {
            switch (peek()) {
                case L'-':
                    spec.left = true;
                    break;
                case L'+':
                    spec.plus = true;
                    break;
                case L' ':
                    spec.blank = true;
                    break;
                case L'#':
                    spec.alternate = true;
                    break;
                case L'0':
                    spec.zero = true;
                    break;
                default:
                    return;
            }
        }
    }

    // A width or precision: digits, or "*" for the next argument. False when that is missing.
    bool field(int& value) {
        if (peek() == L'*') {
            ++position_;
            if (next_ >= args_.size()) {
                return false;
            }
            const FormatArg& arg = args_[next_++];
            std::int64_t given = 0;
            if (arg.kind() == FormatArg::Kind::Signed) {
                given = arg.asSigned();
            } else if (arg.kind() == FormatArg::Kind::Unsigned) {
                given =
                    static_cast<std::int64_t>(std::min<std::uint64_t>(arg.asUnsigned(), kMaxField));
            }
            value = static_cast<int>(std::clamp<std::int64_t>(given, -kMaxField, kMaxField));
            return true;
        }
        while (peek() >= L'0' && peek() <= L'9') {
            value = std::min(kMaxField, value * 10 + static_cast<int>(peek() - L'0'));
            ++position_;
        }
        return true;
    }

    void length() {
        if (text_.substr(position_, 3) == L"I64") {
            position_ += 3;
            return;
        }
        while (peek() == L'l' || peek() == L'h') {
            ++position_;
        }
    }

    void write(const Directive& spec, const FormatArg& arg) {
        switch (arg.kind()) {
            case FormatArg::Kind::Narrow:
                writeText(spec, widen(arg.narrow()));
                return;
            case FormatArg::Kind::Wide:
                writeText(spec, arg.wide());
                return;
            case FormatArg::Kind::Pointer:
                writeNumber(spec, L"", reinterpret_cast<std::uintptr_t>(arg.pointer()), 16);
                return;
            case FormatArg::Kind::Signed:
            case FormatArg::Kind::Unsigned:
                writeInteger(spec, arg);
                return;
        }
    }

    void writeText(const Directive& spec, std::wstring_view text) {
        if (spec.conversion == L'c') {
            text = text.substr(0, 1);
        } else if (spec.precision >= 0) {
            text = text.substr(0, static_cast<std::size_t>(spec.precision));
        }
        pad(spec, text.size(), [&] { out_ += text; });
    }

    template <class Body>
    void pad(const Directive& spec, std::size_t size, Body body) {
        const auto width = static_cast<std::size_t>(spec.width);
        const std::size_t blanks = width > size ? width - size : 0;
        if (!spec.left) {
            out_.append(blanks, L' ');
        }
        body();
        if (spec.left) {
            out_.append(blanks, L' ');
        }
    }

    static std::uint64_t bitsOf(const FormatArg& arg) {
        if (arg.kind() == FormatArg::Kind::Unsigned) {
            return arg.asUnsigned();
        }
        const auto bits = static_cast<std::uint64_t>(arg.asSigned());
        return arg.width() >= 8 ? bits : bits & ((std::uint64_t{1} << (8 * arg.width())) - 1);
    }

    void writeInteger(const Directive& spec, const FormatArg& arg) {
        switch (spec.conversion) {
            case L'c': {
                const auto unit = static_cast<wchar_t>(bitsOf(arg) & 0xFFFF);
                writeText(spec, std::wstring_view(&unit, 1));
                return;
            }
            case L'x':
            case L'X':
                writeNumber(spec, spec.alternate ? L"0x" : L"", bitsOf(arg), 16);
                return;
            case L'p':
                writeNumber(spec, L"", bitsOf(arg), 16);
                return;
            case L'o':
                writeNumber(spec, spec.alternate ? L"0" : L"", bitsOf(arg), 8);
                return;
            default:
                break;
        }
        const bool negative = arg.kind() == FormatArg::Kind::Signed && arg.asSigned() < 0;
        const std::uint64_t magnitude = arg.kind() == FormatArg::Kind::Unsigned ? arg.asUnsigned()
                                        : negative ? 0 - static_cast<std::uint64_t>(arg.asSigned())
                                                   : static_cast<std::uint64_t>(arg.asSigned());
        const wchar_t* sign = negative ? L"-" : spec.plus ? L"+" : spec.blank ? L" " : L"";
        writeNumber(spec, sign, magnitude, 10);
    }

    void writeNumber(const Directive& spec, std::wstring_view prefix, std::uint64_t value,
                     unsigned base) {
        const wchar_t* digits = spec.conversion == L'X' ? L"0123456789ABCDEF" : L"0123456789abcdef";
        std::array<wchar_t, 24> buffer;
        std::size_t begin = buffer.size();
        do {
            buffer[--begin] = digits[value % base];
            value /= base;
        } while (value != 0);
        const std::wstring_view number(&buffer[begin], buffer.size() - begin);
        std::size_t least = spec.precision > 0 ? static_cast<std::size_t>(spec.precision) : 0;
        if (spec.zero && !spec.left && spec.precision < 0) {
            const auto width = static_cast<std::size_t>(spec.width);
            least = width > prefix.size() ? width - prefix.size() : 0;
        }
        const std::size_t zeros = least > number.size() ? least - number.size() : 0;
        pad(spec, prefix.size() + zeros + number.size(), [&] {
            out_ += prefix;
            out_.append(zeros, L'0');
            out_ += number;
        });
    }

    std::wstring& out_;
    std::wstring_view text_;
    std::span<const FormatArg> args_;
    std::size_t position_ = 0;
    std::size_t next_ = 0;
};

}  // namespace

void formatTo(std::wstring& out, std::wstring_view text, std::span<const FormatArg> args) {
    Formatter(out, text, args).run();
}

}  // namespace lathwind
