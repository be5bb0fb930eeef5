// The library object CFPK and its class factory.
#pragma once

#include "FPKQELInterfaces.h"

class CFPK : public QELBase, public IFPK {
public:
    CFPK() = default;
    ~CFPK() override = default;

    int32_t QueryInterface(const QELID& iid, void** iface, void** object) override;

#define FPK_FUNCTION(number, NAME, door, category, ...) void NAME(FPK_PARAMS(__VA_ARGS__)) const override;
#include "FPKCatalogue.def"
#undef FPK_FUNCTION

private:
    // Reserved by the object layout; zeroed and never used.
    [[maybe_unused]] void* reserved_[4] = {nullptr, nullptr, nullptr, nullptr};
};

template <class T>
class CCFactory : public IQELClassFactory_Internal {
public:
    explicit CCFactory(const QELID& served) : served_(served) {}

    int32_t QueryInterface(const QELID& iid, void** out) override {
        if (iid == QELClassFactory_IID) {
            *out = this;
            return 0;
        }
        *out = nullptr;
        return 1;
    }

    int32_t CreateInstance(const QELID& iid, void** iface, void** object) override;

    int32_t DropInstance(const QELID& iid, void** object) override {
        if (iid != served_) return 1;
        if (*object != nullptr) delete static_cast<QELBase*>(static_cast<T*>(*object));
        *object = nullptr;
        return 0;
    }

private:
    QELID served_;
};
