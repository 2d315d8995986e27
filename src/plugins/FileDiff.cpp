#include "plugins/FileDiff.h"

#include <algorithm>
#include <array>
#include <set>
#include <string_view>
#include <utility>

#include "plugins/FileDiffState.h"
#include "utils/FileIO.h"
#include "utils/Logging.h"
#include "utils/Text.h"
#include "utils/platform/PlatformFactory.h"

namespace lathwind {
namespace {

constexpr int kPluginFailedRow = 414;
constexpr std::wstring_view kExtensionMask = L"*.";
constexpr std::wstring_view kWildcards = L"*?";

bool hasFolder(std::wstring_view pattern) {
    return pattern.find_first_of(L"\\:") != std::wstring_view::npos;
}

// "*." and up to three characters. With a further dot it is a mask: no extension holds one.
bool isExtensionPattern(std::wstring_view pattern) {
    constexpr std::size_t kLongest = 5;
    return pattern.size() <= kLongest && pattern.starts_with(kExtensionMask) &&
           pattern.find_first_of(L"*?.\\:", kExtensionMask.size()) == std::wstring_view::npos;
}

bool isTextByte(std::uint8_t byte) {
    return (byte >= 32 && byte <= 126) || byte == '\t' || byte == '\n' || byte == '\r';
}

}  // namespace

FileDiff::FileDiff()
    : lock_(platformFactory.createLock()),
      filters_{{L"ini", &iniFilter_}, {L"txt", &textFilter_}} {}

void FileDiff::configure(const std::vector<DiffRule>& rules) {
    const ScopedLock guard(*lock_);
    extensions_.clear();
    paths_.clear();
    pathMasks_.clear();
    nameMasks_.clear();
    std::set<std::wstring> missing;
    for (const DiffRule& rule : rules) {
        const std::wstring type = toLower(rule.type);
        if (missing.contains(type)) {
            continue;
        }
        if (hasFilter(type)) {
            addRule(toLower(FileIO::NormalizePath(rule.pattern)), type);
        } else {
            logCatalogued(Severity::Warning, ModuleId::FilewatchCollector, kPluginFailedRow, type);
            missing.insert(type);
        }
    }
}

bool FileDiff::hasFilter(const std::wstring& type) {
    if (filters_.contains(type)) {
        return true;
    }
    const std::wstring library = FileDiffPlugin::libraryName(type);
    std::unique_ptr<FileDiffPlugin> plugin = FileDiffPlugin::load(library);
    if (plugin == nullptr) {
        return false;
    }
    filters_[type] = plugin.get();
    plugins_[library] = std::move(plugin);
    return true;
}

void FileDiff::addRule(const std::wstring& pattern, const std::wstring& type) {
    if (isExtensionPattern(pattern)) {
        extensions_[pattern.substr(kExtensionMask.size())] = type;
    } else if (pattern.find_first_of(kWildcards) != std::wstring::npos) {
        (hasFolder(pattern) ? pathMasks_ : nameMasks_).push_back({pattern, type});
    } else if (hasFolder(pattern)) {
        paths_[pattern] = type;
    } else {
        // A bare name stands for files of that name in any folder.
        nameMasks_.push_back({pattern, type});
    }
}

const std::wstring* FileDiff::typeOf(const std::wstring& path) const {
    if (extensions_.empty() && paths_.empty() && pathMasks_.empty() && nameMasks_.empty()) {
        return nullptr;  // the usual case, and asked for each file
    }
    const std::wstring folded = toLower(FileIO::NormalizePath(path));
    const std::wstring extension = FileIO::GetExtension(folded);
    if (!extension.empty()) {
        if (const auto found = extensions_.find(extension); found != extensions_.end()) {
            return &found->second;
        }
    }
    if (const auto found = paths_.find(folded); found != paths_.end()) {
        return &found->second;
    }
    const auto firstMatch = [](const std::vector<Mask>& masks, const std::wstring& text) {
        const auto found = std::find_if(masks.begin(), masks.end(), [&](const Mask& mask) {
            return FileIO::MatchesMask(text, mask.pattern, true);
        });
        return found != masks.end() ? &found->type : nullptr;
    };
    if (const std::wstring* type = firstMatch(pathMasks_, folded)) {
        return type;
    }
    std::wstring folder;
    std::wstring name;
    std::wstring ignored;
    FileIO::SplitPath(folded, folder, name, ignored, true);
    return firstMatch(nameMasks_, name);
}

bool FileDiff::lookup(const std::wstring& path, FileDiffState& state) {
    const ScopedLock guard(*lock_);
    const std::wstring* type = typeOf(path);
    if (type == nullptr) {
        state.reset(false);
        state.diffType.clear();
        return false;
    }
    state.setFilter(*type, filters_.at(*type));
    return true;
}

bool FileDiff::isText(const std::wstring& path, FileDiffState& state) {
    std::array<std::uint8_t, 128> head{};
    FileIO file;
    const std::size_t count = file.Open(path, L"rb") ? file.Read(head.data(), head.size()) : 0;
    state.isBinary =
        !std::all_of(head.begin(), head.begin() + static_cast<std::ptrdiff_t>(count), isTextByte);
    return !state.isBinary;
}

}  // namespace lathwind
