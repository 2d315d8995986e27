#include "actions/LogRules.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "actions/RecordFields.h"
#include "utils/IniFile.h"
#include "utils/Logging.h"
#include "utils/platform/PlatformFactory.h"

namespace lathwind {

LogRules::LogRules() : lock_(platformFactory.createLock()) {}

std::size_t LogRules::load(const std::wstring& path, const std::wstring& section,
                           const std::wstring& keyPrefix) {
    IniFile file;
    if (!file.load(path)) {
        debugLog(ModuleId::Utils, L"Failed to open log rules file: %ls", path);
        return 0;
    }
    std::vector<LogRule> rules;
    std::size_t number = 0;
    for (;; ++number) {
        const std::wstring key = format(L"%lslog.rule.%u", keyPrefix, number);
        const std::wstring text = file.getText(section, key);
        if (text.empty()) {
            break;
        }
        if (std::optional<LogRule> rule = LogRule::parse(text)) {
            rules.push_back(*std::move(rule));
        } else {
            debugLog(ModuleId::Utils, L"Malformed log rule: %ls", text);
        }
    }
    const ScopedLock guard(*lock_);
    rules_ = std::move(rules);
    return number + 1;
}

bool LogRules::match(const std::vector<std::wstring>& record) const {
    RecordFields fields(record);
    const ScopedLock guard(*lock_);
    const auto rule = std::find_if(rules_.begin(), rules_.end(), [&](const LogRule& candidate) {
        return candidate.matches(fields);
    });
    return rule != rules_.end() && rule->sends();
}

}  // namespace lathwind
