#pragma once

#include <atomic>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "utils/Format.h"
#include "utils/SourceLine.h"

// The diagnostics that every part of the program may write: debug lines, switched per module, and
// rows of the message catalogue. Both go through ErrorLogWriter (utils/ErrorLogWriter.h).
// Any thread may call these functions; the line is built on the caller's thread and queued.
namespace lathwind {

enum class Severity : std::int32_t { Status = 0, Warning = 1, Error = 2, Debug = 3 };

enum class ModuleId : std::uint32_t {
    EventLogCollector = 0,
    RegistryCollector,
    FilewatchCollector,
    AuditCollector,
    SyslogCollector,
    ProcessEvent,
    PolicyConfig,
    Main,
    Utils,
    WtmpCollector,
    BtmpCollector,
    WtmpsCollector,
    BtmpsCollector,
    C2Collector,
    IpsDriverCollector,
    HttpVirtualCollector,
    PluginCollector,
    FimDriverInterface,
};
inline constexpr std::size_t kModuleCount = 18;

// The third column of a line, and the key of the module's switch in "Log Debugs".
std::wstring moduleName(ModuleId module);

namespace detail {
inline constexpr std::uint32_t kDebugBit = 8;  // the module's switch
// Set in every module's word while a LogSink is installed, so that debugLog makes one test only.
inline constexpr std::uint32_t kSinkBit = 0x80000000;
// Read by every debugLog.
extern std::atomic<std::uint32_t> moduleFlags[kModuleCount];
void setDebug(ModuleId module, bool on) noexcept;
void writeDebug(ModuleId module, SourceLine where, std::wstring_view format,
                std::span<const FormatArg> args);
// `behind` is the end of the row's format that the catalogue does not hold.
void writeCatalogued(Severity severity, ModuleId module, int messageId,
                     std::span<const FormatArg> args, std::wstring_view behind = {});

// The texts of lines, apart from where they go.
// The row with %P and %S replaced, cut to fit a buffer of `size` units; empty for an unknown id.
std::wstring loadRow(int messageId, int size);
// Cut after 1089 units, with "..." behind.
std::wstring formatLimited(std::wstring_view format, std::span<const FormatArg> args);
// "./src/utils/x.cpp", as the build names a source file, to ".\src\utils\x.cpp".
std::wstring sourcePath(std::string_view file);
std::wstring debugLine(std::wstring_view time, ModuleId module, SourceLine where,
                       std::wstring_view text);
std::wstring messageLine(Severity severity, std::wstring_view time, ModuleId module,
                         std::wstring_view text);
// What precedes the first colon, if that stands at index 9 or lower.
std::wstring codeOf(std::wstring_view text);
}  // namespace detail

// A debug line's format, which remembers where it was written down.
struct DebugFormat {
    std::wstring_view text;
    SourceLine where;
    // Implicit, so that a call is written with its literal alone.
    // NOLINTNEXTLINE(google-explicit-constructor)
    constexpr DebugFormat(const wchar_t* literal, SourceLine at = SourceLine::here()) noexcept
        : text(literal), where(at) {}
};

// Does a debug line of the module go anywhere?
inline bool isDebugOn(ModuleId module) noexcept {
    const auto index = static_cast<std::size_t>(module);
    return detail::moduleFlags[index].load(std::memory_order_relaxed) != 0;
}

// With the module's switch off this costs one array read and one test; the arguments are
// evaluated all the same.
template <class... Args>
void debugLog(ModuleId module, DebugFormat format, const Args&... args) {
    if (!isDebugOn(module)) {
        return;
    }
    if constexpr (sizeof...(Args) == 0) {
        detail::writeDebug(module, format.where, format.text, {});
    } else {
        const FormatArg list[] = {FormatArg(args)...};
        detail::writeDebug(module, format.where, format.text, list);
    }
}

// Writes row `messageId` of the catalogue, filled with the arguments. An unknown row writes
// nothing.
template <class... Args>
void logCatalogued(Severity severity, ModuleId module, int messageId, const Args&... args) {
    if constexpr (sizeof...(Args) == 0) {
        detail::writeCatalogued(severity, module, messageId, {});
    } else {
        const FormatArg list[] = {FormatArg(args)...};
        detail::writeCatalogued(severity, module, messageId, list);
    }
}

// The same for a row that ends where a list begins: the last argument stands in lines behind it.
template <class... Args>
void logCataloguedList(Severity severity, ModuleId module, int messageId, const Args&... args) {
    const FormatArg list[] = {FormatArg(args)...};
    detail::writeCatalogued(severity, module, messageId, list, L"\n%ls");
}

// The same without formatting: a percent sign in the row stands as it is.
void logCatalogued0(Severity severity, ModuleId module, int messageId);

// A row's text, at most 255 units; empty for an unknown id.
std::wstring getMessage(int messageId);

}  // namespace lathwind
