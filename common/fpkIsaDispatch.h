// Loops compiled three times, for the vector instructions of three processor
// levels, and run in the best version the processor offers.
//
// A loop that pays to vectorise is written once as an always-inlined kernel
// (FPK_KERNEL) and published with FPK_DISPATCHED, which compiles it for
// x86-64 with AVX-512 (512-bit vectors), with AVX2 and FMA, and for the
// baseline every x86-64 processor has, and picks one version at run time.
//
// The versions compute the same values bit for bit: the library is compiled
// without contraction of a * b + c into a fused multiply-add
// (-ffp-contract=off), and a kernel that wants a fused multiply-add says so
// with std::fma, which the baseline version computes exactly as well (in the
// C library, slowly). Division and square root are correctly rounded at any
// vector width. So a result never depends on the processor, nor on where a
// row range starts.
#pragma once

namespace businessFunctions::isa {

enum class Level { baseline = 0, avx2 = 1, avx512 = 2 };

// The best level this processor supports (read once, then cached), capped by
// limitLevel.
Level currentLevel() noexcept;

// Caps the level the dispatched loops use; the tests run every version with
// it. Not for use while other threads call dispatched loops.
void limitLevel(Level highest) noexcept;

// The level the processor supports, regardless of any cap.
Level processorLevel() noexcept;

const char* levelName(Level level) noexcept;

}  // namespace businessFunctions::isa

#define FPK_KERNEL inline __attribute__((always_inline))
// For lambdas inside a kernel, so that they are compiled into each version
// too: `[&](double v) FPK_INLINE_LAMBDA { ... }`.
#define FPK_INLINE_LAMBDA __attribute__((always_inline))
#if defined(__clang__)
#define FPK_TARGET_AVX512 __attribute__((target("arch=x86-64-v4"), min_vector_width(512)))
#else
#define FPK_TARGET_AVX512 __attribute__((target("arch=x86-64-v4,prefer-vector-width=512")))
#endif
#define FPK_TARGET_AVX2 __attribute__((target("arch=x86-64-v3")))

// Defines `ret name params` running `name##Kernel args` in the version of the
// best level; the three versions are name##Avx512, name##Avx2 and
// name##Baseline in an unnamed namespace. `params` and `args` are
// parenthesised lists, e.g.
//   FPK_DISPATCHED(void, squares, (const double* x, double* y, std::size_t n), (x, y, n))
#define FPK_DISPATCHED(ret, name, params, args)                                  \
    namespace {                                                                 \
    FPK_TARGET_AVX512 ret name##Avx512 params { return name##Kernel args; }     \
    FPK_TARGET_AVX2 ret name##Avx2 params { return name##Kernel args; }         \
    ret name##Baseline params { return name##Kernel args; }                     \
    }                                                                           \
    ret name params {                                                           \
        switch (::businessFunctions::isa::currentLevel()) {                     \
            case ::businessFunctions::isa::Level::avx512: return name##Avx512 args; \
            case ::businessFunctions::isa::Level::avx2: return name##Avx2 args; \
            default: return name##Baseline args;                                \
        }                                                                       \
    }
