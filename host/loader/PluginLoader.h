// The host's side of the plug-in boundary: opens a plug-in by path, finds it
// through its exported entries alone, reads its catalogue and calls its
// functions through their wrappers.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "../../platform/QELCatalogueTypes.h"
#include "../runtime/QELHost.h"

namespace qelhost {

// A plug-in that cannot be opened or does not answer as the framework expects.
class LoaderError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

struct ParamInfo {
    std::string ioType;  // "IN", "OUT" or "I/O"
    int16_t datatype = 0;
    int16_t csDatatype = 0;
    int16_t sqlDatatype = 0;
    int16_t dim = 0;
    std::string name;

    bool isSlot() const { return ioType == "IN" || ioType == "OUT"; }
    bool isInputColumn() const { return ioType == "IN" && datatype == QEL_DT_COLUMN; }
    bool isInputTable() const { return ioType == "IN" && datatype == QEL_DT_TABLE; }
    bool isScalar() const { return ioType == "IN" && datatype == QEL_DT_SCALAR; }
    bool isResultTable() const { return ioType == "OUT" && datatype == QEL_DT_TABLE; }
    bool isResultColumn() const { return ioType == "I/O" && datatype == QEL_DT_COLUMN; }
    bool isPattern() const { return datatype == QEL_DT_PATTERN; }
    // The column part of "TABLE/COLUMN" (the whole name when it has no slash).
    std::string columnPart() const;
    // The host value type of a column entry's catalogue type.
    int valueType() const;
};

struct FunctionInfo {
    uint16_t index = 0;
    std::string name;
    AppFunc_Type type = LFunc;
    AppFunc_Category category = var_none;
    std::vector<ParamInfo> params;

    bool isTableBased() const { return category == var_columns; }
    // Parameters that take a wrapper slot, in slot order.
    std::vector<const ParamInfo*> slots() const;
    const ParamInfo* resultTable() const;
    // The result table's columns (I/O column entries) and, for a table-based
    // function, the result's type pattern.
    std::vector<const ParamInfo*> resultColumns() const;
    std::string resultPattern() const;
    // The pattern that follows an input table entry.
    std::string patternOf(const ParamInfo* table) const;
};

struct CallError {
    int32_t code = 0;
    std::string name;
    std::string message;
};

// One argument per input slot: a column, a table or an integer scalar.
using Argument = std::variant<ColumnHandle, TableHandle, int32_t>;

struct CallResult {
    TableHandle table;                // the result table after the call
    std::optional<CallError> error;   // set when the function raised
    int32_t status = 0;               // the wrapper's return value
};

class Plugin {
public:
    // Opens the library at `path` and creates its library object.
    static std::unique_ptr<Plugin> open(const std::string& path);
    ~Plugin();
    Plugin(const Plugin&) = delete;
    Plugin& operator=(const Plugin&) = delete;

    const std::vector<FunctionInfo>& functions() const { return functions_; }
    const FunctionInfo* find(std::string_view name) const;

    // A result table built from the catalogue's result columns (empty for a
    // table-based function), named after the catalogue's result table.
    TablePtr makeResultTable(const FunctionInfo& fn) const;

    // Calls a function. `inputs` hold one argument per slot other than the
    // result table, in slot order. Input columns are renamed to the column
    // part of their catalogue name and input tables to the table's name, so
    // that messages name what the user passed. Calls of one function are
    // serialised; different functions may run at the same time.
    CallResult call(const FunctionInfo& fn, const std::vector<Argument>& inputs, TableHandle result);
    CallResult call(std::string_view name, const std::vector<Argument>& inputs, TableHandle result);

    // Calls a wrapper with raw slots, as the framework does (tests).
    int32_t callWrapper(const std::string& name, void** slots, uint32_t count);

    // The raw boundary, for tests of the entries themselves.
    void* handle() const { return dl_; }
    void* libraryObject() const { return object_; }
    IQELClassFactory_Internal* factory() const { return factory_; }
    void* symbol(const char* name) const;

private:
    Plugin() = default;
    void readCatalogue();

    void* dl_ = nullptr;
    IQELClassFactory_Internal* factory_ = nullptr;
    void* iface_ = nullptr;
    void* object_ = nullptr;
    QELID iid_{};
    std::vector<FunctionInfo> functions_;
    std::map<std::string, std::unique_ptr<std::mutex>> locks_;
    std::map<std::string, QELWrapper_Fn> wrappers_;
};

// The plug-in path: the explicit one, else FPK_LIBRARY, else libfpk.so in
// the lib directory beside the running program's bin directory.
std::string defaultLibraryPath(const std::string& explicitPath = "");

}  // namespace qelhost
