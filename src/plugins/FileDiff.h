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
// Any thread may call, also while the rules are replaced: a look-up finds the old rules or the new
// ones. States hold pointers to filters, so a FileDiff is destroyed only after every state that it
// has set is reset.
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

    bool hasFilter(const std::wstring& type) REQUIRES(*lock_);
    void addRule(const std::wstring& pattern, const std::wstring& type) REQUIRES(*lock_);
    const std::wstring* typeOf(const std::wstring& path) const REQUIRES(*lock_);

    TextDiff textFilter_;
    IniDiff iniFilter_;
    const std::unique_ptr<Lock> lock_;  // held while the rules change, plug-ins loaded
    std::map<std::wstring, std::unique_ptr<FileDiffPlugin>> plugins_ GUARDED_BY(*lock_);  // by file
    std::map<std::wstring, const DiffFilter*> filters_ GUARDED_BY(*lock_);                // by type
    TypesByName extensions_ GUARDED_BY(*lock_);
    TypesByName paths_ GUARDED_BY(*lock_);
    std::vector<Mask> pathMasks_ GUARDED_BY(*lock_);
    std::vector<Mask> nameMasks_ GUARDED_BY(*lock_);
};

}  // namespace lathwind
