// Shared helpers of the tests: the built plug-in, opened once per process,
// and small builders of host columns and tables.
#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "host/loader/PluginLoader.h"
#include "host/runtime/QELHost.h"

namespace fpktest {

using qelhost::Argument;
using qelhost::CallResult;
using qelhost::Column;
using qelhost::ColumnBase;
using qelhost::InternalTable;
using qelhost::ColumnHandle;
using qelhost::ColumnPtr;
using qelhost::Table;
using qelhost::TableHandle;
using qelhost::TablePtr;

// The plug-in built with the tests, opened on first use.
qelhost::Plugin& plugin();

inline ColumnHandle col(const std::vector<double>& v) { return ColumnHandle(Column::doubles("IN", v)); }
inline ColumnHandle icol(const std::vector<int32_t>& v) { return ColumnHandle(Column::ints("IN", v)); }
inline ColumnHandle scol(const std::vector<std::string>& v) { return ColumnHandle(Column::strings("IN", v)); }
// A column of a given host type with the values as doubles.
ColumnHandle typed(int valueType, const std::vector<double>& v);
// A double column whose listed rows are null.
ColumnHandle withNulls(const std::vector<double>& v, const std::vector<std::size_t>& nullRows);

// Calls a function through the loader with its default result table.
CallResult call(const std::string& fn, const std::vector<Argument>& inputs);
// Column c of the result as doubles (nulls as NaN).
std::vector<double> doublesOf(const CallResult& r, std::size_t c = 0);
std::vector<std::string> textsOf(const CallResult& r, std::size_t c = 0);

// Expects the call to have raised the named error with this message.
void expectError(const CallResult& r, const std::string& name, const std::string& message);

// The message of a catalogued error with its placeholders filled (the code
// always; the others from `args`), taken from the error catalogue itself.
std::string cataloguedMessage(int32_t code, const std::vector<std::pair<std::string, std::string>>& args);

// Expects `got` to hold `want` row by row within `tol` (scaled by
// max(1, |want|) when `relative`); a NaN in `want` expects a null row.
void expectNearAll(const std::vector<double>& got, const std::vector<double>& want, double tol,
                   bool relative = false);
// The same for column c of a result, which must have come without error.
void expectColumn(const CallResult& r, const std::vector<double>& want, double tol, bool relative = false,
                  std::size_t c = 0);

// A host table of the given columns, for table-based functions.
TableHandle tableOf(const std::string& name, const std::vector<ColumnHandle>& cols);

// Sums the outstanding bytes of the library allocator.
std::size_t libraryBytes();

// Makes each host column read, column write and allocation that `run` reaches
// fail in turn: every failure must end in the internal error, and no library
// memory may stay allocated. Inputs made inside `run` must not write columns.
void expectHostFaultsAreInternal(const std::function<CallResult()>& run);

}  // namespace fpktest
