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
#if defined(__x86_64__)
#include <immintrin.h>
#endif

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

namespace {

double discountedSumScalar(const double* v, const double* w, std::size_t count, double a, double negLog) {
    double s = 0;
    for (std::size_t k = 0; k < count; ++k) s += v[k] * std::exp(((a + w[k]) / FPKNetPresentValue::days_year) * negLog);
    return s;
}

#if defined(__x86_64__)
// v[0..3] * exp((a + w[0..3]) * coef), see discountedSumAvx2.
__attribute__((target("avx2,fma"))) inline __m256d discountedTerms(const double* v, const double* w, __m256d va,
                                                                   __m256d coef) {
    static const double c[14] = {1.0,
                                 1.0,
                                 0.5,
                                 1.0 / 6,
                                 1.0 / 24,
                                 1.0 / 120,
                                 1.0 / 720,
                                 1.0 / 5040,
                                 1.0 / 40320,
                                 1.0 / 362880,
                                 1.0 / 3628800,
                                 1.0 / 39916800,
                                 1.0 / 479001600,
                                 1.0 / 6227020800};
    const __m256d log2e = _mm256_set1_pd(1.4426950408889634), shift = _mm256_set1_pd(6755399441055744.0);
    const __m256d ln2hi = _mm256_set1_pd(0.6931471805599453), ln2lo = _mm256_set1_pd(2.3190468138462996e-17);
    const __m256d low = _mm256_set1_pd(-708.0);
    const __m256i bias = _mm256_set1_epi64x(1023LL << 52);
    const __m256d y = _mm256_mul_pd(_mm256_add_pd(va, _mm256_loadu_pd(w)), coef);
    const __m256d keep = _mm256_cmp_pd(y, low, _CMP_GE_OQ);
    const __m256d yc = _mm256_max_pd(y, low);
    __m256d kd = _mm256_fmadd_pd(yc, log2e, shift);
    const __m256i kb = _mm256_castpd_si256(kd);
    kd = _mm256_sub_pd(kd, shift);
    __m256d r = _mm256_fnmadd_pd(kd, ln2hi, yc);
    r = _mm256_fnmadd_pd(kd, ln2lo, r);
    __m256d p = _mm256_set1_pd(c[13]);
    for (int i = 12; i >= 0; --i) p = _mm256_fmadd_pd(p, r, _mm256_set1_pd(c[i]));
    const __m256d scale = _mm256_castsi256_pd(_mm256_add_epi64(_mm256_slli_epi64(kb, 52), bias));
    return _mm256_mul_pd(_mm256_loadu_pd(v), _mm256_and_pd(_mm256_mul_pd(p, scale), keep));
}

// Four terms at a time. exp(y) = 2^k e^r with k = round(y / ln 2) and
// |r| <= ln 2 / 2, e^r from its Taylor series to r^13 (the first term left
// out is below 5e-18 of e^r). Arguments below -708 (factors below 1e-307)
// give 0. Requires negLog <= 0 and a + w >= -days_year, so that y <= 1.
__attribute__((target("avx2,fma"))) double discountedSumAvx2(const double* v, const double* w, std::size_t count,
                                                             double a, double negLog) {
    const __m256d va = _mm256_set1_pd(a);
    // y = (a + w) * (negLog / 365): one rounding more than the scalar
    // ((a + w) / 365) * negLog, far below the precision of the sum.
    const __m256d coef = _mm256_set1_pd(negLog / 365.0);
    __m256d acc0 = _mm256_setzero_pd(), acc1 = _mm256_setzero_pd();
    std::size_t k = 0;
    for (; k + 8 <= count; k += 8) {
        acc0 = _mm256_add_pd(acc0, discountedTerms(v + k, w + k, va, coef));
        acc1 = _mm256_add_pd(acc1, discountedTerms(v + k + 4, w + k + 4, va, coef));
    }
    for (; k + 4 <= count; k += 4) acc0 = _mm256_add_pd(acc0, discountedTerms(v + k, w + k, va, coef));
    const __m256d acc = _mm256_add_pd(acc0, acc1);
    alignas(32) double lanes[4];
    _mm256_store_pd(lanes, acc);
    double s = (lanes[0] + lanes[1]) + (lanes[2] + lanes[3]);
    return s + discountedSumScalar(v + k, w + k, count - k, a, negLog);
}

bool hasAvx2() {
    static const bool yes = __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma");
    return yes;
}

bool hasAvx512() {
    static const bool yes = __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512dq");
    return yes;
}

// 2^(i/32), i = 0..31, each rounded once from long double.
struct Exp2Table {
    alignas(64) double v[32];
    Exp2Table() {
        for (int i = 0; i < 32; ++i) v[i] = static_cast<double>(std::exp2(static_cast<long double>(i) / 32));
    }
};
const Exp2Table& exp2Table() {
    static const Exp2Table t;
    return t;
}

// The compiler's AVX-512 intrinsics start from deliberately undefined
// registers, which its uninitialised-use warnings flag.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wuninitialized"
#if !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif
// vv * exp((va + ww) * coef) lane by lane, see discountedSumAvx512.
__attribute__((target("avx512f,avx512dq"))) inline __m512d discountedTerms8(__m512d vv, __m512d ww, __m512d va,
                                                                            __m512d coef,
                                                                            const __m512d (&table)[4]) {
    const __m512d log2e32 = _mm512_set1_pd(1.4426950408889634 * 32), shift = _mm512_set1_pd(6755399441055744.0);
    const __m512d ln2hi = _mm512_set1_pd(0.6931471805599453 / 32), ln2lo = _mm512_set1_pd(2.3190468138462996e-17 / 32);
    const __m512d low = _mm512_set1_pd(-708.0);
    const __m512d y = _mm512_mul_pd(_mm512_add_pd(va, ww), coef);
    const __mmask8 keep = _mm512_cmp_pd_mask(y, low, _CMP_GE_OQ);
    const __m512d yc = _mm512_max_pd(y, low);
    __m512d kd = _mm512_fmadd_pd(yc, log2e32, shift);
    const __m512i kb = _mm512_castpd_si512(kd);
    kd = _mm512_sub_pd(kd, shift);
    __m512d r = _mm512_fnmadd_pd(kd, ln2hi, yc);
    r = _mm512_fnmadd_pd(kd, ln2lo, r);
    // e^r - 1 to r^6 (|r| <= ln 2 / 64: the first term left out is below 3e-18).
    __m512d p = _mm512_set1_pd(1.0 / 720);
    p = _mm512_fmadd_pd(p, r, _mm512_set1_pd(1.0 / 120));
    p = _mm512_fmadd_pd(p, r, _mm512_set1_pd(1.0 / 24));
    p = _mm512_fmadd_pd(p, r, _mm512_set1_pd(1.0 / 6));
    p = _mm512_fmadd_pd(p, r, _mm512_set1_pd(0.5));
    p = _mm512_fmadd_pd(p, r, _mm512_set1_pd(1.0));
    p = _mm512_mul_pd(p, r);
    // 2^((k mod 32) / 32) from the table held in four registers (the low
    // five bits of kb are k mod 32), times 2^floor(k / 32) added to the
    // exponent.
    const __m512d lo = _mm512_permutex2var_pd(table[0], kb, table[1]);
    const __m512d hi = _mm512_permutex2var_pd(table[2], kb, table[3]);
    const __m512d t = _mm512_mask_blend_pd(_mm512_test_epi64_mask(kb, _mm512_set1_epi64(16)), lo, hi);
    const __m512i ex = _mm512_slli_epi64(_mm512_srli_epi64(kb, 5), 52);
    const __m512d scale = _mm512_castsi512_pd(_mm512_add_epi64(_mm512_castpd_si512(t), ex));
    return _mm512_maskz_mul_pd(keep, vv, _mm512_fmadd_pd(scale, p, scale));
}

// Eight terms at a time. exp(y) = 2^(k/32) e^r with k = round(32 y / ln 2)
// and |r| <= ln 2 / 64: 2^(k/32) from a table of 32 powers and the exponent,
// e^r from its Taylor series to r^6. Arguments below -708 give 0. Same
// requirements as discountedSumAvx2.
__attribute__((target("avx512f,avx512dq"))) double discountedSumAvx512(const double* v, const double* w,
                                                                       std::size_t count, double a, double negLog) {
    const double* tv = exp2Table().v;
    const __m512d table[4] = {_mm512_load_pd(tv), _mm512_load_pd(tv + 8), _mm512_load_pd(tv + 16),
                              _mm512_load_pd(tv + 24)};
    const __m512d va = _mm512_set1_pd(a);
    const __m512d coef = _mm512_set1_pd(negLog / 365.0);
    __m512d acc0 = _mm512_setzero_pd(), acc1 = _mm512_setzero_pd();
    std::size_t k = 0;
    for (; k + 16 <= count; k += 16) {
        acc0 = _mm512_add_pd(acc0, discountedTerms8(_mm512_loadu_pd(v + k), _mm512_loadu_pd(w + k), va, coef, table));
        acc1 = _mm512_add_pd(
            acc1, discountedTerms8(_mm512_loadu_pd(v + k + 8), _mm512_loadu_pd(w + k + 8), va, coef, table));
    }
    for (; k + 8 <= count; k += 8)
        acc0 = _mm512_add_pd(acc0, discountedTerms8(_mm512_loadu_pd(v + k), _mm512_loadu_pd(w + k), va, coef, table));
    if (k < count) {
        // The last one to seven terms: the lanes beyond the end read as
        // value 0 and time 0, which adds 0.
        const __mmask8 rest = static_cast<__mmask8>((1u << (count - k)) - 1);
        acc1 = _mm512_add_pd(acc1, discountedTerms8(_mm512_maskz_loadu_pd(rest, v + k),
                                                    _mm512_maskz_loadu_pd(rest, w + k), va, coef, table));
    }
    return _mm512_reduce_add_pd(_mm512_add_pd(acc0, acc1));
}
#pragma GCC diagnostic pop
#endif

}  // namespace

double discountedSum(const double* v, const double* w, std::size_t count, double a, double negLog) {
#if defined(__x86_64__)
    if (hasAvx512()) return discountedSumAvx512(v, w, count, a, negLog);
    if (hasAvx2()) return discountedSumAvx2(v, w, count, a, negLog);
#endif
    return discountedSumScalar(v, w, count, a, negLog);
}

double rowValueExact(const double* values, const double* times, const double* first, const double* prefix,
                     std::size_t n, std::size_t i, double rate) {
    if (i + 1 >= n) return values[i];
    const double a = first[i] - prefix[i + 1];
    return values[i] + discountedSum(values + i + 1, times + i + 1, n - i - 1, a, -std::log(1.0 + rate));
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
    // With whole day counts every time is formed exactly from prefix sums:
    // t(i, j) = (first[i] - prefix[i + 1] + times[j]) / 365.
    const bool wholeDays = n > 0 && npv::UniformRate::daysApply(days.data(), first.data(), later.data(), n);
    FpkVector<double> prefix = makeVector<double>(alloc, wholeDays ? n + 1 : 0);
    FpkVector<double> times = makeVector<double>(alloc, wholeDays ? n : 0);
    if (wholeDays) {
        npv::UniformRate::prefixSums(days.data(), n, prefix.data());
        for (std::size_t j = 0; j < n; ++j) times[j] = prefix[j] + later[j];
    }
    // Rows sharing a rate are summed block-wise, one set of suffix sums per
    // distinct rate, when the rates are few enough for that to pay (each set
    // costs one pass over the series); other rows are summed directly.
    FpkVector<double> distinct = makeVector<double>(alloc);
    if (wholeDays) {
        distinct.assign(rate.begin(), rate.end());
        distinct.erase(std::remove_if(distinct.begin(), distinct.end(),
                                      [](double r) { return !npv::UniformRate::rateApplies(r); }),
                       distinct.end());
        std::sort(distinct.begin(), distinct.end());
        distinct.erase(std::unique(distinct.begin(), distinct.end()), distinct.end());
        if (distinct.size() > std::max<std::size_t>(1, n / 64)) distinct.clear();
    }
    FpkVector<double> tails = makeVector<double>(alloc, distinct.size() * npv::UniformRate::tailCount(n));
    FpkVector<npv::UniformRate> groups(FpkAllocator<npv::UniformRate>{alloc});
    if (!distinct.empty()) {
        groups.reserve(distinct.size());
        for (std::size_t g = 0; g < distinct.size(); ++g)
            groups.emplace_back(values.data(), days.data(), first.data(), later.data(), n, distinct[g], prefix.data(),
                                tails.data() + g * npv::UniformRate::tailCount(n));
    }
    auto row = [&](std::size_t i) {
        const auto g = std::lower_bound(distinct.begin(), distinct.end(), rate[i]);
        if (g != distinct.end() && *g == rate[i])
            out[i] = groups[static_cast<std::size_t>(g - distinct.begin())].rowValue(i);
        else if (wholeDays && npv::UniformRate::rateApplies(rate[i]))
            out[i] = npv::rowValueExact(values.data(), times.data(), first.data(), prefix.data(), n, i, rate[i]);
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
