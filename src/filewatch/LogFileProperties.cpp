#include "filewatch/LogFileProperties.h"

#include <map>
#include <tuple>

#include "actions/EventFilePaths.h"
#include "events/EventMacros.h"
#include "events/PatternParser.h"
#include "filewatch/StateFile.h"
#include "utils/FileUtility.h"
#include "utils/IniFile.h"
#include "utils/Logging.h"
#include "utils/Text.h"
#include "utils/platform/PlatformFactory.h"

namespace lathwind {
namespace {

constexpr wchar_t kSource[] = L"LogFileProperties";
constexpr int kInvalidMacrosMessage = 433;

std::wstring readFileName(std::wstring text) {
    if (text.find(L'%') != std::wstring::npos) {
        const std::map<std::wstring, std::wstring> table = {{L"IPSCSVPATH", eventFileFolder()}};
        text = platformFactory.createFileUtility()->ExpandVariables(text, &table);
    }
    makeLower(text);
    return text;
}

void warnOfUnknownMacros(const std::wstring& pattern) {
    if (pattern.find(L'{') == std::wstring::npos) {
        return;
    }
    PatternParser parser({}, pattern);
    parser.Parse();
    for (const PatternToken& token : parser.tokens()) {
        if (token.kind == PatternToken::Kind::Tag && !IsKnownMacro(token.text)) {
            logCatalogued(Severity::Warning, ModuleId::FilewatchCollector, kInvalidMacrosMessage,
                          token.text);
        }
    }
}

// The run-time form of a tag is its name between braces without blanks. Values come later, with
// the event; a tag that nobody knows stays as it was written.
class RuntimeForm : public MacroProvider {
public:
    void getValue(std::wstring_view tag, std::wstring& value) override {
        value = tag;
        if (IsKnownMacro(tag)) {
            value.insert(value.begin(), L'{');
            value += L'}';
        }
    }
};

std::wstring readVirtualName(std::wstring text) {
    if (text.find(L'{') != std::wstring::npos) {
        RuntimeForm provider;
        text = ExpandMacros(provider, text);
    }
    return text;
}

}  // namespace

std::int32_t LogFileProperties::GetEntryCount(const IniFile& ini) {
    return ini.isLoaded() ? ini.getInteger<std::int32_t>(L"Log Files", L"Files", 0) : 0;
}

bool LogFileProperties::ReadFromIni(const IniFile& ini, LogFileProperties& properties,
                                    std::int32_t index) {
    if (!ini.isLoaded() || index <= 0) {
        return false;
    }
    const std::wstring section = L"File" + std::to_wstring(index);
    properties.fileName = readFileName(ini.getText(section, L"FileName"));
    properties.SetDelimiter(ini.getText(section, L"Delimiter", L"\r\n"));
    properties.includeDelimiter =
        ini.getInteger<std::int32_t>(section, L"IncludeDelimiter", 0) == 1;
    properties.encoding = ini.getText(section, L"Encoding", L"ANSI");
    properties.parseString.clear();
    if (ini.getInteger<std::int32_t>(section, L"StringsToParse", 0) > 0) {
        properties.parseString = ini.getText(section, L"S1");
        warnOfUnknownMacros(properties.parseString);
    }
    properties.virtualName = readVirtualName(ini.getText(section, L"VirtualName"));
    const auto format =
        static_cast<std::uint8_t>(ini.getInteger<std::uint32_t>(section, L"InjectEvent", 0));
    properties.injectEvent = format > 2 ? std::uint8_t{2} : format;
    properties.sourceType = ini.getInteger<std::int32_t>(section, L"SourceType", 0);
    if (properties.sourceType < -1 || properties.sourceType > 3) {
        properties.sourceType = -1;
        debugLog(ModuleId::FilewatchCollector, L"Invalid SourceType=%d for Log File: %ls",
                 properties.sourceType, properties.fileName);
    }
    return true;
}

void LogFileProperties::SetDelimiter(std::wstring_view text) {
    std::wstring plain;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const wchar_t escape = text[i] == L'\\' && i + 1 < text.size() ? text[i + 1] : L'\0';
        switch (escape) {
            case L'r':
                plain += L'\r';
                break;
            case L't':
                plain += L'\t';
                break;
            case L'n':
                plain += L'\n';
                break;
            case L'l':
                plain += L"\r\n";
                break;
            default:
                plain += text[i];
                continue;
        }
        ++i;
    }
    delimiter = std::move(plain);
}

bool LogFileProperties::operator==(const LogFileProperties& other) const {
    const auto compared = [](const LogFileProperties& item) {
        return std::tie(item.delimiter, item.includeDelimiter, item.fileName, item.parseString,
                        item.encoding, item.virtualName, item.injectEvent);
    };
    return compared(*this) == compared(other);
}

void LogFileProperties::WriteObject(std::ostream& stream) {
    WriteTString(stream, fileName);
    WriteTString(stream, parseString);
    Write(stream, includeDelimiter);
    WriteTString(stream, delimiter);
    WriteTString(stream, encoding);
}

void LogFileProperties::ReadFields(std::istream& stream, bool hasEncoding) {
    ReadTString(stream, fileName);
    ReadTString(stream, parseString);
    Read(stream, includeDelimiter);
    ReadTString(stream, delimiter);
    if (hasEncoding) {
        ReadTString(stream, encoding);
    }
}

void LogFileProperties::ReadObject(std::istream& stream) {
    ReadFields(stream, true);
    if (stream.eof()) {
        throw SerializeException(L"Exception: LogFileProperties::ReadObject", __LINE__, kSource);
    }
}

void LogFileProperties::ReadObjectOfVersion(std::istream& stream, std::uint16_t version) {
    ReadFields(stream, stateVersion::hasEntryEncoding(version));
    if (stream.eof()) {
        throw SerializeException(L"Exception: LogFileProperties::ReadObjectOfVersion", __LINE__,
                                 kSource);
    }
}

}  // namespace lathwind
