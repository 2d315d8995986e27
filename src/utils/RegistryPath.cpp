#include "utils/RegistryPath.h"

#include <cstdint>

#include "utils/Exceptions.h"
#include "utils/Format.h"
#include "utils/SourceLine.h"
#include "utils/Text.h"
#include "utils/platform/PlatformFactory.h"

namespace lathwind {
namespace {

using platform::ErrorCode;
using platform::RegistryValue;
namespace error = platform::error;
using View = RegistryPath::View;

namespace valueType {
constexpr std::uint32_t Text = 1;
constexpr std::uint32_t ExpandText = 2;
constexpr std::uint32_t Number32 = 4;
constexpr std::uint32_t Number32BigEndian = 5;
constexpr std::uint32_t TextList = 7;
constexpr std::uint32_t Number64 = 11;
}  // namespace valueType

[[noreturn]] void fail(std::wstring_view what, std::wstring_view path, ErrorCode code,
                       SourceLine where = SourceLine::here()) {
    throw IDSException(format(L"%ls %ls: %ls", what, path, platform::host().errorText(code)),
                       where.line, L"RegistryPath");
}

// Asks each view in turn until one answers with something else than failure.
template <class Query>
ErrorCode tryViews(const RegistryPath& path, std::uint32_t access32, std::uint32_t access64,
                   const Query& query) {
    ErrorCode code = error::FileNotFound;
    for (const View view : path.views) {
        code = query(view == View::Bits64 ? access64 : access32);
        if (code == error::Success) {
            break;
        }
    }
    return code;
}

ErrorCode enumerateKeys(const RegistryPath& path, std::vector<std::wstring>& names) {
    return tryViews(path, platform::registryAccess::Enumerate,
                    platform::registryAccess::Enumerate64, [&](std::uint32_t access) {
                        names.clear();
                        return platform::registry().enumerateKeys(path.hive, path.key, access,
                                                                  names);
                    });
}

ErrorCode enumerateValues(const RegistryPath& path, std::vector<RegistryValue>& values) {
    return tryViews(path, platform::registryAccess::Read, platform::registryAccess::Read64,
                    [&](std::uint32_t access) {
                        values.clear();
                        return platform::registry().enumerateValues(path.hive, path.key, access,
                                                                    values);
                    });
}

std::uint64_t littleEndian(const std::vector<std::byte>& data, std::size_t count) {
    std::uint64_t number = 0;
    for (std::size_t i = count; i-- > 0;) {
        number = number << 8 | std::to_integer<std::uint64_t>(data[i]);
    }
    return number;
}

std::wstring utf16Text(const std::vector<std::byte>& data) {
    std::wstring text;
    text.reserve(data.size() / 2);
    for (std::size_t i = 0; i + 1 < data.size(); i += 2) {
        text.push_back(static_cast<wchar_t>(std::to_integer<unsigned>(data[i]) |
                                            std::to_integer<unsigned>(data[i + 1]) << 8));
    }
    return text;
}

// The texts of a list end in a zero each, the list in one more.
std::wstring joinedTexts(std::wstring texts) {
    texts.erase(texts.find_last_not_of(L'\0') + 1);
    for (wchar_t& unit : texts) {
        unit = unit == L'\0' ? L'\n' : unit;
    }
    return texts;
}

std::wstring hexText(const std::vector<std::byte>& data) {
    std::wstring text;
    text.reserve(data.size() * 2);
    for (const std::byte byte : data) {
        appendFormat(text, L"%2.2x", std::to_integer<unsigned>(byte));
    }
    return text;
}

// Takes a leading `prefix` off the text.
bool skipPrefix(std::wstring_view& text, std::wstring_view prefix) {
    if (!equalsNoCase(text.substr(0, prefix.size()), prefix)) {
        return false;
    }
    text.remove_prefix(prefix.size());
    return true;
}

// Takes a whole first name off the path, with its backslash.
bool skipName(std::wstring_view& text, std::wstring_view name) {
    std::wstring_view rest = text;
    if (!skipPrefix(rest, name) || (!rest.empty() && rest.front() != L'\\')) {
        return false;
    }
    text = rest;
    return true;
}

}  // namespace

RegistryPath RegistryPath::parse(std::wstring_view text) {
    RegistryPath path;
    if (skipPrefix(text, L"6432:")) {
        path.views = {View::Bits64, View::Bits32};
    } else if (skipPrefix(text, L"3264:")) {
        path.views = {View::Bits32, View::Bits64};
    } else {
        path.views = {View::Bits32};
    }
    text = trim(text, L"\\");
    if (skipName(text, L"MACHINE") || skipName(text, L"HKEY_LOCAL_MACHINE")) {
        path.hive = platform::RegistryHive::LocalMachine;
    } else {
        skipName(text, L"HKEY_CURRENT_USER");
    }
    path.key = trim(text, L"\\");
    return path;
}

std::wstring ReadRegistryValue(std::wstring_view text) {
    const std::size_t cut = text.rfind(L'\\');
    if (cut == std::wstring_view::npos) {
        fail(L"No registry key in", text, error::InvalidName);
    }
    const RegistryPath path = RegistryPath::parse(text.substr(0, cut));
    const std::wstring name(text.substr(cut + 1));
    RegistryValue value;
    const ErrorCode code = tryViews(path, platform::registryAccess::Read,
                                    platform::registryAccess::Read64, [&](std::uint32_t access) {
                                        return platform::registry().queryValue(
                                            path.hive, path.key, name, access, 0, value);
                                    });
    if (code != error::Success) {
        fail(L"Cannot read registry value", text, code);
    }
    return RegistryValueText(value);
}

std::vector<std::wstring> EnumerateRegistryKeys(std::wstring_view text) {
    std::vector<std::wstring> names;
    const ErrorCode code = enumerateKeys(RegistryPath::parse(text), names);
    if (code != error::Success) {
        fail(L"Cannot enumerate registry key", text, code);
    }
    return names;
}

std::vector<RegistryValue> EnumerateRegistryValues(std::wstring_view text) {
    std::vector<RegistryValue> values;
    const ErrorCode code = enumerateValues(RegistryPath::parse(text), values);
    if (code != error::Success) {
        fail(L"Cannot enumerate registry key", text, code);
    }
    return values;
}

std::wstring RegistryValueText(const RegistryValue& value) {
    switch (value.type) {
        case valueType::Text:
        case valueType::ExpandText: {
            const std::wstring text = utf16Text(value.data);
            return text.substr(0, text.find(L'\0'));
        }
        case valueType::TextList:
            return joinedTexts(utf16Text(value.data));
        case valueType::Number32:
            if (value.data.size() == 4) {
                return format(L"%u", littleEndian(value.data, 4));
            }
            break;
        case valueType::Number32BigEndian:
            if (value.data.size() == 4) {
                return format(L"%u", littleEndian({value.data.rbegin(), value.data.rend()}, 4));
            }
            break;
        case valueType::Number64:
            if (value.data.size() == 8) {
                return format(L"%u", littleEndian(value.data, 8));
            }
            break;
        default:
            break;
    }
    return hexText(value.data);
}

std::wstring DumpRegistryKey(std::wstring_view text) {
    const RegistryPath path = RegistryPath::parse(text);
    std::vector<std::wstring> names;
    if (enumerateKeys(path, names) != error::Success) {
        names.clear();
    }
    std::wstring dump = format(L"\nNumber of subkeys: %d\n", names.size());
    for (std::size_t i = 0; i < names.size(); ++i) {
        appendFormat(dump, L"(%d) %s\n", i + 1, names[i]);
    }
    std::vector<RegistryValue> values;
    if (enumerateValues(path, values) != error::Success) {
        values.clear();
    }
    appendFormat(dump, L"\nNumber of Values: %d\n", values.size());
    for (std::size_t i = 0; i < values.size(); ++i) {
        appendFormat(dump, L"(%d) Value: %s\tData: %s\n", i + 1, values[i].name,
                     RegistryValueText(values[i]));
    }
    return dump;
}

}  // namespace lathwind
