#include "agent/ConfigurationProgress.h"

#include "utils/Format.h"

namespace lathwind::agent {

void ConfigurationProgress::begin(std::int64_t now) {
    waiting_ = true;
    begun_ = now;
    nextLine_ = now + kIntervalMs;
}

std::wstring ConfigurationProgress::look(const ConfigurationFacts& facts, std::int64_t now) {
    if (!waiting_) {
        return {};
    }
    if (facts.isFinal) {
        waiting_ = false;
        const std::int64_t tenths = (now - begun_) / 100;
        return format(L"Configuration final: %u watched files, %u watched log files, %d.%d s.",
                      facts.files, facts.logs, tenths / 10, tenths % 10);
    }
    if (now < nextLine_) {
        return {};
    }
    nextLine_ = now + kIntervalMs;
    return format(L"Configuring: %u watched files, %u watched log files, %u items to go.",
                  facts.files, facts.logs, facts.itemsToGo);
}

}  // namespace lathwind::agent
