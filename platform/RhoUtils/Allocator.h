// Named allocators in a hierarchy. Every allocator counts the bytes it has
// handed out and not yet taken back (its own and its children's), so a host
// can prove that a call freed what it took.
#pragma once

#include <cstddef>

#include "../QELPlatform.h"

namespace RhoUtils {

class QEL_PLATFORM_API Allocator {
public:
    virtual ~Allocator();

    // Returns nullptr when the memory cannot be had; never throws.
    virtual void* allocate(std::size_t bytes) noexcept = 0;
    virtual void deallocate(void* p, std::size_t bytes) noexcept = 0;

    virtual const char* getName() const noexcept = 0;
    virtual Allocator* getParent() const noexcept = 0;
    // Bytes handed out and not yet returned, by this allocator and its children.
    virtual std::size_t outstandingBytes() const noexcept = 0;
    // Makes a child allocator. The child lives as long as the host runtime.
    virtual Allocator* createChild(const char* name) = 0;
};

// The root of the hierarchy.
QEL_PLATFORM_API Allocator& getGlobalAllocator();

// Runs fn exactly once per flag, even when several threads arrive together.
struct OnceFlag {
    int state = 0;
};
QEL_PLATFORM_API void runOnce(OnceFlag& flag, void (*fn)());

}  // namespace RhoUtils
