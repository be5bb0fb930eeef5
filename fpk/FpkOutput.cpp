#include "FpkOutput.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <nlohmann/json.hpp>
#include <vector>

namespace fpkcli {

using namespace RhoCommonObjects;

namespace {

struct Rendered {
    std::string name;
    std::string type;
    bool numeric = true;
    std::vector<std::optional<std::string>> cells;  // nullopt: a null row
};

std::string formatFloat(float v) {
    if (std::isnan(v)) return "NaN";
    if (std::isinf(v)) return v > 0 ? "Infinity" : "-Infinity";
    char buf[64];
    const auto r = std::to_chars(buf, buf + sizeof(buf), v);
    return std::string(buf, r.ptr);
}

Rendered render(const ColumnBase* col) {
    Rendered out;
    out.name = col->getName();
    const int vt = col->getValueType();
    out.type = qelhost::valueTypeName(vt);
    const std::size_t n = col->size();
    out.cells.resize(n);
    if (n == 0) {
        out.numeric = vt != VT_STRING;
        return out;
    }
    std::vector<NullFlags> nulls(n, 0);
    if (vt == VT_STRING) {
        out.numeric = false;
        std::vector<std::string_view> v(n);
        if (!col->getNative(0, n, v.data(), nulls.data())) throw std::runtime_error("cannot read result column " + out.name);
        for (std::size_t i = 0; i < n; ++i)
            if (!nulls[i]) out.cells[i] = std::string(v[i]);
    } else if (vt == VT_INTEGER || vt == VT_BOOLEAN) {
        std::vector<int32_t> v(n);
        if (!col->getNative(0, n, v.data(), nulls.data())) throw std::runtime_error("cannot read result column " + out.name);
        for (std::size_t i = 0; i < n; ++i)
            if (!nulls[i]) out.cells[i] = std::to_string(v[i]);
    } else {
        std::vector<double> v(n);
        if (!col->getNative(0, n, v.data(), nulls.data())) throw std::runtime_error("cannot read result column " + out.name);
        for (std::size_t i = 0; i < n; ++i)
            if (!nulls[i]) out.cells[i] = vt == VT_FLOAT ? formatFloat(static_cast<float>(v[i])) : formatDouble(v[i]);
    }
    return out;
}

std::vector<Rendered> renderAll(const InternalTable* table, std::size_t& rows) {
    std::vector<Rendered> cols;
    rows = 0;
    if (table == nullptr) return cols;
    for (std::size_t c = 0; c < table->getColumnCount(); ++c) {
        const ColumnBase* col = table->getColumn(c);
        if (col == nullptr) continue;
        cols.push_back(render(col));
        rows = std::max(rows, cols.back().cells.size());
    }
    for (Rendered& r : cols) r.cells.resize(rows);
    return cols;
}

// Display width: characters, not bytes.
std::size_t width(const std::string& s) {
    std::size_t w = 0;
    for (unsigned char c : s)
        if ((c & 0xC0) != 0x80) ++w;
    return w;
}

std::string pad(const std::string& s, std::size_t w, bool right) {
    const std::size_t fill = w > width(s) ? w - width(s) : 0;
    return right ? std::string(fill, ' ') + s : s + std::string(fill, ' ');
}

// Control characters would break the table's lines; show them escaped.
std::string visible(const std::string& s) {
    std::string out;
    for (char c : s) {
        if (c == '\n')
            out += "\\n";
        else if (c == '\r')
            out += "\\r";
        else if (c == '\t')
            out += "\\t";
        else
            out += c;
    }
    return out;
}

std::string asTable(const std::vector<Rendered>& cols, std::size_t rows) {
    std::vector<std::size_t> w(cols.size());
    std::vector<std::vector<std::string>> cells(cols.size());
    for (std::size_t c = 0; c < cols.size(); ++c) {
        w[c] = width(cols[c].name);
        cells[c].reserve(rows);
        for (const auto& cell : cols[c].cells) {
            cells[c].push_back(cell ? visible(*cell) : "null");
            w[c] = std::max(w[c], width(cells[c].back()));
        }
    }
    std::string out;
    auto line = [&](auto cellAt) {
        std::string l;
        for (std::size_t c = 0; c < cols.size(); ++c) {
            if (c > 0) l += "  ";
            l += pad(cellAt(c), w[c], cols[c].numeric);
        }
        while (!l.empty() && l.back() == ' ') l.pop_back();
        out += l;
        out += '\n';
    };
    line([&](std::size_t c) { return cols[c].name; });
    for (std::size_t r = 0; r < rows; ++r) line([&](std::size_t c) { return cells[c][r]; });
    return out;
}

std::string csvField(const std::string& s) {
    const bool needsQuotes = s.empty() || s.find_first_of(",\"\r\n") != std::string::npos || s.front() == ' ' ||
                             s.back() == ' ' || s == "null";
    if (!needsQuotes) return s;
    std::string out = "\"";
    for (char c : s) {
        if (c == '"') out += '"';
        out += c;
    }
    return out + "\"";
}

std::string asCsv(const std::vector<Rendered>& cols, std::size_t rows) {
    std::string out;
    for (std::size_t c = 0; c < cols.size(); ++c) out += (c > 0 ? "," : "") + csvField(cols[c].name);
    out += '\n';
    for (std::size_t r = 0; r < rows; ++r) {
        for (std::size_t c = 0; c < cols.size(); ++c) {
            if (c > 0) out += ',';
            const auto& cell = cols[c].cells[r];
            if (!cell) continue;  // a null is an empty cell
            out += cols[c].numeric ? *cell : csvField(*cell);
        }
        out += '\n';
    }
    return out;
}

std::string jsonString(const std::string& s) {
    return nlohmann::json(s).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

std::string asJson(const std::vector<Rendered>& cols, const std::optional<qelhost::CallError>& error) {
    std::string out = "{\"columns\": [";
    for (std::size_t c = 0; c < cols.size(); ++c) {
        out += c > 0 ? ",\n  " : "\n  ";
        out += "{\"name\": " + jsonString(cols[c].name) + ", \"type\": " + jsonString(cols[c].type) + ", \"values\": [";
        for (std::size_t r = 0; r < cols[c].cells.size(); ++r) {
            if (r > 0) out += ", ";
            const auto& cell = cols[c].cells[r];
            if (!cell)
                out += "null";
            else if (!cols[c].numeric || *cell == "NaN" || *cell == "Infinity" || *cell == "-Infinity")
                out += jsonString(*cell);
            else
                out += *cell;
        }
        out += "]}";
    }
    out += cols.empty() ? "]" : "\n]";
    if (error) {
        out += ",\n\"error\": {\"code\": " + std::to_string(error->code) + ", \"name\": " + jsonString(error->name) +
               ", \"message\": " + jsonString(error->message) + "}";
    }
    out += "}\n";
    return out;
}

}  // namespace

std::string formatDouble(double v) {
    if (std::isnan(v)) return "NaN";
    if (std::isinf(v)) return v > 0 ? "Infinity" : "-Infinity";
    char buf[64];
    const auto r = std::to_chars(buf, buf + sizeof(buf), v);
    return std::string(buf, r.ptr);
}

std::string formatResult(const InternalTable* table, Format format, const std::optional<qelhost::CallError>& error) {
    std::size_t rows = 0;
    const std::vector<Rendered> cols = renderAll(table, rows);
    switch (format) {
        case Format::Csv:
            return asCsv(cols, rows);
        case Format::Json:
            return asJson(cols, error);
        case Format::Table:
            break;
    }
    return asTable(cols, rows);
}

}  // namespace fpkcli
