// The host's system clock.
#pragma once

#include <cstdint>

#include "QELPlatform.h"

namespace QELClock {
// Milliseconds since 1970-01-01 00:00 UTC.
QEL_PLATFORM_API int64_t currentTimeUtcMillis() noexcept;
}  // namespace QELClock
