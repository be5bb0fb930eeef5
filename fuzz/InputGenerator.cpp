#include "InputGenerator.h"

#include <cmath>
#include <cstdio>
#include <limits>
#include <set>

namespace fpkfuzz {

using qelhost::Column;
using qelhost::ColumnHandle;
using qelhost::ColumnPtr;
using qelhost::Table;
using qelhost::TableHandle;
using qelhost::TablePtr;
using namespace RhoCommonObjects;

const char* sizeClassName(SizeClass s) {
    switch (s) {
        case SizeClass::Empty:
            return "empty";
        case SizeClass::One:
            return "one";
        case SizeClass::Small:
            return "small";
        case SizeClass::Boundary:
            return "64000";
        case SizeClass::Large:
            return "large";
    }
    return "?";
}

InputGenerator::Role InputGenerator::roleOf(const std::string& c, int valueType) {
    static const std::set<std::string> flags = {
        "METHOD", "TYPE", "FLAG", "FUNCTION", "SIGN", "INDICATOR", "STYLE", "CONFIG", "COVERUNITS", "SWITCHOVER",
        "SWITCHOVERTYPE", "ROUNDMETHOD", "ENDMETHOD", "OUTLOOKMETHOD", "AFFLAG", "PERIODSFLAG", "GROWTYPE",
        "COMPOUND", "RECALCULATE", "WHENTOPAY", "EXCLUDE", "ACTFLAG", "FORECASTFLAG", "ASSETTYPE", "TIMESCALE",
        "TIMEINFORMATION", "STARTDATE", "AVERAGESTYLE", "AVERAGEMETHOD"};
    static const std::set<std::string> counts = {
        "PERIODS", "PERIOD", "LIFE", "LENGTH", "NUMBER", "PERIODNUMBER", "FORECATPERIOD", "DURATION", "LEVEL",
        "DAYS", "PAD", "OFFSET", "PERIODSNUM", "PERIODLENGTH", "FORECASTCOVER", "FORECASTMIXPERIODS", "GROWPERIODS",
        "AGENTS", "NUMPERIODS", "AVERAGEPERIODS", "WORKINGDAYS", "CYCLE", "OVERRIDE", "CQL", "ST", "AHT"};
    static const std::set<std::string> rates = {"RATE",  "APR", "WASTAGERATE", "REDEMPTIONREATE", "GROWRATE",
                                                "ESTIMATE", "SLA", "PERCENT",   "PRECISION",       "FACTOR"};
    if (valueType == VT_STRING) {
        if (c == "PERIOD" || c == "RE_PERIOD") return Role::PeriodLabel;
        if (c == "YEAR") return Role::YearText;
        if (c == "START" || c == "STOP") return Role::MonthText;
        return Role::DateKey;
    }
    if (flags.count(c)) return Role::Flag;
    if (counts.count(c)) return Role::Count;
    if (rates.count(c)) return Role::Rate;
    return Role::Amount;
}

std::size_t InputGenerator::rowsFor(SizeClass size, std::size_t maxRows) {
    std::size_t n = 0;
    switch (size) {
        case SizeClass::Empty:
            n = 0;
            break;
        case SizeClass::One:
            n = 1;
            break;
        case SizeClass::Small:
            n = static_cast<std::size_t>(pick(2, 40));
            break;
        case SizeClass::Boundary:
            n = static_cast<std::size_t>(pick(63936, 64064));
            break;
        case SizeClass::Large:
            n = static_cast<std::size_t>(pick(150000, 300000));
            break;
    }
    return n < maxRows ? n : maxRows;
}

SizeClass InputGenerator::randomSize() {
    const int r = pick(0, 99);
    if (r < 8) return SizeClass::Empty;
    if (r < 25) return SizeClass::One;
    if (r < 93) return SizeClass::Small;
    if (r < 98) return SizeClass::Boundary;
    return SizeClass::Large;
}

double InputGenerator::number(Role role, bool hostile) {
    if (hostile && chance(0.15)) {
        static const double extremes[] = {std::numeric_limits<double>::quiet_NaN(),
                                          std::numeric_limits<double>::infinity(),
                                          -std::numeric_limits<double>::infinity(),
                                          1e300,
                                          -1e300,
                                          1e-300,
                                          -0.0,
                                          0.0,
                                          2147483648.0,
                                          -2147483649.0,
                                          4503599627370497.0,
                                          std::numeric_limits<double>::denorm_min()};
        return extremes[pick(0, static_cast<int>(std::size(extremes)) - 1)];
    }
    switch (role) {
        case Role::Flag:
            return hostile && chance(0.2) ? pick(-3, 12) : pick(0, 4);
        case Role::Count:
            return hostile && chance(0.2) ? pick(-5, 400) : pick(0, 24) + (chance(0.1) ? 0.5 : 0.0);
        case Role::Rate:
            return chance(0.5) ? pick(0, 2000) / 100.0 : pick(0, 100) / 1000.0;
        default:
            return chance(0.1) ? 0.0 : std::uniform_real_distribution<double>(-500, 5000)(rng_);
    }
}

std::string InputGenerator::text(Role role, bool hostile) {
    char buf[32];
    if (hostile && chance(0.1)) {
        static const char* junk[] = {"", "abc", "2024-03-01", " 2024031", "20241", "202413", "20240230", "00000101",
                                     "YEAR ", "year", "99999999", "2024010", "1", "FY2024", "20240102x"};
        return junk[pick(0, static_cast<int>(std::size(junk)) - 1)];
    }
    const int year = pick(2019, 2026), month = pick(1, 12), day = pick(1, 28);
    switch (role) {
        case Role::PeriodLabel: {
            const int r = pick(0, 13);
            if (r == 12) return "YEAR";
            if (r == 13) return "TOTAL";
            std::snprintf(buf, sizeof buf, "M%d", r + 1);
            return buf;
        }
        case Role::YearText:
            std::snprintf(buf, sizeof buf, "%04d", year);
            return buf;
        case Role::MonthText:
            std::snprintf(buf, sizeof buf, "%04d%02d", year, month);
            return buf;
        default:
            switch (pick(0, 5)) {
                case 0:
                    std::snprintf(buf, sizeof buf, "%04d%02d", year, month);
                    break;
                case 1:
                    std::snprintf(buf, sizeof buf, "%04d%d", year, pick(1, 4));
                    break;
                case 2:
                    std::snprintf(buf, sizeof buf, "%04d", year);
                    break;
                case 3:
                    std::snprintf(buf, sizeof buf, "%02d.%02d", day, month);
                    break;
                default:
                    std::snprintf(buf, sizeof buf, "%04d%02d%02d", year, month, day);
            }
            return buf;
    }
}

ColumnPtr InputGenerator::column(const std::string& name, Role role, int valueType, std::size_t rows, bool hostile,
                                 bool nulls) {
    ColumnPtr c = Column::make(name, valueType);
    std::vector<uint8_t> nullFlags(rows, 0);
    if (nulls)
        for (auto& f : nullFlags) f = chance(0.05) ? 1 : 0;
    if (rows == 0) return c;
    if (valueType == VT_STRING) {
        std::vector<std::string> texts(rows);
        std::vector<std::string_view> views(rows);
        // Period keys of one column follow one another in time, as real data does.
        const bool ordered = role == Role::DateKey && chance(0.7);
        int year = pick(2019, 2024), month = pick(1, 12);
        for (std::size_t i = 0; i < rows; ++i) {
            if (ordered && !(hostile && chance(0.05))) {
                char buf[16];
                std::snprintf(buf, sizeof buf, "%04d%02d", year, month);
                texts[i] = buf;
                if (++month == 13) {
                    month = 1;
                    ++year;
                }
            } else {
                texts[i] = text(role, hostile);
            }
            views[i] = texts[i];
        }
        c->setNative(0, rows, views.data(), nullFlags.data());
        return c;
    }
    std::vector<double> values(rows);
    for (double& v : values) {
        v = number(role, hostile);
        if (valueType == VT_INTEGER || valueType == VT_BOOLEAN) {
            if (!std::isfinite(v) || std::fabs(v) > 2e9) v = 0;
            v = std::trunc(v);
        }
    }
    c->setNative(0, rows, values.data(), nullFlags.data());
    return c;
}

GeneratedCall InputGenerator::make(const qelhost::FunctionInfo& fn, SizeClass size, const GeneratorOptions& options) {
    static const int anyType[] = {VT_DOUBLE, VT_DOUBLE, VT_INTEGER, VT_STRING, VT_FLOAT, VT_DECIMAL, VT_BOOLEAN};
    const bool hostile = !options.wellFormed;
    const std::size_t limit = std::min(options.maxRows, rowLimit(fn.name));
    GeneratedCall call;
    call.rows = rowsFor(size, limit);
    auto rowsOfColumn = [&] {
        if (!hostile || !chance(0.1)) return call.rows;
        return rowsFor(randomSize(), limit);
    };
    for (const qelhost::ParamInfo* p : fn.slots()) {
        if (p->isResultTable()) continue;
        if (p->isScalar()) {
            call.inputs.emplace_back(static_cast<int32_t>(
                hostile && chance(0.1) ? (chance(0.5) ? std::numeric_limits<int32_t>::min() : pick(-100, 100))
                                       : pick(0, 4)));
        } else if (p->isInputColumn()) {
            int type = p->valueType();
            if (hostile && chance(0.05)) type = anyType[pick(0, static_cast<int>(std::size(anyType)) - 1)];
            const std::string name = p->columnPart();
            call.inputs.emplace_back(
                ColumnHandle(column(name, roleOf(name, p->valueType()), type, rowsOfColumn(), hostile, hostile)));
        } else if (p->isInputTable()) {
            TablePtr t = Table::make(p->name);
            int width = p->dim > 0 ? p->dim : pick(1, 3);
            if (hostile && chance(0.1)) width = pick(0, 4);
            const std::string pattern = fn.patternOf(p);
            const bool wantsText = pattern == "S";
            const std::size_t rows = rowsOfColumn();
            for (int c = 0; c < width; ++c) {
                int type = wantsText ? VT_STRING : (chance(0.5) ? VT_INTEGER : VT_DOUBLE);
                if (hostile && chance(0.05)) type = anyType[pick(0, static_cast<int>(std::size(anyType)) - 1)];
                const std::string name = p->name + std::to_string(c);
                t->addColumn(ColumnHandle(column(name, roleOf(p->name, type), type, rows, hostile, hostile)));
            }
            call.inputs.emplace_back(TableHandle(t));
        }
    }
    // The result table: the catalogue's columns, or for a table-based function
    // a double column (DRIVER: a text column and one double per driver).
    const qelhost::ParamInfo* r = fn.resultTable();
    call.result = Table::make(r != nullptr ? r->name : "result");
    const auto resultColumns = fn.resultColumns();
    if (!resultColumns.empty()) {
        for (const qelhost::ParamInfo* c : resultColumns) {
            int type = c->valueType();
            if (hostile && chance(0.02)) type = anyType[pick(0, static_cast<int>(std::size(anyType)) - 1)];
            call.result->addColumn(ColumnHandle(Column::make(c->name, type)));
        }
    } else if (fn.name == "DRIVER") {
        call.result->addColumn(ColumnHandle(Column::make("TIME", VT_STRING)));
        std::size_t drivers = 1;
        if (!call.inputs.empty())
            if (auto* t = std::get_if<TableHandle>(&call.inputs.back())) drivers = (*t)->getColumnCount();
        for (std::size_t i = 0; i < drivers; ++i)
            call.result->addColumn(ColumnHandle(Column::make("DRIVER" + std::to_string(i), VT_DOUBLE)));
    } else {
        call.result->addColumn(ColumnHandle(Column::make("RESULT", VT_DOUBLE)));
    }
    if (hostile && chance(0.03)) call.result->addColumn(ColumnHandle(Column::make("EXTRA", VT_DOUBLE)));
    boundUnboundedInputs(fn, call);
    return call;
}

namespace {
ColumnBase* argColumn(GeneratedCall& call, std::size_t i) {
    if (i >= call.inputs.size()) return nullptr;
    auto* h = std::get_if<ColumnHandle>(&call.inputs[i]);
    return h != nullptr ? h->get() : nullptr;
}

std::vector<double> readAll(ColumnBase* c) {
    std::vector<double> v(c != nullptr ? c->size() : 0);
    if (!v.empty() && !c->getNative(0, v.size(), v.data(), nullptr)) v.assign(v.size(), 0.0);
    return v;
}

// Keeps |x| below `cap` where x is a period count (NaN becomes 0).
void capColumn(ColumnBase* c, double cap) {
    if (c == nullptr || c->getValueType() == VT_STRING) return;
    std::vector<double> v = readAll(c);
    for (double& x : v)
        if (!(std::fabs(x) <= cap)) x = 0;
    if (!v.empty()) c->setNative(0, v.size(), v.data(), nullptr);
}
}  // namespace

void boundUnboundedInputs(const qelhost::FunctionInfo& fn, GeneratedCall& call) {
    const std::string& f = fn.name;
    // Schedules write one row per period.
    if (f == "FUTURE") capColumn(argColumn(call, 0), 2000);
    if (f == "PRESENTVALUE" || f == "PAYMENT" || f == "RATE") capColumn(argColumn(call, 1), 2000);
    if (f == "LEASE" || f == "LEASEVARIABLE") capColumn(argColumn(call, 2), 2000);
    if (f != "NUMBERPERIODS") return;
    // NUMBERPERIODS: RATE, PRESENT, PAYMENT, FUTURE, METHOD. Its period search
    // has no limit; rows that would never reach FUTURE (or would need more
    // than 2000 periods) get FUTURE = PRESENT, which needs none.
    ColumnBase* cols[5];
    for (std::size_t i = 0; i < 5; ++i) cols[i] = argColumn(call, i);
    for (ColumnBase* c : cols)
        if (c == nullptr || c->getValueType() == VT_STRING) return;
    std::vector<double> rate = readAll(cols[0]), present = readAll(cols[1]), payment = readAll(cols[2]),
                        future = readAll(cols[3]), type = readAll(cols[4]);
    const std::size_t n = std::min({rate.size(), present.size(), payment.size(), future.size(), type.size()});
    for (std::size_t i = 0; i < n; ++i) {
        bool bounded = true;
        if (rate[i] == 0) {
            const double periods = std::fabs(present[i] - future[i]) / payment[i];
            bounded = !(periods > 2000);  // NaN, negative and small counts are harmless
        } else if (future[i] > present[i]) {
            double balance = present[i];
            int steps = 0;
            do {
                ++steps;
                balance = type[i] == 1 ? (balance + payment[i]) * (1 + rate[i] / 100)
                                       : balance + payment[i] + balance * rate[i] / 100;
            } while (future[i] > balance && steps <= 2000);
            bounded = steps <= 2000;
        }
        if (!bounded) future[i] = present[i];
    }
    if (n > 0 && future.size() == cols[3]->size()) cols[3]->setNative(0, future.size(), future.data(), nullptr);
}

std::size_t rowLimit(const std::string& f) {
    if (f == "INTERNALRATE") return 24;
    if (f == "NETPRESENTVALUE") return 3000;
    if (f == "NUMBERPERIODS" || f == "FUTURE" || f == "PRESENTVALUE" || f == "PAYMENT" || f == "RATE") return 20000;
    if (f == "LEASE" || f == "LEASEVARIABLE") return 20000;
    return static_cast<std::size_t>(-1);
}

}  // namespace fpkfuzz
