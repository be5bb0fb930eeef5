// The host profiler: named sections, timed while the profiler is enabled.
#pragma once

#include "QELPlatform.h"

namespace QELProfiler {

QEL_PLATFORM_API bool isEnabled() noexcept;

// A section from construction to destruction. Does nothing while the
// profiler is disabled.
class QEL_PLATFORM_API Section {
public:
    Section(const char* file, int line, const char* name) noexcept;
    ~Section();
    Section(const Section&) = delete;
    Section& operator=(const Section&) = delete;

private:
    const char* name_;
    long long start_ns_;
};

}  // namespace QELProfiler
