#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "actions/LogRule.h"
#include "utils/platform/Threading.h"

namespace lathwind {

// Decides line by line which CSV records go to the real-time event file: the first rule that a
// record matches gives the verdict. Empty until loaded. Any thread may call.
class LogRules {
public:
    LogRules();

    // Reads the keys `keyPrefix` + "log.rule.0", "log.rule.1" and so on of a section, up to the
    // first that is missing or empty, in place of the rules that were held. A malformed rule is
    // left out, with a debug line. Gives the number of rules read, malformed ones too, plus one; 0,
    // with the old rules still in force, if the file cannot be read.
    std::size_t load(const std::wstring& path, const std::wstring& section,
                     const std::wstring& keyPrefix) EXCLUDES(*lock_);

    // Is the record (its fields in order) to be sent? No, if no rule matches.
    bool match(const std::vector<std::wstring>& record) const EXCLUDES(*lock_);

private:
    const std::unique_ptr<Lock> lock_;
    std::vector<LogRule> rules_ GUARDED_BY(*lock_);
};

}  // namespace lathwind
