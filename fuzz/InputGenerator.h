// Generated inputs for any catalogue function: typed columns, tables and
// scalars built from the function's parameter list, with plausible values
// (flags, counts, rates, amounts, dates and period labels by parameter name)
// or hostile ones (NaN, infinities, huge and tiny numbers, nulls, wrong
// column types, wrong sizes, wrong table widths).
#pragma once

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "host/loader/PluginLoader.h"

namespace fpkfuzz {

enum class SizeClass { Empty, One, Small, Boundary, Large };
const char* sizeClassName(SizeClass s);

struct GeneratedCall {
    std::vector<qelhost::Argument> inputs;
    qelhost::TablePtr result;
    std::size_t rows = 0;
};

struct GeneratorOptions {
    // Catalogue types, equal sizes, plausible finite values, no nulls.
    bool wellFormed = false;
    // Upper bound of the rows of any column (Large and Boundary are clamped).
    std::size_t maxRows = 300000;
};

class InputGenerator {
public:
    explicit InputGenerator(uint64_t seed) : rng_(seed) {}

    GeneratedCall make(const qelhost::FunctionInfo& fn, SizeClass size, const GeneratorOptions& options);
    SizeClass randomSize();
    std::mt19937_64& rng() { return rng_; }

private:
    enum class Role { Flag, Count, Rate, Amount, DateKey, PeriodLabel, YearText, MonthText, Text };
    static Role roleOf(const std::string& column, int valueType);

    std::size_t rowsFor(SizeClass size, std::size_t maxRows);
    double number(Role role, bool hostile);
    std::string text(Role role, bool hostile);
    qelhost::ColumnPtr column(const std::string& name, Role role, int valueType, std::size_t rows, bool hostile,
                              bool nulls);
    bool chance(double p) { return std::uniform_real_distribution<double>(0, 1)(rng_) < p; }
    int pick(int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(rng_); }

    std::mt19937_64 rng_;
};

// Rewrites inputs whose documented behaviour is an endless loop or a schedule
// of unbounded length, so that a generated call always ends (see the user
// doc of NUMBERPERIODS): NUMBERPERIODS rows whose balance never reaches
// FUTURE get FUTURE = PRESENT, and period counts of the account functions are
// kept below a few thousand.
void boundUnboundedInputs(const qelhost::FunctionInfo& fn, GeneratedCall& call);

// The most rows the driver hands a function whose cost grows faster than the
// row count (quadratic sums, root searches per row).
std::size_t rowLimit(const std::string& function);

}  // namespace fpkfuzz
