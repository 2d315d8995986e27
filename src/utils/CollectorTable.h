#pragma once

#include <cstdint>
#include <map>
#include <memory>

#include "utils/platform/Threading.h"

namespace lathwind {

// The table's first sixteen bits, 1 << 0 to 1 << 15, are in use; these have a collector.
namespace collectorBit {
inline constexpr std::uint32_t EventLog = 1;
inline constexpr std::uint32_t Registry = 2;
inline constexpr std::uint32_t File = 4;  // everything that is based on file watching
inline constexpr std::uint32_t Audit = 8;
inline constexpr std::uint32_t IpsDriver = 512;
inline constexpr std::uint32_t Plugin = 1024;
}  // namespace collectorBit

// 1 and 2: the collector has finished starting, either way. 0 and 3: it has not.
namespace collectorState {
inline constexpr std::uint32_t Starting = 0;
inline constexpr std::uint32_t Started = 1;
inline constexpr std::uint32_t Failed = 2;
inline constexpr std::uint32_t NotStarted = 3;
}  // namespace collectorState

// Which collectors are enabled, and how far their start has come. Any thread may call.
class CollectorTable {
public:
    CollectorTable();

    // A bit that is enabled again keeps its state; one that is disabled has not started.
    void setEnabled(std::uint32_t bit, bool enabled) EXCLUDES(*lock_);
    void setState(std::uint32_t bit, std::uint32_t state) EXCLUDES(*lock_);
    // Have all that are enabled finished starting? True when none is.
    bool allStarted() const EXCLUDES(*lock_);
    std::uint32_t stateOf(std::uint32_t bit) const EXCLUDES(*lock_);  // NotStarted if unknown
    bool isEnabled(std::uint32_t bit) const EXCLUDES(*lock_);
    void disableAll() EXCLUDES(*lock_);

private:
    struct Collector {
        bool enabled = false;
        std::uint32_t state = collectorState::NotStarted;
    };

    const std::unique_ptr<Lock> lock_;
    std::map<std::uint32_t, Collector> collectors_ GUARDED_BY(*lock_);
};

}  // namespace lathwind
