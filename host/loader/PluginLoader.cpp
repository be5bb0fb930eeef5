#include "PluginLoader.h"

#include <dlfcn.h>
#include <unistd.h>

#include <climits>
#include <cstdlib>

#include "../../platform/QELBase.h"
#include "../../platform/QELError.h"

namespace qelhost {

namespace {
// The framework's own copy of the factory interface id.
const QELID kClassFactoryIID = {0x00000001, 0x0000, 0x0000, {0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};

template <class Fn>
Fn resolve(void* dl, const char* name) {
    void* p = dlsym(dl, name);
    if (p == nullptr) throw LoaderError(std::string("the plug-in does not export ") + name);
    return reinterpret_cast<Fn>(p);
}
}  // namespace

std::string ParamInfo::columnPart() const {
    const std::size_t slash = name.find('/');
    return slash == std::string::npos ? name : name.substr(slash + 1);
}

int ParamInfo::valueType() const {
    switch (csDatatype) {
        case QEL_CS_INTEGER:
            return RhoCommonObjects::VT_INTEGER;
        case QEL_CS_STRING:
            return RhoCommonObjects::VT_STRING;
        default:
            return RhoCommonObjects::VT_DOUBLE;
    }
}

std::vector<const ParamInfo*> FunctionInfo::slots() const {
    std::vector<const ParamInfo*> out;
    for (const ParamInfo& p : params)
        if (p.isSlot()) out.push_back(&p);
    return out;
}

const ParamInfo* FunctionInfo::resultTable() const {
    for (const ParamInfo& p : params)
        if (p.isResultTable()) return &p;
    return nullptr;
}

std::vector<const ParamInfo*> FunctionInfo::resultColumns() const {
    std::vector<const ParamInfo*> out;
    for (const ParamInfo& p : params)
        if (p.isResultColumn()) out.push_back(&p);
    return out;
}

std::string FunctionInfo::resultPattern() const {
    const ParamInfo* r = resultTable();
    return r != nullptr ? patternOf(r) : std::string();
}

std::string FunctionInfo::patternOf(const ParamInfo* table) const {
    for (std::size_t i = 0; i + 1 < params.size(); ++i)
        if (&params[i] == table && params[i + 1].isPattern()) return params[i + 1].name;
    return {};
}

std::unique_ptr<Plugin> Plugin::open(const std::string& path) {
    std::unique_ptr<Plugin> p(new Plugin());
    p->dl_ = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (p->dl_ == nullptr) {
        const char* why = dlerror();
        throw LoaderError("cannot open plug-in " + path + ": " + (why ? why : "unknown error"));
    }
    auto introspectQEL = resolve<IntrospectQEL_Fn>(p->dl_, "IntrospectQEL");
    auto introspectType = resolve<IntrospectQELType_Fn>(p->dl_, "IntrospectQELType");
    auto createFactory = resolve<CreateQELClassFactory_Fn>(p->dl_, "CreateQELClassFactory");
    resolve<IntrospectAppFunc_Fn>(p->dl_, "IntrospectAppFunc");

    QELID clsid{};
    introspectQEL(clsid, p->iid_);
    bool internal = false;
    introspectType(internal);
    void* factory = nullptr;
    if (createFactory(clsid, kClassFactoryIID, &factory) != 0 || factory == nullptr)
        throw LoaderError("the plug-in refused to hand out its class factory");
    p->factory_ = static_cast<IQELClassFactory_Internal*>(factory);
    if (p->factory_->CreateInstance(p->iid_, &p->iface_, &p->object_) != 0 || p->object_ == nullptr)
        throw LoaderError("the plug-in's factory refused to create the library object");
    p->readCatalogue();
    return p;
}

Plugin::~Plugin() {
    if (factory_ != nullptr) {
        if (object_ != nullptr) factory_->DropInstance(iid_, &object_);
        delete factory_;  // the factory has a virtual destructor and nothing else releases it
    }
    if (dl_ != nullptr) dlclose(dl_);
}

void* Plugin::symbol(const char* name) const { return dlsym(dl_, name); }

void Plugin::readCatalogue() {
    auto introspect = resolve<IntrospectAppFunc_Fn>(dl_, "IntrospectAppFunc");
    for (uint16_t num = 1;; ++num) {
        char* name = nullptr;
        uint16_t idx = 0, paramCount = 0, propCount = 0;
        Introspect_AppFunc_Param paramFn = nullptr;
        Introspect_AppFunc_Prop propFn = nullptr;
        AppFunc_Type type = LFunc;
        AppFunc_Category category = cat_empty;
        char* businessCat = nullptr;
        introspect(get_by_index, &name, num, &idx, &paramCount, &paramFn, &type, &category, &propCount, &propFn,
                   &businessCat);
        if (paramFn == nullptr) break;
        FunctionInfo fn;
        fn.index = idx;
        fn.name = name != nullptr ? name : "";
        fn.type = type;
        fn.category = category;
        for (uint16_t i = 1; i <= paramCount; ++i) {
            char* io = nullptr;
            char* pname = nullptr;
            int16_t dt = 0, sub = 0, cs = 0, sql = 0, len = 0, dim = 0;
            int32_t o1 = 0, o2 = 0, o3 = 0;
            uint8_t frac = 0;
            paramFn(i, &io, &dt, &sub, &cs, &sql, &len, &dim, &o1, &o2, &o3, &frac, &pname);
            ParamInfo p;
            p.ioType = io != nullptr ? io : "";
            p.datatype = dt;
            p.csDatatype = cs;
            p.sqlDatatype = sql;
            p.dim = dim;
            p.name = pname != nullptr ? pname : "";
            fn.params.push_back(std::move(p));
        }
        locks_.emplace(fn.name, std::make_unique<std::mutex>());
        functions_.push_back(std::move(fn));
        if (num == UINT16_MAX) break;
    }
}

const FunctionInfo* Plugin::find(std::string_view name) const {
    for (const FunctionInfo& f : functions_)
        if (f.name == name) return &f;
    return nullptr;
}

TablePtr Plugin::makeResultTable(const FunctionInfo& fn) const {
    const ParamInfo* r = fn.resultTable();
    TablePtr table = Table::make(r != nullptr ? r->name : "result");
    for (const ParamInfo* c : fn.resultColumns()) table->addColumn(ColumnHandle(Column::make(c->name, c->valueType()).get()));
    return table;
}

int32_t Plugin::callWrapper(const std::string& name, void** slots, uint32_t count) {
    auto it = wrappers_.find(name);
    QELWrapper_Fn fn;
    if (it == wrappers_.end()) {
        fn = resolve<QELWrapper_Fn>(dl_, (name + "__Wrapper").c_str());
        wrappers_.emplace(name, fn);
    } else {
        fn = it->second;
    }
    return fn(static_cast<CFPK*>(object_), slots, count);
}

CallResult Plugin::call(std::string_view name, const std::vector<Argument>& inputs, TableHandle result) {
    const FunctionInfo* fn = find(name);
    if (fn == nullptr) throw LoaderError("unknown function " + std::string(name));
    return call(*fn, inputs, std::move(result));
}

CallResult Plugin::call(const FunctionInfo& fn, const std::vector<Argument>& inputs, TableHandle result) {
    std::lock_guard<std::mutex> lock(*locks_.at(fn.name));
    const std::vector<const ParamInfo*> slotParams = fn.slots();
    if (inputs.size() + 1 != slotParams.size())
        throw LoaderError(fn.name + " takes " + std::to_string(slotParams.size() - 1) + " inputs, not " +
                          std::to_string(inputs.size()));

    // Slot storage: a column or table pointer, or a 32-bit integer.
    union Storage {
        ColumnBase* column;
        InternalTable* table;
        int32_t scalar;
    };
    std::vector<Storage> storage(slotParams.size());
    std::vector<void*> slots(slotParams.size());
    std::size_t next = 0;
    for (std::size_t s = 0; s < slotParams.size(); ++s) {
        const ParamInfo& p = *slotParams[s];
        slots[s] = &storage[s];
        if (p.isResultTable()) {
            storage[s].table = result.get();
            if (result) result->addRef();  // the reference the slot holds
            continue;
        }
        const Argument& a = inputs[next++];
        if (p.isInputColumn()) {
            if (!std::holds_alternative<ColumnHandle>(a)) throw LoaderError(p.name + " must be a column");
            ColumnBase* c = std::get<ColumnHandle>(a).get();
            if (auto* hc = dynamic_cast<Column*>(c)) hc->setName(p.columnPart());
            storage[s].column = c;
        } else if (p.isInputTable()) {
            if (!std::holds_alternative<TableHandle>(a)) throw LoaderError(p.name + " must be a table");
            InternalTable* t = std::get<TableHandle>(a).get();
            if (auto* ht = dynamic_cast<Table*>(t)) ht->setName(p.name);
            storage[s].table = t;
        } else if (p.isScalar()) {
            if (!std::holds_alternative<int32_t>(a)) throw LoaderError(p.name + " must be an integer");
            storage[s].scalar = std::get<int32_t>(a);
        }
    }
    result.reset();

    CallResult out;
    try {
        out.status = callWrapper(fn.name, slots.data(), static_cast<uint32_t>(slots.size()));
    } catch (const QELError::Exception& e) {
        out.error = CallError{e.getCode(), e.getName(), e.getMessage()};
    } catch (const std::exception& e) {
        out.error = CallError{0, "UNEXPECTED_EXCEPTION", e.what()};
    } catch (...) {
        out.error = CallError{0, "UNEXPECTED_EXCEPTION", "unknown exception"};
    }
    for (std::size_t s = 0; s < slotParams.size(); ++s)
        if (slotParams[s]->isResultTable()) out.table = TableHandle::adopt(storage[s].table);
    return out;
}

std::string defaultLibraryPath(const std::string& explicitPath) {
    if (!explicitPath.empty()) return explicitPath;
    if (const char* env = std::getenv("FPK_LIBRARY"); env != nullptr && *env != '\0') return env;
    char exe[PATH_MAX];
    const ssize_t n = readlink("/proc/self/exe", exe, sizeof(exe) - 1);
    if (n > 0) {
        std::string path(exe, static_cast<std::size_t>(n));
        const std::size_t slash = path.rfind('/');
        if (slash != std::string::npos) {
            std::string dir = path.substr(0, slash);
            const std::size_t up = dir.rfind('/');
            if (up != std::string::npos) return dir.substr(0, up) + "/lib/libfpk.so";
        }
    }
    return "libfpk.so";
}

}  // namespace qelhost
