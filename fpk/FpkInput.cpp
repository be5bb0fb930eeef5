#include "FpkInput.h"

#include <charconv>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <string_view>

namespace fpkcli {

using qelhost::Column;
using qelhost::ColumnHandle;
using qelhost::ColumnPtr;
using qelhost::ParamInfo;
using qelhost::Table;
using qelhost::TableHandle;
using qelhost::TablePtr;
using namespace RhoCommonObjects;

namespace {

// One value as the user wrote it, before it meets the type of its column.
struct Cell {
    enum Kind {
        Null,
        Bool,
        Number,  // a JSON number; text holds the token
        Text,    // a JSON string: only a string column or a special number accepts it
        Raw      // a CSV cell: read as whatever its column holds
    };
    Kind kind = Null;
    bool boolean = false;
    std::string text;
    Where where;
};

std::string_view trim(std::string_view s) {
    while (!s.empty() && (s.front() == ' ' || s.front() == '\t')) s.remove_prefix(1);
    while (!s.empty() && (s.back() == ' ' || s.back() == '\t')) s.remove_suffix(1);
    return s;
}

std::string quote(std::string_view s) { return "\"" + std::string(s) + "\""; }

// The three words that stand for the numbers JSON cannot write.
bool specialNumber(std::string_view s, double& out) {
    if (s == "NaN") {
        out = std::numeric_limits<double>::quiet_NaN();
    } else if (s == "Infinity") {
        out = std::numeric_limits<double>::infinity();
    } else if (s == "-Infinity") {
        out = -std::numeric_limits<double>::infinity();
    } else {
        return false;
    }
    return true;
}

// A plain decimal number (digits, sign, point, exponent), read exactly.
// Returns false when the text is not one; throws when it is too large.
bool plainNumber(std::string_view s, double& out, const Where& at) {
    if (s.empty()) return false;
    for (char c : s)
        if (!((c >= '0' && c <= '9') || c == '+' || c == '-' || c == '.' || c == 'e' || c == 'E')) return false;
    std::string_view body = s;
    if (body.front() == '+') {
        body.remove_prefix(1);
        if (body.empty() || body.front() == '-' || body.front() == '+') return false;
    }
    const auto r = std::from_chars(body.data(), body.data() + body.size(), out);
    if (r.ptr != body.data() + body.size()) return false;
    if (r.ec == std::errc::result_out_of_range) {
        // Underflow reads as the nearest double (a zero or a subnormal);
        // overflow is refused.
        out = std::strtod(std::string(body).c_str(), nullptr);
        if (std::isinf(out)) failAt(at, "the number " + std::string(s) + " is too large for a double");
        return true;
    }
    return r.ec == std::errc();
}

bool isIntegerType(int vt) { return vt == VT_INTEGER || vt == VT_BOOLEAN; }

double numberOf(const Cell& c, const std::string& what) {
    double v = 0;
    switch (c.kind) {
        case Cell::Number:
            if (!plainNumber(c.text, v, c.where)) failAt(c.where, what + ": " + c.text + " is not a number");
            return v;
        case Cell::Text:
            if (specialNumber(c.text, v)) return v;
            failAt(c.where, what + ": expected a number, found the string " + quote(c.text) +
                                " (only \"NaN\", \"Infinity\" and \"-Infinity\" are read as numbers)");
        case Cell::Raw: {
            const std::string_view t = trim(c.text);
            if (specialNumber(t, v) || plainNumber(t, v, c.where)) return v;
            failAt(c.where, what + ": " + quote(c.text) + " is not a number");
        }
        case Cell::Bool:
            failAt(c.where, what + ": expected a number, found a boolean");
        case Cell::Null:
            break;
    }
    return 0;
}

int32_t integerOf(const Cell& c, const std::string& what) {
    if (c.kind == Cell::Bool) return c.boolean ? 1 : 0;
    if (c.kind == Cell::Text) failAt(c.where, what + ": expected an integer, found the string " + quote(c.text));
    const double v = numberOf(c, what);
    if (!(v >= -2147483648.0 && v <= 2147483647.0) || std::trunc(v) != v)
        failAt(c.where, what + ": " + (c.kind == Cell::Raw ? std::string(trim(c.text)) : c.text) +
                            " is not a 32-bit integer");
    return static_cast<int32_t>(v);
}

std::string textOf(const Cell& c, const std::string& what) {
    if (c.kind == Cell::Bool) failAt(c.where, what + ": expected a string, found a boolean");
    return c.text;  // a number keeps its digits as written
}

// A host column of type vt holding the cells.
ColumnPtr buildColumn(const std::string& name, int vt, const std::vector<Cell>& cells, const std::string& what) {
    ColumnPtr col = Column::make(name, vt);
    const std::size_t n = cells.size();
    if (n == 0) return col;
    std::vector<NullFlags> nulls(n, 0);
    for (std::size_t i = 0; i < n; ++i) nulls[i] = cells[i].kind == Cell::Null ? 1 : 0;
    bool ok = false;
    if (vt == VT_STRING) {
        std::vector<std::string> texts(n);
        std::vector<std::string_view> views(n);
        for (std::size_t i = 0; i < n; ++i) {
            if (!nulls[i]) texts[i] = textOf(cells[i], what);
            views[i] = texts[i];
        }
        ok = col->setNative(0, n, views.data(), nulls.data());
    } else if (isIntegerType(vt)) {
        std::vector<int32_t> values(n, 0);
        for (std::size_t i = 0; i < n; ++i)
            if (!nulls[i]) values[i] = integerOf(cells[i], what);
        ok = col->setNative(0, n, values.data(), nulls.data());
    } else {
        std::vector<double> values(n, 0.0);
        for (std::size_t i = 0; i < n; ++i)
            if (!nulls[i]) values[i] = numberOf(cells[i], what);
        ok = col->setNative(0, n, values.data(), nulls.data());
    }
    if (!ok) throw UsageError(what + ": the host refused the values");
    return col;
}

std::vector<Cell> cellsOf(const json::Value& array, const std::string& what) {
    std::vector<Cell> out;
    out.reserve(array.items.size());
    for (const json::Value& v : array.items) {
        Cell c;
        c.where = v.where;
        switch (v.kind) {
            case json::Value::Null:
                break;
            case json::Value::Bool:
                c.kind = Cell::Bool;
                c.boolean = v.boolean;
                break;
            case json::Value::Number:
                c.kind = Cell::Number;
                c.text = v.text;
                break;
            case json::Value::String:
                c.kind = Cell::Text;
                c.text = v.text;
                break;
            default:
                failAt(v.where, what + ": a value must be a number, a string or null, not " + std::string(v.kindName()));
        }
        out.push_back(std::move(c));
    }
    return out;
}

Cell cellOf(const csv::Cell& c) {
    Cell out;
    out.where = c.where;
    if (c.empty() || (!c.quoted && trim(c.text) == "null")) return out;
    out.kind = Cell::Raw;
    out.text = c.text;
    return out;
}

// The value type named by a "type" member or a ":TYPE" suffix.
int typeNamed(const std::string& name, const Where& at) {
    std::optional<int> vt = qelhost::valueTypeFromName(name);
    if (!vt) failAt(at, "unknown type " + quote(name) + " (types: double, float, decimal, int, string, bool)");
    return *vt;
}

void checkMembers(const json::Value& obj, std::initializer_list<std::string_view> allowed, const std::string& what) {
    for (const json::Member& m : obj.members) {
        bool ok = false;
        for (std::string_view a : allowed) ok = ok || m.key == a;
        if (!ok) {
            std::string list;
            for (std::string_view a : allowed) list += (list.empty() ? "" : ", ") + quote(a);
            failAt(m.where, what + ": unknown member " + quote(m.key) + " (expected " + list + ")");
        }
    }
}

const json::Value& requireMember(const json::Value& obj, std::string_view key, json::Value::Kind kind,
                                 const std::string& what) {
    const json::Value* v = obj.member(key);
    if (v == nullptr) failAt(obj.where, what + ": the member " + quote(key) + " is missing");
    if (v->kind != kind) {
        json::Value probe;
        probe.kind = kind;
        failAt(v->where, what + ": " + quote(key) + " must be " + probe.kindName() + ", not " + v->kindName());
    }
    return *v;
}

// "NAME:TYPE" of a CSV header cell.
struct HeaderName {
    std::string name;
    std::optional<int> type;
};

HeaderName headerName(const csv::Cell& cell) {
    const std::string_view t = trim(cell.text);
    if (t.empty()) failAt(cell.where, "an empty name in the CSV header");
    HeaderName h;
    const std::size_t colon = t.find(':');
    h.name = std::string(trim(t.substr(0, colon)));
    if (colon != std::string_view::npos) h.type = typeNamed(std::string(trim(t.substr(colon + 1))), cell.where);
    if (h.name.empty()) failAt(cell.where, "an empty name in the CSV header");
    return h;
}

// Column c of a CSV file: the cells below the header down to the last one
// that holds something, so that columns may have different lengths.
std::vector<Cell> csvColumn(const std::vector<csv::Record>& records, std::size_t c) {
    std::size_t length = 0;
    for (std::size_t r = 1; r < records.size(); ++r)
        if (c < records[r].size() && !records[r][c].empty()) length = r;
    std::vector<Cell> out;
    for (std::size_t r = 1; r <= length; ++r) {
        if (c < records[r].size()) {
            out.push_back(cellOf(records[r][c]));
        } else {
            Cell missing;
            missing.where = records[r].back().where;
            out.push_back(missing);
        }
    }
    return out;
}

// Cells beyond the header's width must be empty.
void checkWidth(const std::vector<csv::Record>& records) {
    const std::size_t width = records.front().size();
    for (std::size_t r = 1; r < records.size(); ++r)
        for (std::size_t c = width; c < records[r].size(); ++c)
            if (!records[r][c].empty())
                failAt(records[r][c].where, "this row has more cells than the header has names (" +
                                                std::to_string(width) + ")");
}

}  // namespace

int defaultTableColumnType(const std::string& pattern, std::size_t i) {
    // Split the pattern into items (a letter or a bracket group); a '+'
    // repeats the last item, and columns past the end take the last item too.
    std::vector<std::string> items;
    for (std::size_t p = 0; p < pattern.size(); ++p) {
        if (pattern[p] == '[') {
            const std::size_t close = pattern.find(']', p);
            if (close == std::string::npos) break;
            items.push_back(pattern.substr(p + 1, close - p - 1));
            p = close;
        } else if (pattern[p] != '+') {
            items.emplace_back(1, pattern[p]);
        }
    }
    if (items.empty()) return VT_DOUBLE;
    const std::string& item = i < items.size() ? items[i] : items.back();
    if (item.find_first_of("dD") != std::string::npos) return VT_DOUBLE;
    if (item.find('I') != std::string::npos) return VT_INTEGER;
    if (item.find('S') != std::string::npos) return VT_STRING;
    return VT_DOUBLE;
}

Binder::Binder(const qelhost::Plugin& plugin, const qelhost::FunctionInfo& fn) : plugin_(plugin), fn_(fn) {}

Binder::Target Binder::resolve(const std::string& key, const Where& at) const {
    for (const ParamInfo& p : fn_.params) {
        if (p.name != key) continue;
        if (p.isInputColumn()) return {Kind::Column, &p};
        if (p.isInputTable()) return {Kind::Table, &p};
        if (p.isScalar()) return {Kind::Scalar, &p};
    }
    const ParamInfo* match = nullptr;
    int matches = 0;
    for (const ParamInfo& p : fn_.params)
        if (p.isInputColumn() && p.columnPart() == key) {
            match = &p;
            ++matches;
        }
    if (matches == 1) return {Kind::Column, match};
    if (matches > 1) failAt(at, quote(key) + " is ambiguous in " + fn_.name + ": use the full name (" + keysHelp() + ")");
    if (const ParamInfo* r = fn_.resultTable(); r != nullptr && r->name == key) return {Kind::Result, r};
    failAt(at, fn_.name + " has no parameter " + quote(key) + " (parameters: " + keysHelp() + ")");
}

std::string Binder::keysHelp() const {
    std::string out;
    for (const ParamInfo* p : fn_.slots()) {
        if (p->isResultTable()) continue;
        if (!out.empty()) out += ", ";
        out += p->name;
        if (p->isInputColumn() && p->columnPart() != p->name) {
            int same = 0;
            for (const ParamInfo& q : fn_.params) same += q.isInputColumn() && q.columnPart() == p->columnPart();
            if (same == 1) out += " or " + p->columnPart();
        }
    }
    return out;
}

void Binder::claim(const Target& t, const Where& at) {
    if (t.kind == Kind::Result) {
        if (resultAt_) failAt(at, "the result table " + t.param->name + " is given twice (first at " + resultAt_->str() + ")");
        resultAt_ = at;
        return;
    }
    auto it = boundAt_.find(t.param);
    if (it != boundAt_.end()) failAt(at, "the parameter " + t.param->name + " is given twice (first at " + it->second.str() + ")");
    boundAt_.emplace(t.param, at);
}

void Binder::addJson(const json::Value& root) {
    if (root.kind != json::Value::Object)
        failAt(root.where, "the input must be a JSON object whose keys name parameters, not " + std::string(root.kindName()));
    for (const json::Member& m : root.members) {
        const std::string& key = m.key;
        const json::Value& value = m.value;
        const Where& at = m.where;
        const Target t = resolve(key, at);
        claim(t, at);
        switch (t.kind) {
            case Kind::Column:
                bindJsonColumn(t, value);
                break;
            case Kind::Table:
                bindJsonTable(t, value);
                break;
            case Kind::Scalar:
                bindJsonScalar(t, value);
                break;
            case Kind::Result:
                bindJsonResult(t, value);
                break;
        }
    }
}

void Binder::bindJsonColumn(const Target& t, const json::Value& v) {
    const std::string what = "column " + t.param->name;
    int vt = t.param->valueType();
    const json::Value* values = &v;
    if (v.kind == json::Value::Object) {
        checkMembers(v, {"type", "values"}, what);
        if (const json::Value* type = v.member("type")) {
            if (type->kind != json::Value::String) failAt(type->where, what + ": \"type\" must be a string");
            vt = typeNamed(type->text, type->where);
        }
        values = &requireMember(v, "values", json::Value::Array, what);
    } else if (v.kind != json::Value::Array) {
        failAt(v.where, what + ": expected an array of values or {\"type\": T, \"values\": [...]}, not " +
                            std::string(v.kindName()));
    }
    bound_[t.param] = ColumnHandle(buildColumn(t.param->columnPart(), vt, cellsOf(*values, what), what));
}

void Binder::bindJsonTable(const Target& t, const json::Value& v) {
    const std::string what = "table " + t.param->name;
    if (v.kind != json::Value::Array)
        failAt(v.where, what + ": expected an array of columns {\"name\": N, \"type\": T, \"values\": [...]}, not " +
                            std::string(v.kindName()));
    const std::string pattern = fn_.patternOf(t.param);
    TablePtr table = Table::make(t.param->name);
    for (std::size_t i = 0; i < v.items.size(); ++i) {
        const json::Value& c = v.items[i];
        if (c.kind != json::Value::Object)
            failAt(c.where, what + ": a column must be an object {\"name\": N, \"type\": T, \"values\": [...]}");
        checkMembers(c, {"name", "type", "values"}, what);
        const std::string name = requireMember(c, "name", json::Value::String, what).text;
        int vt = defaultTableColumnType(pattern, i);
        if (const json::Value* type = c.member("type")) {
            if (type->kind != json::Value::String) failAt(type->where, what + ": \"type\" must be a string");
            vt = typeNamed(type->text, type->where);
        }
        const json::Value& values = requireMember(c, "values", json::Value::Array, what);
        const std::string cwhat = what + " column " + name;
        table->addColumn(ColumnHandle(buildColumn(name, vt, cellsOf(values, cwhat), cwhat)));
    }
    bound_[t.param] = TableHandle(table);
}

void Binder::bindJsonScalar(const Target& t, const json::Value& v) {
    const std::string what = "scalar " + t.param->name;
    if (v.kind != json::Value::Number) failAt(v.where, what + ": expected an integer, not " + std::string(v.kindName()));
    Cell c;
    c.kind = Cell::Number;
    c.text = v.text;
    c.where = v.where;
    bound_[t.param] = integerOf(c, what);
}

void Binder::bindJsonResult(const Target& t, const json::Value& v) {
    const std::string what = "result table " + t.param->name;
    if (v.kind != json::Value::Array)
        failAt(v.where, what + ": expected an array of columns {\"name\": N, \"type\": T}, not " + std::string(v.kindName()));
    TablePtr table = Table::make(t.param->name);
    for (const json::Value& c : v.items) {
        if (c.kind != json::Value::Object) failAt(c.where, what + ": a column must be an object {\"name\": N, \"type\": T}");
        checkMembers(c, {"name", "type"}, what);
        const std::string name = requireMember(c, "name", json::Value::String, what).text;
        int vt = VT_DOUBLE;
        if (const json::Value* type = c.member("type")) {
            if (type->kind != json::Value::String) failAt(type->where, what + ": \"type\" must be a string");
            vt = typeNamed(type->text, type->where);
        }
        table->addColumn(ColumnHandle(Column::make(name, vt)));
    }
    result_ = table;
}

void Binder::addCsv(const std::vector<csv::Record>& records) {
    if (records.empty()) return;  // an empty file gives no parameter
    checkWidth(records);
    const csv::Record& header = records.front();
    for (std::size_t c = 0; c < header.size(); ++c) {
        if (header[c].empty() && c + 1 == header.size() && c > 0) continue;  // a trailing comma
        const HeaderName h = headerName(header[c]);
        const Target t = resolve(h.name, header[c].where);
        if (t.kind != Kind::Column)
            failAt(header[c].where, quote(h.name) + " is not a column of " + fn_.name +
                                        (t.kind == Kind::Scalar   ? ": give a scalar with --set " + h.name + "=VALUE"
                                         : t.kind == Kind::Table  ? ": give a table with --table " + h.name + "=FILE.csv"
                                                                  : ": give the result columns with --result"));
        claim(t, header[c].where);
        const std::string what = "column " + t.param->name;
        const int vt = h.type ? *h.type : t.param->valueType();
        bound_[t.param] = ColumnHandle(buildColumn(t.param->columnPart(), vt, csvColumn(records, c), what));
    }
}

void Binder::addSet(const std::string& item) {
    const Where at{"--set " + item};
    const std::size_t eq = item.find('=');
    if (eq == std::string::npos) failAt(at, "expected NAME=VALUE");
    const std::string name(trim(std::string_view(item).substr(0, eq)));
    const Target t = resolve(name, at);
    if (t.kind != Kind::Scalar) failAt(at, name + " is not a scalar of " + fn_.name + " (--set gives scalars only)");
    claim(t, at);
    Cell c;
    c.kind = Cell::Raw;
    c.text = item.substr(eq + 1);
    c.where = at;
    if (trim(c.text).empty()) failAt(at, "the value is missing");
    bound_[t.param] = integerOf(c, "scalar " + name);
}

TablePtr Binder::tableFromCsv(const std::string& tableName, const std::string& pattern,
                              const std::vector<csv::Record>& records, const std::string& file) const {
    TablePtr table = Table::make(tableName);
    if (records.empty()) failAt(Where{file}, "the table file is empty (it needs a header of column names)");
    checkWidth(records);
    const csv::Record& header = records.front();
    for (std::size_t c = 0; c < header.size(); ++c) {
        if (header[c].empty() && c + 1 == header.size() && c > 0) continue;
        const HeaderName h = headerName(header[c]);
        const int vt = h.type ? *h.type : defaultTableColumnType(pattern, c);
        const std::string what = "table " + tableName + " column " + h.name;
        table->addColumn(ColumnHandle(buildColumn(h.name, vt, csvColumn(records, c), what)));
    }
    return table;
}

void Binder::addTable(const std::string& name, const std::string& file, const std::string& text, bool isJson) {
    const Where at{"--table " + name + "=" + file};
    const Target t = resolve(name, at);
    if (t.kind != Kind::Table) failAt(at, name + " is not a table of " + fn_.name + " (--table gives tables only)");
    claim(t, at);
    if (isJson) {
        bindJsonTable(t, json::parse(text, file));
        return;
    }
    bound_[t.param] = TableHandle(tableFromCsv(t.param->name, fn_.patternOf(t.param), csv::parse(text, file), file));
}

void Binder::addResultColumns(const std::string& setting) {
    const Where at{"--result " + setting};
    const ParamInfo* r = fn_.resultTable();
    if (r == nullptr) failAt(at, fn_.name + " has no result table");
    claim({Kind::Result, r}, at);
    TablePtr table = Table::make(r->name);
    std::string_view rest = setting;
    while (true) {
        const std::size_t comma = rest.find(',');
        const std::string_view item = trim(rest.substr(0, comma));
        const std::size_t colon = item.find(':');
        const std::string name(trim(item.substr(0, colon)));
        if (name.empty()) failAt(at, "expected NAME[:TYPE],...");
        int vt = VT_DOUBLE;
        if (colon != std::string_view::npos) vt = typeNamed(std::string(trim(item.substr(colon + 1))), at);
        table->addColumn(ColumnHandle(Column::make(name, vt)));
        if (comma == std::string_view::npos) break;
        rest = rest.substr(comma + 1);
    }
    result_ = table;
}

TablePtr Binder::defaultResult() const {
    if (!fn_.isTableBased()) return plugin_.makeResultTable(fn_);
    const ParamInfo* r = fn_.resultTable();
    TablePtr table = Table::make(r != nullptr ? r->name : "result");
    if (fn_.name == "DRIVER") {
        // The period key, then one projection per driver column.
        table->addColumn(ColumnHandle(Column::make("TIME", VT_STRING)));
        for (const auto& [param, arg] : bound_) {
            if (param->name != "DRIVERS" || !std::holds_alternative<TableHandle>(arg)) continue;
            const TableHandle& drivers = std::get<TableHandle>(arg);
            for (std::size_t c = 0; c < drivers->getColumnCount(); ++c)
                table->addColumn(ColumnHandle(Column::make(drivers->getColumn(c)->getName(), VT_DOUBLE)));
        }
        return table;
    }
    table->addColumn(ColumnHandle(Column::make("RESULT", VT_DOUBLE)));
    return table;
}

Inputs Binder::finish() const {
    Inputs in;
    for (const ParamInfo* p : fn_.slots()) {
        if (p->isResultTable()) continue;
        auto it = bound_.find(p);
        if (it == bound_.end()) {
            const std::string how = p->isScalar()       ? "an integer; in CSV input give it with --set " + p->name + "=VALUE"
                                    : p->isInputTable() ? "a table; in CSV input give it with --table " + p->name + "=FILE.csv"
                                                        : "a column, keyed " + p->name + " or " + p->columnPart();
            throw UsageError("missing parameter " + p->name + ": " + fn_.name + " needs it (" + how + ")");
        }
        in.arguments.push_back(it->second);
    }
    in.result = result_ ? result_ : defaultResult();
    return in;
}

}  // namespace fpkcli
