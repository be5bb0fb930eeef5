// Turns the user's data (a JSON object, a CSV file, --set, --table and
// --result items) into the arguments of one catalogue function: host columns
// of the catalogue's types, host tables, integer scalars and a result table.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "FpkCsv.h"
#include "FpkJson.h"
#include "host/loader/PluginLoader.h"

namespace fpkcli {

struct Inputs {
    std::vector<qelhost::Argument> arguments;  // one per input slot, in slot order
    qelhost::TablePtr result;
};

// The host value type of a table's column i by the table's type pattern:
// double where the pattern admits a double, else integer, else string.
int defaultTableColumnType(const std::string& pattern, std::size_t i);

class Binder {
public:
    Binder(const qelhost::Plugin& plugin, const qelhost::FunctionInfo& fn);

    // A JSON object whose keys name parameters.
    void addJson(const json::Value& root);
    // A CSV file whose header names column parameters, one column each.
    void addCsv(const std::vector<csv::Record>& records);
    // --set NAME=VALUE: an integer scalar.
    void addSet(const std::string& item);
    // --table NAME=FILE: a table from a CSV file (or a JSON array of columns).
    void addTable(const std::string& name, const std::string& file, const std::string& text, bool isJson);
    // --result NAME[:TYPE],...: the result table's columns.
    void addResultColumns(const std::string& setting);

    // The arguments in slot order; a parameter not given is a UsageError.
    Inputs finish() const;

private:
    enum class Kind { Column, Table, Scalar, Result };
    struct Target {
        Kind kind;
        const qelhost::ParamInfo* param;
    };

    Target resolve(const std::string& key, const Where& at) const;
    void claim(const Target& t, const Where& at);
    std::string keysHelp() const;
    qelhost::TablePtr defaultResult() const;

    void bindJsonColumn(const Target& t, const json::Value& v);
    void bindJsonTable(const Target& t, const json::Value& v);
    void bindJsonScalar(const Target& t, const json::Value& v);
    void bindJsonResult(const Target& t, const json::Value& v);
    qelhost::TablePtr tableFromCsv(const std::string& tableName, const std::string& pattern,
                                   const std::vector<csv::Record>& records, const std::string& file) const;

    const qelhost::Plugin& plugin_;
    const qelhost::FunctionInfo& fn_;
    std::map<const qelhost::ParamInfo*, qelhost::Argument> bound_;
    std::map<const qelhost::ParamInfo*, Where> boundAt_;
    qelhost::TablePtr result_;
    std::optional<Where> resultAt_;
};

}  // namespace fpkcli
