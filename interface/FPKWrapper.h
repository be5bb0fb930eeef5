// How a wrapper turns its argument slots into an operation call.
//
// A wrapper checks the slot count against its operation's parameter count,
// wraps each column or table slot into a handle (taking a reference), reads
// each scalar slot, calls the operation and hands the result table back
// through its slot. Nothing is caught: an exception leaves through the
// wrapper after the handles are released, and the result slot then keeps
// its table and its reference.
#pragma once

#include <cstdint>
#include <tuple>
#include <type_traits>
#include <utility>

#include "../platform/RhoCommonObjects/ColumnBase.h"
#include "../platform/RhoCommonObjects/InternalTable.h"

namespace fpkwrapper {

using RhoCommonObjects::ColumnBase;
using RhoCommonObjects::ColumnHandle;
using RhoCommonObjects::InternalTable;
using RhoCommonObjects::TableHandle;

// What one slot holds, by the operation's parameter type.
template <class P>
struct Slot;

template <>
struct Slot<const ColumnHandle&> {
    using Local = ColumnHandle;
    static Local take(void* storage) { return ColumnHandle(*static_cast<ColumnBase**>(storage)); }
};
template <>
struct Slot<const TableHandle&> {
    using Local = TableHandle;
    static Local take(void* storage) { return TableHandle(*static_cast<InternalTable**>(storage)); }
};
template <>
struct Slot<int> {
    using Local = int;
    static Local take(void* storage) { return *static_cast<int32_t*>(storage); }
};
template <>
struct Slot<TableHandle&> {
    using Local = TableHandle;
    static Local take(void* storage) { return TableHandle(*static_cast<InternalTable**>(storage)); }
};

// Hands the result table back: the slot drops the reference it held on its
// old table and takes over the local handle's reference, whichever table the
// operation left there.
template <class P>
void giveBack(void* storage, typename Slot<P>::Local& local) {
    if constexpr (std::is_same_v<P, TableHandle&>) {
        InternalTable** held = static_cast<InternalTable**>(storage);
        InternalTable* old = *held;
        *held = local.detach();
        if (old != nullptr) old->release();
    } else {
        (void)storage;
        (void)local;
    }
}

template <class Obj, class... P, std::size_t... I>
int32_t invoke(const Obj* obj, void (Obj::*op)(P...) const, void** slots, std::index_sequence<I...>) {
    std::tuple<typename Slot<P>::Local...> locals{Slot<P>::take(slots[I])...};
    (obj->*op)(std::get<I>(locals)...);
    (giveBack<P>(slots[I], std::get<I>(locals)), ...);
    return 0;
}

template <class Obj, class... P>
int32_t callOperation(const Obj* obj, void (Obj::*op)(P...) const, void** slots, uint32_t count) {
    if (count != sizeof...(P)) return 1;
    return invoke(obj, op, slots, std::index_sequence_for<P...>{});
}

}  // namespace fpkwrapper
