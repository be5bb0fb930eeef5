// Writes a result table as an aligned text table, as CSV or as JSON.
#pragma once

#include <optional>
#include <string>

#include "host/loader/PluginLoader.h"

namespace fpkcli {

enum class Format { Table, Csv, Json };

// The shortest text that reads back as the same double ("0.1",
// "0.30000000000000004", "100", "1e+21"); NaN and the infinities as "NaN",
// "Infinity" and "-Infinity".
std::string formatDouble(double v);

// Every row of every column of the table (rows a column does not have, or
// never had written, are null). JSON adds the error object when there is one.
std::string formatResult(const qelhost::InternalTable* table, Format format,
                         const std::optional<qelhost::CallError>& error);

}  // namespace fpkcli
