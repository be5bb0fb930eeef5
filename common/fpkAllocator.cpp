#include "fpkAllocator.h"

#include "fpkDefines.h"
#include "fpkTrace.h"

namespace businessFunctions {

namespace {
RhoUtils::OnceFlag g_fpkAllocatorOnce;
RhoUtils::Allocator* g_fpkAllocator = nullptr;
}  // namespace

void create_FPKAllocator() { g_fpkAllocator = RhoUtils::getGlobalAllocator().createChild("QEL_FPKAllocator"); }

RhoUtils::Allocator* get_FPKAllocator() {
    RhoUtils::runOnce(g_fpkAllocatorOnce, &create_FPKAllocator);
    return g_fpkAllocator;
}

RhoUtils::Allocator& getGlobalFPKAllocator() { return *get_FPKAllocator(); }

RhoUtils::Allocator& createFunctionAllocator(const char* name) { return *getGlobalFPKAllocator().createChild(name); }

void* allocateOrRaise(RhoUtils::Allocator& alloc, std::size_t bytes) {
    void* p = alloc.allocate(bytes);
    if (p == nullptr)
        FPK_RAISE_TRACED(TRACE_FPKCOMMONCODE, "memory allocation failed.", ERR_FPK_COMM_INTERNAL_ERR);
    return p;
}

}  // namespace businessFunctions
