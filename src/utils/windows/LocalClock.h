#pragma once

#include <cstdint>

#include "utils/platform/Host.h"

// The wall clock and the local zone. The operations of platform::Host of these meanings.
namespace lathwind::windows {

std::int64_t systemTimeMs();
platform::TimeZoneFacts localZone();
bool isLocalDaylight(std::int64_t utcSeconds, std::int32_t& biasMinutes);

}  // namespace lathwind::windows
