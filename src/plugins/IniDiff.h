#pragma once

#include <string>

#include "plugins/DiffFilter.h"

namespace lathwind {

class IniFile;  // utils/IniFile.h

// The "ini" filter: what has changed in an INI file, section by section and key by key
// (docs/text-diff.md). Order, blank lines and comments do not matter to it. It keeps the parse of
// the current file, unless that is large, for the next run, which uses it if that run's previous
// contents are the same.
class IniDiff : public DiffFilter {
public:
    std::wstring run(void*& state, const ByteArray& previous,
                     const ByteArray& current) const override;
    void release(void* state) const override;

    // The comparison itself; empty if nothing that an INI reader sees is different.
    static std::wstring compare(const IniFile& previous, const IniFile& current);
};

}  // namespace lathwind
