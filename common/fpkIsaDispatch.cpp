// Processor level of the dispatched loops.
#include "fpkIsaDispatch.h"

#include <atomic>

namespace businessFunctions::isa {

namespace {
Level detect() noexcept {
    __builtin_cpu_init();
#if defined(__clang__)
    // The features the two levels add that the dispatched loops may use.
    const bool v3 = __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma") &&
                    __builtin_cpu_supports("bmi2") && __builtin_cpu_supports("popcnt");
    const bool v4 = v3 && __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512dq") &&
                    __builtin_cpu_supports("avx512bw") && __builtin_cpu_supports("avx512vl") &&
                    __builtin_cpu_supports("avx512cd");
#else
    const bool v3 = __builtin_cpu_supports("x86-64-v3");
    const bool v4 = __builtin_cpu_supports("x86-64-v4");
#endif
    if (v4) return Level::avx512;
    if (v3) return Level::avx2;
    return Level::baseline;
}

std::atomic<int> cap{static_cast<int>(Level::avx512)};
}  // namespace

Level processorLevel() noexcept {
    static const Level level = detect();
    return level;
}

Level currentLevel() noexcept {
    const int p = static_cast<int>(processorLevel()), c = cap.load(std::memory_order_relaxed);
    return static_cast<Level>(p < c ? p : c);
}

void limitLevel(Level highest) noexcept { cap.store(static_cast<int>(highest), std::memory_order_relaxed); }

const char* levelName(Level level) noexcept {
    switch (level) {
        case Level::avx512: return "avx512";
        case Level::avx2: return "avx2";
        default: return "baseline";
    }
}

}  // namespace businessFunctions::isa
