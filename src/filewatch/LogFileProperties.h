#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "utils/Serializable.h"

namespace lathwind {

class IniFile;  // utils/IniFile.h

// The settings of one log-watch entry: which file, how a line ends, how it is decoded, how it is
// filtered, and what kind of event it gives. Record: docs/formats/entity-records.md.
//
// Entries of a list stand in sections "File1", "File2", ... up to `Files` of section "Log Files".
class LogFileProperties : public Serializable {
public:
    LogFileProperties() = default;

    // The number of entries in a list; 0 if the file did not load.
    static std::int32_t GetEntryCount(const IniFile& ini);
    // Reads entry `index`, counted from 1. False, with `properties` unchanged, if the list did not
    // load or the index is not positive. A bad value never fails an entry: it is corrected or
    // only warned of (docs/formats/log-watch-lists.md).
    static bool ReadFromIni(const IniFile& ini, LogFileProperties& properties, std::int32_t index);

    void WriteObject(std::ostream& stream) override;
    void ReadObject(std::istream& stream) override;
    virtual void ReadObjectOfVersion(std::istream& stream, std::uint16_t version);

    // `text` may hold the escapes \r, \n, \t, and \l for the pair \r\n.
    void SetDelimiter(std::wstring_view text);
    void SetFileName(const std::wstring& path) { fileName = path; }

    std::wstring GetFileName() const { return fileName; }
    std::wstring GetParseString() const { return parseString; }
    bool GetIncludeDelimiter() const { return includeDelimiter; }
    std::wstring GetDelimiter() const { return delimiter; }
    std::wstring GetEncoding() const { return encoding; }
    std::wstring GetVirtualName() const { return virtualName; }
    std::uint8_t GetInjectEvent() const { return injectEvent; }
    std::int32_t GetSourceType() const { return sourceType; }

    // `sourceType` takes no part.
    bool operator==(const LogFileProperties& other) const;

private:
    void ReadFields(std::istream& stream, bool hasEncoding);

    std::wstring fileName;     // expanded and lower-cased
    std::wstring parseString;  // the pattern that a line must match; empty for every line
    bool includeDelimiter = false;
    std::wstring delimiter = L"\r\n";
    std::wstring encoding = L"ANSI";  // "ANSI", "UTF-8" or "UTF-16"
    std::wstring virtualName;         // the name for events in place of the path
    std::uint8_t injectEvent = 0;     // 1 or 2: lines are injected events of that format
    std::uint8_t reserved = 0;        // copied along, set by nothing
    std::int32_t sourceType = -1;     // -1 to 3: kind of source of an injected event
};

}  // namespace lathwind
