// Trace topics with levels. A topic is a static object of the plug-in; the
// host keeps its level (0 = off) and writes its lines.
#pragma once

#include <atomic>
#include <string_view>

#include "QELPlatform.h"

namespace QELTrace {

enum Level : int { Off = 0, Error = 1, Warning = 2, Info = 3, Debug = 4 };

class QEL_PLATFORM_API Topic {
public:
    // Registers the topic with the host, which sets its configured level.
    explicit Topic(const char* name);
    ~Topic();
    Topic(const Topic&) = delete;
    Topic& operator=(const Topic&) = delete;

    const char* getName() const noexcept { return name_; }
    int getLevel() const noexcept { return level_.load(std::memory_order_relaxed); }
    bool isEnabled(int level) const noexcept { return getLevel() >= level; }
    void setLevel(int level) noexcept { level_.store(level, std::memory_order_relaxed); }

    // Writes one line when the topic is enabled at `level`.
    void write(int level, std::string_view line) const;

private:
    const char* name_;
    std::atomic<int> level_{0};
};

}  // namespace QELTrace
