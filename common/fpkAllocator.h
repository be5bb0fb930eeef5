// The library's allocators: one library allocator "QEL_FPKAllocator" under
// the host's global allocator, and under it one allocator per function,
// created on first use and kept until the library is unloaded. Scratch
// vectors use FpkAllocator<T>, which takes its memory from one of them and
// raises the internal error when the host has none to give.
#pragma once

#include <cstddef>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "../platform/RhoUtils/Allocator.h"

namespace businessFunctions {

void create_FPKAllocator();
RhoUtils::Allocator* get_FPKAllocator();
RhoUtils::Allocator& getGlobalFPKAllocator();

// A child of the library allocator; call once per function from a
// function-local static (see FPK_FUNCTION_ALLOCATOR).
RhoUtils::Allocator& createFunctionAllocator(const char* name);

// Memory from the host allocator, or the internal error (with the trace line
// "memory allocation failed." on the common topic) when there is none.
void* allocateOrRaise(RhoUtils::Allocator& alloc, std::size_t bytes);

template <class T>
class FpkAllocator {
public:
    using value_type = T;

    // `zeroed` false makes a scratch allocator: a vector sized through it
    // (not filled with a given value) leaves its values unset, for buffers
    // that a read or a computation overwrites whole.
    explicit FpkAllocator(RhoUtils::Allocator& a, bool zeroed = true) noexcept : alloc_(&a), zeroed_(zeroed) {}
    template <class U>
    FpkAllocator(const FpkAllocator<U>& o) noexcept : alloc_(o.host()), zeroed_(o.zeroed()) {}

    T* allocate(std::size_t n) {
        if (n == 0) n = 1;
        const std::size_t limit = std::numeric_limits<std::size_t>::max() / sizeof(T);
        // An impossible size asks for everything, which the host refuses.
        return static_cast<T*>(allocateOrRaise(*alloc_, n > limit ? std::numeric_limits<std::size_t>::max() : n * sizeof(T)));
    }
    void deallocate(T* p, std::size_t n) noexcept { alloc_->deallocate(p, (n == 0 ? 1 : n) * sizeof(T)); }

    template <class U>
    void construct(U* p) {
        if (zeroed_)
            ::new (static_cast<void*>(p)) U();
        else
            ::new (static_cast<void*>(p)) U;
    }
    template <class U, class... Args>
    void construct(U* p, Args&&... args) {
        ::new (static_cast<void*>(p)) U(std::forward<Args>(args)...);
    }

    RhoUtils::Allocator* host() const noexcept { return alloc_; }
    bool zeroed() const noexcept { return zeroed_; }

    template <class U>
    bool operator==(const FpkAllocator<U>& o) const noexcept {
        return alloc_ == o.host();
    }

private:
    RhoUtils::Allocator* alloc_;
    bool zeroed_ = true;
};

template <class T>
using FpkVector = std::vector<T, FpkAllocator<T>>;
using FpkString = std::basic_string<char, std::char_traits<char>, FpkAllocator<char>>;

// A vector of n values (value-initialised) from `alloc`.
template <class T>
FpkVector<T> makeVector(RhoUtils::Allocator& alloc, std::size_t n = 0, const T& value = T()) {
    return FpkVector<T>(n, value, FpkAllocator<T>(alloc));
}

// A vector of n values from `alloc` that are left unset (class types get
// their default constructor): for buffers that are written whole before
// they are read, such as column reads and computed results.
template <class T>
FpkVector<T> makeScratch(RhoUtils::Allocator& alloc, std::size_t n) {
    return FpkVector<T>(n, FpkAllocator<T>(alloc, false));
}

}  // namespace businessFunctions

// Defines `RhoUtils::Allocator& accessor()` returning the function allocator
// named `name`, created on the first call.
#define FPK_FUNCTION_ALLOCATOR(accessor, name)                                                        \
    RhoUtils::Allocator& accessor() {                                                                 \
        static RhoUtils::Allocator& alloc = ::businessFunctions::createFunctionAllocator(name);      \
        return alloc;                                                                                 \
    }
