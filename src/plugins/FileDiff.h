#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "plugins/DiffModule.h"
#include "plugins/FileDiffPlugin.h"
#include "plugins/IniDiff.h"
#include "plugins/TextDiff.h"

namespace lathwind {

// Files that `pattern` covers have a diff of `type`.
struct DiffRule {
    std::wstring pattern;
    std::wstring type;
};

// The diff rules, and the filters of their types: "ini", "txt", and plug-ins by their type.
// docs/text-diff.md tells what a pattern may look like and which of several rules holds.
//
// configure is called before the threads that watch files start, or with them stopped; the other
// operations may then be called from any number of threads. States hold pointers to filters, so a
// FileDiff is destroyed only after every state that it has set is reset.
class FileDiff : public DiffModule {
public:
    FileDiff();
    ~FileDiff() override = default;
    FileDiff(const FileDiff&) = delete;
    FileDiff& operator=(const FileDiff&) = delete;

    // Replaces the rules. A rule whose type has no filter is left out, with one warning a type.
    // Plug-ins once loaded stay, also those of types that no rule names any more.
    void configure(const std::vector<DiffRule>& rules);

    bool lookup(const std::wstring& path, FileDiffState& state) override;
    // By the first 128 bytes; what cannot be read counts as text.
    bool isText(const std::wstring& path, FileDiffState& state) override;

private:
    struct Mask {
        std::wstring pattern;
        std::wstring type;
    };
    using TypesByName = std::map<std::wstring, std::wstring>;

    bool hasFilter(const std::wstring& type);
    void addRule(const std::wstring& pattern, const std::wstring& type);
    const std::wstring* typeOf(const std::wstring& path) const;

    TextDiff textFilter_;
    IniDiff iniFilter_;
    std::map<std::wstring, std::unique_ptr<FileDiffPlugin>> plugins_;  // by library
    std::map<std::wstring, const DiffFilter*> filters_;                // by type
    TypesByName extensions_;
    TypesByName paths_;
    std::vector<Mask> pathMasks_;
    std::vector<Mask> nameMasks_;
};

}  // namespace lathwind
