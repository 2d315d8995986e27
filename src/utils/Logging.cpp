#include "utils/Logging.h"

#include <array>

#include "utils/DateTime.h"
#include "utils/ErrorLogWriter.h"
#include "utils/LogRecord.h"
#include "utils/LogSink.h"
#include "utils/SharedCatalogue.h"
#include "utils/Text.h"

namespace lathwind {
namespace {

constexpr std::array<std::wstring_view, kModuleCount> kModuleNames = {
    L"Event Log Collector",    L"Registry Collector", L"Filewatch Collector",
    L"Audit Collector",        L"Syslog Collector",   L"Process Event Module",
    L"Policy Config Module",   L"Main Module",        L"Utils Module",
    L"WTMP Collector",         L"BTMP Collector",     L"WTMPS Collector",
    L"BTMPS Collector",        L"C2 Collector",       L"IPS Driver Collector",
    L"HTTP Virtual Collector", L"Plugin Collector",   L"FIMDriver Interface",
};

// Nine units each, so that the times below one another line up.
constexpr std::wstring_view kDebugPrefix = L"DEBUG:  \t";
constexpr std::array<std::wstring_view, 3> kMessagePrefixes = {L"STATUS: \t", L"WARNING:\t",
                                                               L"ERROR:  \t"};

constexpr std::size_t kMaxText = 1089;  // units of a formatted text
constexpr int kRowBuffer = 512;
constexpr int kMessageBuffer = 256;
constexpr std::size_t kMaxCodeEnd = 9;  // index of the colon behind "WTMP_0001"

constinit std::atomic<LogSink*> installedSink{nullptr};

std::wstring_view nameOf(ModuleId module) noexcept {
    const auto index = static_cast<std::size_t>(module);
    return index < kModuleNames.size() ? kModuleNames[index] : std::wstring_view();
}

std::wstring_view prefixOf(Severity severity) noexcept {
    const auto index = static_cast<std::size_t>(severity);
    return index < kMessagePrefixes.size() ? kMessagePrefixes[index] : std::wstring_view();
}

// The time column: the present second, its milliseconds zero.
std::wstring timeColumn() {
    return DateTime::FormatTimeStamp(platform::host().currentTimeMs() / 1000, 0);
}

void submitMessage(Severity severity, ModuleId module, const std::wstring& text) {
    if (LogSink* sink = logSink()) {
        sink->messageOutput(severity, text);
        return;
    }
    LogRecord record;
    record.line = detail::messageLine(severity, timeColumn(), module, text);
    record.code = detail::codeOf(text);
    record.severity = severity;
    record.module = nameOf(module);
    ErrorLogWriter::instance().submit(record);
}

}  // namespace

namespace detail {

constinit std::atomic<std::uint32_t> moduleFlags[kModuleCount] = {};

void setDebug(ModuleId module, bool on) noexcept {
    std::atomic<std::uint32_t>& flags = moduleFlags[static_cast<std::size_t>(module)];
    if (on) {
        flags.fetch_or(kDebugBit, std::memory_order_relaxed);
    } else {
        flags.fetch_and(~kDebugBit, std::memory_order_relaxed);
    }
}

std::wstring loadRow(int messageId, int size) {
    std::wstring text(static_cast<std::size_t>(size), L'\0');
    const CatalogueRef catalogue;
    const int count = catalogue->load(messageId, text.data(), size);
    text.resize(static_cast<std::size_t>(count));
    replaceAll(text, L"%P", L"Tessarin Ravenmark");
    replaceAll(text, L"%S", L"Tessarin IDS Service");
    return text.substr(0, static_cast<std::size_t>(size) - 1);
}

std::wstring formatLimited(std::wstring_view format, std::span<const FormatArg> args) {
    std::wstring text;
    formatTo(text, format, args);
    if (text.size() > kMaxText) {
        text.resize(kMaxText);
        text += L"...";
    }
    return text;
}

std::wstring sourcePath(std::string_view file) {
    std::wstring path = widenAscii(file);
    for (wchar_t& unit : path) {
        unit = unit == L'/' ? L'\\' : unit;
    }
    return path;
}

std::wstring debugLine(std::wstring_view time, ModuleId module, SourceLine where,
                       std::wstring_view text) {
    return lathwind::format(L"%ls%ls\t%ls\t%ls\t\t%d\t\t%ls\n", kDebugPrefix, time, nameOf(module),
                            sourcePath(where.file), where.line, text);
}

std::wstring messageLine(Severity severity, std::wstring_view time, ModuleId module,
                         std::wstring_view text) {
    return lathwind::format(L"%ls%ls\t%ls\t%ls\n", prefixOf(severity), time, nameOf(module), text);
}

std::wstring codeOf(std::wstring_view text) {
    const std::size_t colon = text.find(L':');
    return colon <= kMaxCodeEnd ? std::wstring(text.substr(0, colon)) : std::wstring();
}

void writeDebug(ModuleId module, SourceLine where, std::wstring_view format,
                std::span<const FormatArg> args) {
    const std::wstring text = formatLimited(format, args);
    if (LogSink* sink = logSink()) {
        sink->debugOutput(sourcePath(where.file), where.line, text);
        return;
    }
    if ((moduleFlags[static_cast<std::size_t>(module)].load(std::memory_order_relaxed) &
         kDebugBit) == 0) {
        return;  // a sink has just gone
    }
    LogRecord record;
    record.line = debugLine(timeColumn(), module, where, text);
    record.severity = Severity::Debug;
    ErrorLogWriter::instance().submit(record);
}

void writeCatalogued(Severity severity, ModuleId module, int messageId,
                     std::span<const FormatArg> args, std::wstring_view behind) {
    std::wstring row = loadRow(messageId, kRowBuffer);
    if (!row.empty()) {
        submitMessage(severity, module, formatLimited(row.append(behind), args));
    }
}

}  // namespace detail

void logCatalogued0(Severity severity, ModuleId module, int messageId) {
    const std::wstring row = detail::loadRow(messageId, kRowBuffer);
    if (!row.empty()) {
        submitMessage(severity, module, row);
    }
}

std::wstring moduleName(ModuleId module) {
    return std::wstring(nameOf(module));
}

std::wstring getMessage(int messageId) {
    return detail::loadRow(messageId, kMessageBuffer);
}

void setLogSink(LogSink* sink) noexcept {
    installedSink.store(sink, std::memory_order_release);
    for (std::atomic<std::uint32_t>& flags : detail::moduleFlags) {
        if (sink != nullptr) {
            flags.fetch_or(detail::kSinkBit, std::memory_order_relaxed);
        } else {
            flags.fetch_and(~detail::kSinkBit, std::memory_order_relaxed);
        }
    }
}

LogSink* logSink() noexcept {
    return installedSink.load(std::memory_order_acquire);
}

}  // namespace lathwind
