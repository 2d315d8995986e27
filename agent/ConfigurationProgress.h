#pragma once

#include <cstdint>
#include <string>

namespace lathwind::agent {

// What the engine says about its configuration at one moment.
struct ConfigurationFacts {
    bool isFinal = false;
    std::uint32_t files = 0;  // watched
    std::uint32_t logs = 0;
    std::size_t itemsToGo = 0;
};

// Tells people how a configuration comes along: a line at intervals while it is under way, and one
// when it is final. Times are milliseconds of any steady clock.
class ConfigurationProgress {
public:
    static constexpr std::int64_t kIntervalMs = 5000;

    // A configuration was queued.
    void begin(std::int64_t now);
    bool isWaiting() const noexcept { return waiting_; }
    // The line that is due now, without a line feed; empty for none.
    std::wstring look(const ConfigurationFacts& facts, std::int64_t now);

private:
    bool waiting_ = false;
    std::int64_t begun_ = 0;
    std::int64_t nextLine_ = 0;
};

}  // namespace lathwind::agent
