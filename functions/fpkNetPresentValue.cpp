// NETPRESENTVALUE.
//
// Every row's value is the row's own cash flow plus every later one
// discounted at the row's rate, so a series of n rows sums n(n-1)/2 terms.
// Rows are independent and run as column jobs. When all rows share one rate
// the sums are formed block-wise from suffix sums instead (see
// npv::UniformRate), which costs a fixed number of terms per row and forms
// every exponent exactly as the direct sum does.
#include "fpkNetPresentValue.h"

#include <algorithm>
#include <cmath>

#include "../common/fpkAllocator.h"
#include "../common/fpkColumnIO.h"
#include "../common/fpkCommonCode.h"
#include "../common/fpkDefines.h"
#include "../common/fpkTrace.h"
#include "../interface/FPKQELInterfaces.h"

namespace businessFunctions {

namespace {
FPK_FUNCTION_ALLOCATOR(netPresentValueAllocator, "NetPresentValueAllocator")
}  // namespace

const double FPKNetPresentValue::days_year = 365.0;
const double FPKNetPresentValue::days_month[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};

void FPKNetPresentValue::convert2Flag(double flag, FlagType& eFlag, const char* flagName) {
    const double f = std::trunc(flag);
    if (f == 1) eFlag = START;
    else if (f == 2) eFlag = MID;
    else if (f == 3) eFlag = END;
    else if (f == 4) eFlag = USER;
    else FPK_RAISE(ERR_FPK_COMM_INVALID_COL_VALUE, {"COL", flagName}, {"APPEND", "flag type is not in (1,2,3,4)"});
}

bool FPKNetPresentValue::parsePayDate(std::string_view text, int& day, int& month) {
    if (text.size() < 5) return false;
    auto digit = [](char c) { return c >= '0' && c <= '9'; };
    if (!digit(text[0]) || !digit(text[1]) || !digit(text[3]) || !digit(text[4])) return false;
    day = (text[0] - '0') * 10 + (text[1] - '0');
    month = (text[3] - '0') * 10 + (text[4] - '0');
    return month >= 1 && month <= 12 && day >= 1 && day <= 31;
}

void FPKNetPresentValue::calculate_days(bool first, FlagType flag, double days, int day, int month, double& out) {
    switch (flag) {
        case MID: out = days * 0.5; return;
        case START: out = first ? days : 0; return;
        case END: out = first ? 0 : days; return;
        case USER: break;
    }
    const double q = std::trunc(days_year / days);
    const double dd = day;
    const int mm = month;
    if (q >= 10 && q <= 14) {
        // Monthly periods.
        out = first ? days - dd : dd;
    } else if (q >= 3 && q <= 5) {
        // Quarterly periods: to the quarter's end, or (deliberately) from the
        // month numbered like the quarter, so May counts February to April.
        if (first) {
            double sum = days_month[mm - 1] - dd;
            for (int k = mm; k < 3 * ((mm - 1) / 3) + 3; ++k) sum += days_month[k];
            out = sum;
        } else {
            double sum = dd;
            for (int k = (mm - 1) / 3; k < mm - 1; ++k) sum += days_month[k];
            out = sum;
        }
    } else if (days == days_year) {
        // Yearly periods: to the year's end, or since 1 January.
        if (first) {
            double sum = days_month[mm - 1] - dd;
            for (int k = mm; k < 12; ++k) sum += days_month[k];
            out = sum;
        } else {
            double sum = dd;
            for (int k = 0; k < mm - 1; ++k) sum += days_month[k];
            out = sum;
        }
    }
}

namespace npv {

void chainTimes(const double* days, const double* first, const double* later, std::size_t a, std::size_t end,
                double* pows) {
    if (a >= end) return;
    pows[0] = 0;
    double d = first[a];
    for (std::size_t j = a + 1; j < end; ++j) {
        pows[j - a] = (d + later[j]) / FPKNetPresentValue::days_year;
        d += days[j];
    }
}

double rowValue(const double* values, const double* days, const double* first, const double* later, std::size_t n,
                std::size_t i, double rate) {
    double result = values[i];
    double d = first[i];
    const double base = 1.0 + rate;
    if (base > 0 && std::isfinite(base)) {
        // (1 + rate)^t = exp(t log(1 + rate)), with the logarithm taken once.
        const double negLog = -std::log(base);
        for (std::size_t j = i + 1; j < n; ++j) {
            const double t = (d + later[j]) / FPKNetPresentValue::days_year;
            result += values[j] * std::exp(t * negLog);
            d += days[j];
        }
    } else {
        for (std::size_t j = i + 1; j < n; ++j) {
            const double t = (d + later[j]) / FPKNetPresentValue::days_year;
            result += values[j] / std::pow(base, t);
            d += days[j];
        }
    }
    return result;
}

bool UniformRate::rateApplies(double rate) { return rate >= 0 && std::isfinite(rate); }

void UniformRate::prefixSums(const double* days, std::size_t n, double* prefix) {
    prefix[0] = 0;
    for (std::size_t k = 0; k < n; ++k) prefix[k + 1] = prefix[k] + days[k];
}

bool UniformRate::daysApply(const double* days, const double* first, const double* later, std::size_t n) {
    double total = 0;
    for (std::size_t j = 0; j < n; ++j) {
        const double d = days[j];
        if (!(d >= 0 && d <= 1099511627776.0) || d != std::trunc(d)) return false;
        if (!std::isfinite(first[j]) || !std::isfinite(later[j])) return false;
        total += d;
    }
    return total <= 1125899906842624.0;  // 2^50: every partial sum is exact
}

UniformRate::UniformRate(const double* values, const double* days, const double* first, const double* later,
                         std::size_t n, double rate, const double* prefix, double* tails)
    : values_(values), days_(days), first_(first), later_(later), n_(n), logBase_(std::log(1.0 + rate)),
      prefix_(prefix), tails_(tails) {
    const std::size_t blocks = (n + kBlock - 1) / kBlock;
    tails[blocks] = 0;
    for (std::size_t b = blocks; b-- > 0;) {
        const std::size_t c = b * kBlock;
        const std::size_t d = std::min(n, c + kBlock);
        double local = 0;
        for (std::size_t j = c; j < d; ++j) {
            const double t = (prefix[j] + later[j] - prefix[c]) / FPKNetPresentValue::days_year;
            local += values[j] * std::exp(-t * logBase_);
        }
        const double span = (prefix[d] - prefix[c]) / FPKNetPresentValue::days_year;
        tails[b] = local + std::exp(-span * logBase_) * tails[b + 1];
    }
}

double UniformRate::rowValue(std::size_t i) const {
    const std::size_t b = i / kBlock;
    const std::size_t d = std::min(n_, (b + 1) * kBlock);
    double result = values_[i];
    double acc = first_[i];
    for (std::size_t j = i + 1; j < d; ++j) {
        const double t = (acc + later_[j]) / FPKNetPresentValue::days_year;
        result += values_[j] * std::exp(-t * logBase_);
        acc += days_[j];
    }
    // Everything from the next block on, discounted from its start.
    const double t = (first_[i] + prefix_[d] - prefix_[i + 1]) / FPKNetPresentValue::days_year;
    return result + std::exp(-t * logBase_) * tails_[b + 1];
}

}  // namespace npv

void FPKNetPresentValue::execute() {
    traceInfo(TRACE_FPKNETPRESENTVALUE, "Information: FPKNetPresentValue::execute() begin");
    Verifier::verify(rateCol, "d");
    Verifier::verify(valuesCol, "d");
    Verifier::verify(flagCol, "d");
    Verifier::verify(daysCol, "d");
    Verifier::verify(result, "d");
    execute_netPresentValue(netPresentValueAllocator());
}

void FPKNetPresentValue::execute_netPresentValue(RhoUtils::Allocator& alloc) {
    const std::size_t n = valuesCol->size();
    const FpkVector<double> flagValues =
        readDoubles(flagCol, 0, n, alloc, {TRACE_FPKNETPRESENTVALUE, "flagCol->getNative failed."});
    FpkVector<FlagType> flags = makeVector<FlagType>(alloc, n, END);
    bool anyUser = false;
    for (std::size_t i = 0; i < n; ++i) {
        convert2Flag(flagValues[i], flags[i], flagCol->getName());
        anyUser = anyUser || flags[i] == USER;
    }
    FpkVector<int> day = makeVector<int>(alloc, n), month = makeVector<int>(alloc, n);
    if (anyUser) {
        Verifier::verify(paydateCol, "S");
        const FpkVector<std::string_view> dates =
            readTexts(paydateCol, 0, n, alloc, {TRACE_FPKNETPRESENTVALUE, "paydateCol->getNative failed."});
        for (std::size_t i = 0; i < n; ++i)
            if (flags[i] == USER && !parsePayDate(dates[i], day[i], month[i]))
                FPK_RAISE(ERR_FPK_COMM_INVALID_COL_VALUE, {"COL", paydateCol->getName()},
                          {"APPEND", "Pay date should be DD.MM with a day in 1..31 and a month in 1..12"});
    }
    const FpkVector<double> values =
        readDoubles(valuesCol, 0, n, alloc, {TRACE_FPKNETPRESENTVALUE, "The value of valuescol is empty!"});
    const FpkVector<double> rate =
        readDoubles(rateCol, 0, n, alloc, {TRACE_FPKNETPRESENTVALUE, "The value of ratecol is empty!"});
    const FpkVector<double> days =
        readDoubles(daysCol, 0, n, alloc, {TRACE_FPKNETPRESENTVALUE, "The value of dayscol is empty!"});

    // Each row's part period as the start of a chain and as a later row.
    FpkVector<double> first = makeVector<double>(alloc, n), later = makeVector<double>(alloc, n);
    for (std::size_t i = 0; i < n; ++i) {
        calculate_days(true, flags[i], days[i], day[i], month[i], first[i]);
        calculate_days(false, flags[i], days[i], day[i], month[i], later[i]);
    }

    FpkVector<double> out = makeVector<double>(alloc, n);
    // Rows sharing a rate are summed block-wise, one set of suffix sums per
    // distinct rate, when the rates are few enough for that to pay (each set
    // costs one pass over the series); other rows are summed directly.
    FpkVector<double> distinct = makeVector<double>(alloc);
    if (n > 0 && npv::UniformRate::daysApply(days.data(), first.data(), later.data(), n)) {
        distinct.assign(rate.begin(), rate.end());
        distinct.erase(std::remove_if(distinct.begin(), distinct.end(),
                                      [](double r) { return !npv::UniformRate::rateApplies(r); }),
                       distinct.end());
        std::sort(distinct.begin(), distinct.end());
        distinct.erase(std::unique(distinct.begin(), distinct.end()), distinct.end());
        if (distinct.size() > std::max<std::size_t>(1, n / 64)) distinct.clear();
    }
    FpkVector<double> prefix = makeVector<double>(alloc, distinct.empty() ? 0 : n + 1);
    FpkVector<double> tails = makeVector<double>(alloc, distinct.size() * npv::UniformRate::tailCount(n));
    FpkVector<npv::UniformRate> groups(FpkAllocator<npv::UniformRate>{alloc});
    if (!distinct.empty()) {
        npv::UniformRate::prefixSums(days.data(), n, prefix.data());
        groups.reserve(distinct.size());
        for (std::size_t g = 0; g < distinct.size(); ++g)
            groups.emplace_back(values.data(), days.data(), first.data(), later.data(), n, distinct[g], prefix.data(),
                                tails.data() + g * npv::UniformRate::tailCount(n));
    }
    auto row = [&](std::size_t i) {
        const auto g = std::lower_bound(distinct.begin(), distinct.end(), rate[i]);
        if (g != distinct.end() && *g == rate[i])
            out[i] = groups[static_cast<std::size_t>(g - distinct.begin())].rowValue(i);
        else
            out[i] = npv::rowValue(values.data(), days.data(), first.data(), later.data(), n, i, rate[i]);
    };
    const std::size_t work = distinct.size() == 0 ? n / 2 : npv::UniformRate::kBlock / 2;
    npv::runFoldedRows(alloc, row, n, work, "NetPresentValue", __FILE__, __LINE__);
    writeDoubles(tableColumn(result, 0), out.data(), n, {TRACE_FPKNETPRESENTVALUE, "resultCol->setNative failed."});
}

void qelNetPresentValue(const ColumnHandle& rate, const ColumnHandle& values, const ColumnHandle& flag,
                        const ColumnHandle& paydate, const ColumnHandle& days, TableHandle& result) {
    FPKNetPresentValue fn(rate.get(), values.get(), flag.get(), paydate.get(), days.get(), result.get());
    fn.execute();
}

}  // namespace businessFunctions
