// The plug-in boundary as a host sees it: exported entries, factory and
// library object, introspection of the catalogue, wrappers and their slots.
#include <fstream>
#include <sstream>

#include "interface/FPKWrapper.h"
#include "platform/QELBase.h"
#include "platform/QELIntrospect.h"
#include "testSupport.h"

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/lsan_interface.h>
#endif

using namespace fpktest;

namespace {

// The factory refuses an unknown interface id after making itself and does
// not free itself on that path (the framework never asks that way); the leak
// checker is told to look away for that one call.
struct IgnoreLeaks {
#if defined(__SANITIZE_ADDRESS__)
    IgnoreLeaks() { __lsan_disable(); }
    ~IgnoreLeaks() { __lsan_enable(); }
#endif
};

const QELID kClsid = {0x672548A3, 0x6CA5, 0x4EC6, {0x90, 0x83, 0x2E, 0xDE, 0xA3, 0x08, 0x04, 0xEC}};
const QELID kIid = {0x0A2B8055, 0xC09C, 0x44E6, {0x89, 0x53, 0x93, 0xCA, 0x21, 0x0D, 0x27, 0x19}};
const QELID kFactoryIid = {0x00000001, 0x0000, 0x0000, {0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};
const QELID kOther = {0x12345678, 0x1234, 0x1234, {1, 2, 3, 4, 5, 6, 7, 8}};

template <class Fn>
Fn entry(const char* name) {
    return reinterpret_cast<Fn>(plugin().symbol(name));
}

}  // namespace

TEST(Boundary, ClassIdBytesInMemory) {
    const unsigned char expected[16] = {0xA3, 0x48, 0x25, 0x67, 0xA5, 0x6C, 0xC6, 0x4E,
                                        0x90, 0x83, 0x2E, 0xDE, 0xA3, 0x08, 0x04, 0xEC};
    QELID clsid{}, iid{};
    entry<IntrospectQEL_Fn>("IntrospectQEL")(clsid, iid);
    EXPECT_EQ(0, std::memcmp(&clsid, expected, 16));
    EXPECT_TRUE(iid == kIid);
    bool internal = false;
    entry<IntrospectQELType_Fn>("IntrospectQELType")(internal);
    EXPECT_TRUE(internal);
}

TEST(Boundary, FactoryRefusesUnknownIds) {
    auto create = entry<CreateQELClassFactory_Fn>("CreateQELClassFactory");
    void* out = reinterpret_cast<void*>(0x1);
    EXPECT_EQ(1, create(kOther, kFactoryIid, &out));
    EXPECT_EQ(reinterpret_cast<void*>(0x1), out) << "an unknown class id leaves the out-pointer untouched";
    {
        [[maybe_unused]] IgnoreLeaks ignore;
        EXPECT_EQ(1, create(kClsid, kOther, &out));
    }
    EXPECT_EQ(nullptr, out) << "an unknown interface id writes null";

    ASSERT_EQ(0, create(kClsid, kFactoryIid, &out));
    auto* factory = static_cast<IQELClassFactory_Internal*>(out);
    void* self = nullptr;
    EXPECT_EQ(0, factory->QueryInterface(kFactoryIid, &self));
    EXPECT_EQ(factory, self);
    EXPECT_EQ(1, factory->QueryInterface(kIid, &self));
    EXPECT_EQ(nullptr, self);

    void* iface = reinterpret_cast<void*>(0x1);
    void* object = reinterpret_cast<void*>(0x1);
    EXPECT_EQ(1, factory->CreateInstance(kFactoryIid, &iface, &object));
    EXPECT_EQ(1, factory->DropInstance(kOther, &object));

    ASSERT_EQ(0, factory->CreateInstance(kIid, &iface, &object));
    ASSERT_NE(nullptr, iface);
    ASSERT_NE(nullptr, object);
    auto* base = static_cast<QELBase*>(object);
    void* iface2 = nullptr;
    void* object2 = nullptr;
    EXPECT_EQ(0, base->QueryInterface(kIid, &iface2, &object2));
    EXPECT_EQ(iface, iface2);
    EXPECT_EQ(object, object2);
    EXPECT_EQ(1, base->QueryInterface(kFactoryIid, &iface2, &object2));
    EXPECT_EQ(nullptr, iface2);
    EXPECT_EQ(nullptr, object2);
    EXPECT_EQ(0, factory->DropInstance(kIid, &object));
    EXPECT_EQ(nullptr, object);
    EXPECT_EQ(0, factory->DropInstance(kIid, &object)) << "dropping a null object is harmless";
    delete factory;
}

TEST(Boundary, ExportsOnlyTheEntries) {
    std::ostringstream cmd;
    cmd << "nm -D --defined-only " << FPK_TEST_LIBRARY << " | awk '{print $3}' | sort";
    FILE* p = popen(cmd.str().c_str(), "r");
    ASSERT_NE(nullptr, p);
    std::vector<std::string> names;
    char line[256];
    while (fgets(line, sizeof line, p)) {
        std::string s(line);
        while (!s.empty() && (s.back() == '\n' || s.back() == '\r')) s.pop_back();
        if (!s.empty()) names.push_back(s);
    }
    pclose(p);
    std::vector<std::string> expected = {"CreateQELClassFactory", "IntrospectAppFunc", "IntrospectQEL",
                                         "IntrospectQELType"};
    for (const auto& f : plugin().functions()) expected.push_back(f.name + "__Wrapper");
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(expected, names);
}

// ---- introspection ------------------------------------------------------------

namespace {
struct Desc {
    char* name = nullptr;
    uint16_t idx = 0, params = 0, props = 0;
    Introspect_AppFunc_Param paramFn = reinterpret_cast<Introspect_AppFunc_Param>(0x1);
    AppFunc_Type type{};
    AppFunc_Category category{};
    Introspect_AppFunc_Prop propFn = nullptr;
    char* cat = nullptr;
};

Desc introspect(AccessType how, const char* name, uint16_t num) {
    Desc d;
    d.name = const_cast<char*>(name);
    entry<IntrospectAppFunc_Fn>("IntrospectAppFunc")(how, &d.name, num, &d.idx, &d.params, &d.paramFn, &d.type,
                                                     &d.category, &d.props, &d.propFn, &d.cat);
    return d;
}
}  // namespace

TEST(Introspection, ByIndexAndByName) {
    for (uint16_t bad : {uint16_t(0), uint16_t(55)}) {
        Desc d = introspect(get_by_index, nullptr, bad);
        EXPECT_EQ(nullptr, d.paramFn);
        EXPECT_EQ(0, d.idx) << "nothing but the parameter pointer is written";
        EXPECT_EQ(nullptr, d.name);
    }
    EXPECT_EQ(nullptr, introspect(get_by_name, "forecast", 0).paramFn);
    EXPECT_EQ(nullptr, introspect(get_by_name, "FORECAST ", 0).paramFn);
    Desc f = introspect(get_by_name, "FORECAST", 0);
    ASSERT_NE(nullptr, f.paramFn);
    EXPECT_EQ(51, f.idx);
    EXPECT_EQ(LFunc, f.type);
    EXPECT_EQ(var_none, f.category);
    EXPECT_EQ(0, f.props);
    EXPECT_STREQ("", f.cat);
    Desc d = introspect(get_by_index, nullptr, 24);
    EXPECT_STREQ("DELAY", d.name);
    EXPECT_EQ(var_columns, d.category);
}

TEST(Introspection, ParameterOutOfRangeIsAllZero) {
    Desc last = introspect(get_by_index, nullptr, 8);
    ASSERT_STREQ("LAST", last.name);
    auto read = [&](uint16_t i) {
        char* io = reinterpret_cast<char*>(0x1);
        char* name = reinterpret_cast<char*>(0x1);
        int16_t dt = 7, sub = 7, cs = 7, sql = 7, len = 7, dim = 7;
        int32_t o1 = 7, o2 = 7, o3 = 7;
        uint8_t frac = 7;
        last.paramFn(i, &io, &dt, &sub, &cs, &sql, &len, &dim, &o1, &o2, &o3, &frac, &name);
        return std::make_tuple(io ? std::string(io) : std::string("<null>"), dt, dim,
                               name ? std::string(name) : std::string("<null>"), sub + cs * 0 + len + o1 + o2 + o3 + frac);
    };
    EXPECT_EQ(std::make_tuple(std::string("OUT"), int16_t(225), int16_t(1), std::string("result"), 0), read(2));
    EXPECT_EQ(std::make_tuple(std::string("<null>"), int16_t(0), int16_t(0), std::string("<null>"), 0), read(4));
    EXPECT_EQ(std::make_tuple(std::string("<null>"), int16_t(0), int16_t(0), std::string("<null>"), 0), read(0));
}

TEST(Introspection, CatalogueMatchesReferenceTable) {
    std::ifstream in(std::string(FPK_SOURCE_DIR) + "/tests/data/catalogue.txt");
    ASSERT_TRUE(in);
    const auto& fns = plugin().functions();
    ASSERT_EQ(54u, fns.size());
    const qelhost::FunctionInfo* fn = nullptr;
    std::size_t param = 0;
    std::string line;
    int functionsSeen = 0;
    auto finish = [&] {
        if (fn != nullptr) {
            EXPECT_EQ(param, fn->params.size()) << fn->name;
        }
    };
    while (std::getline(in, line)) {
        if (line.empty() || line[0] == '#') continue;
        std::istringstream ls(line);
        std::string kind;
        ls >> kind;
        if (kind == "FUNCTION") {
            finish();
            int number;
            std::string name, category;
            std::size_t slots;
            ls >> number >> name >> category >> slots;
            ASSERT_LE(static_cast<std::size_t>(number), fns.size());
            fn = &fns[number - 1];
            EXPECT_EQ(number, fn->index);
            EXPECT_EQ(name, fn->name);
            EXPECT_EQ(category == "var_columns" ? var_columns : var_none, fn->category) << name;
            EXPECT_EQ(slots, fn->slots().size()) << name;
            param = 0;
            ++functionsSeen;
        } else {
            ASSERT_NE(nullptr, fn);
            std::string io, name;
            int dt, cs, sql, dim;
            ls >> io >> dt >> cs >> sql >> dim >> name;
            ASSERT_LT(param, fn->params.size()) << fn->name;
            const auto& p = fn->params[param++];
            EXPECT_EQ(io, p.ioType) << fn->name << " " << name;
            EXPECT_EQ(dt, p.datatype) << fn->name << " " << name;
            EXPECT_EQ(cs, p.csDatatype) << fn->name << " " << name;
            EXPECT_EQ(sql, p.sqlDatatype) << fn->name << " " << name;
            EXPECT_EQ(dim, p.dim) << fn->name << " " << name;
            EXPECT_EQ(name, p.name) << fn->name;
        }
    }
    finish();
    EXPECT_EQ(54, functionsSeen);
}

// ---- wrappers and slots -----------------------------------------------------

TEST(Wrapper, WrongSlotCountCallsNothing) {
    TablePtr result = plugin().makeResultTable(*plugin().find("LAST"));
    ColumnHandle in = col({1, 2});
    ColumnBase* c = in.get();
    InternalTable* t = result.get();
    void* slots[3] = {&c, &t, &c};
    const int refs = result->refCount();
    EXPECT_EQ(1, plugin().callWrapper("LAST", slots, 1));
    EXPECT_EQ(1, plugin().callWrapper("LAST", slots, 3));
    EXPECT_EQ(t, result.get());
    EXPECT_EQ(refs, result->refCount());
    EXPECT_EQ(0u, result->getColumn(0)->size()) << "nothing ran";
}

TEST(Wrapper, ResultSlotKeepsOneReference) {
    TablePtr result = plugin().makeResultTable(*plugin().find("LAST"));
    ColumnHandle in = col({1, 0, 3});
    ColumnBase* c = in.get();
    InternalTable* t = result.get();
    t->addRef();  // the reference the framework's slot holds
    void* slots[2] = {&c, &t};
    ASSERT_EQ(0, plugin().callWrapper("LAST", slots, 2));
    EXPECT_EQ(result.get(), t);
    EXPECT_EQ(2, result->refCount());
    EXPECT_EQ(1, in->refCount()) << "input handles are released";
    EXPECT_EQ(3u, result->getColumn(0)->size());
    t->release();
}

TEST(Wrapper, FailureLeavesSlotAsItWas) {
    TablePtr result = plugin().makeResultTable(*plugin().find("CUMULATE_DECUMULATE"));
    ColumnHandle in = col({});
    ColumnBase* c = in.get();
    InternalTable* t = result.get();
    t->addRef();
    int32_t flag = 0;
    void* slots[3] = {&c, &t, &flag};
    EXPECT_THROW(plugin().callWrapper("CUMULATE_DECUMULATE", slots, 3), QELError::Exception);
    EXPECT_EQ(result.get(), t);
    EXPECT_EQ(2, result->refCount());
    EXPECT_EQ(1, in->refCount());
    t->release();
}

namespace {
// An operation that replaces the result table, as a function may.
struct Replacer {
    TablePtr replacement = Table::make("NEW");
    void op(const ColumnHandle&, TableHandle& result, int) const { result = TableHandle(replacement.get()); }
};
}  // namespace

TEST(Wrapper, ReplacedResultTableTakesTheSlot) {
    Replacer r;
    TablePtr old = Table::make("OLD");
    ColumnHandle in = col({1});
    ColumnBase* c = in.get();
    InternalTable* t = old.get();
    t->addRef();
    int32_t flag = 0;
    void* slots[3] = {&c, &t, &flag};
    ASSERT_EQ(0, fpkwrapper::callOperation(&r, &Replacer::op, slots, 3));
    EXPECT_EQ(r.replacement.get(), t);
    EXPECT_EQ(2, r.replacement->refCount()) << "ours and the slot's";
    EXPECT_EQ(1, old->refCount()) << "the slot's reference on the old table is gone";
    t->release();
}

TEST(Wrapper, EveryFunctionAnswersItsSlotCount) {
    for (const auto& fn : plugin().functions()) {
        std::vector<void*> slots(fn.slots().size() + 1, nullptr);
        EXPECT_EQ(1, plugin().callWrapper(fn.name, slots.data(), static_cast<uint32_t>(slots.size()))) << fn.name;
    }
}
