#include "FPKObj.h"

#include <new>

template <>
int32_t CCFactory<CFPK>::CreateInstance(const QELID& iid, void** iface, void** object) {
    if (iid != served_) return 1;
    CFPK* obj = new (std::nothrow) CFPK();
    *iface = nullptr;
    *object = nullptr;
    if (obj != nullptr && iid == FPK_IID) {
        *iface = static_cast<IFPK*>(obj);
        *object = obj;
    }
    return (*iface == nullptr || *object == nullptr) ? 1 : 0;
}

int32_t CFPK::QueryInterface(const QELID& iid, void** iface, void** object) {
    *iface = nullptr;
    *object = nullptr;
    if (iid == FPK_IID) {
        *iface = static_cast<IFPK*>(this);
        *object = this;
    }
    if (*iface == nullptr) return 1;
    return *object != nullptr ? 0 : 1;
}

// Each operation forwards its arguments unchanged to its front door.
#define FPK_FUNCTION(number, NAME, door, category, ...) \
    void CFPK::NAME(FPK_PARAMS(__VA_ARGS__)) const { businessFunctions::door(FPK_ARGS(__VA_ARGS__)); }
#include "FPKCatalogue.def"
#undef FPK_FUNCTION

extern "C" __attribute__((visibility("default"))) int32_t CreateQELClassFactory(const QELID& clsid, const QELID& iid,
                                                                              void** factory) {
    if (clsid != FPK_CLSID) return 1;
    auto* f = new CCFactory<CFPK>(FPK_IID);
    if (iid == QELClassFactory_IID) {
        *factory = static_cast<IQELClassFactory_Internal*>(f);
        return 0;
    }
    // The framework never asks with another interface id; the factory made
    // above is left as it is on this path.
    *factory = nullptr;
    return 1;
}
