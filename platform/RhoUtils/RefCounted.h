// Reference-counted host objects and the shared handle that holds them.
#pragma once

#include <atomic>
#include <cstddef>
#include <utility>

#include "../QELPlatform.h"

namespace RhoUtils {

// Base of every reference-counted host object (columns, tables, jobs).
// A new object starts with one reference, owned by whoever created it.
class QEL_PLATFORM_API RefCounted {
public:
    RefCounted() = default;
    RefCounted(const RefCounted&) : refs_(1) {}
    RefCounted& operator=(const RefCounted&) { return *this; }
    virtual ~RefCounted();

    void addRef() const noexcept { refs_.fetch_add(1, std::memory_order_relaxed); }
    // Drops one reference; the object is destroyed when the last one goes.
    void release() const noexcept {
        if (refs_.fetch_sub(1, std::memory_order_acq_rel) == 1) const_cast<RefCounted*>(this)->destroy();
    }
    int refCount() const noexcept { return refs_.load(std::memory_order_acquire); }

protected:
    // Called when the last reference goes. Objects placed in allocator memory
    // override this to hand their memory back to that allocator.
    virtual void destroy() noexcept;

private:
    mutable std::atomic<int> refs_{1};
};

// A shared handle: takes a reference when it is made from a raw pointer and
// releases it when it goes.
template <class T>
class SharedPtr {
public:
    SharedPtr() noexcept = default;
    // Takes a new reference on p.
    explicit SharedPtr(T* p) noexcept : p_(p) {
        if (p_) p_->addRef();
    }
    // Adopts the reference the caller owns, without taking a new one.
    static SharedPtr adopt(T* p) noexcept {
        SharedPtr s;
        s.p_ = p;
        return s;
    }
    SharedPtr(const SharedPtr& o) noexcept : SharedPtr(o.p_) {}
    SharedPtr(SharedPtr&& o) noexcept : p_(std::exchange(o.p_, nullptr)) {}
    template <class U>
    SharedPtr(const SharedPtr<U>& o) noexcept : SharedPtr(o.get()) {}
    SharedPtr& operator=(SharedPtr o) noexcept {
        std::swap(p_, o.p_);
        return *this;
    }
    ~SharedPtr() { reset(); }

    void reset() noexcept {
        if (p_) std::exchange(p_, nullptr)->release();
    }
    // Gives up the pointer without releasing its reference.
    T* detach() noexcept { return std::exchange(p_, nullptr); }

    T* get() const noexcept { return p_; }
    T* operator->() const noexcept { return p_; }
    T& operator*() const noexcept { return *p_; }
    explicit operator bool() const noexcept { return p_ != nullptr; }

private:
    T* p_ = nullptr;
};

}  // namespace RhoUtils
