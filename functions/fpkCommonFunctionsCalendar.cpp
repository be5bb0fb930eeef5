// DAYS and PROPORTION: day counts of periods and shares of a year.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string_view>

#include <immintrin.h>

#include "../common/fpkAllocator.h"
#include "../common/fpkColumnIO.h"
#include "../common/fpkColumnJob.h"
#include "../common/fpkCommon.h"
#include "../common/fpkCommonCode.h"
#include "../common/fpkDefines.h"
#include "../common/fpkIsaDispatch.h"
#include "../common/fpkTrace.h"
#include "../interface/FPKQELInterfaces.h"
#include "fpkCommonFunctions.h"

namespace businessFunctions {

namespace {
FPK_FUNCTION_ALLOCATOR(daysAllocator, "DaysAllocator")
FPK_FUNCTION_ALLOCATOR(proportionAllocator, "ProportionAllocator")
}  // namespace

namespace series {

int leadingNumber(std::string_view text, std::size_t begin, std::size_t length) {
    int value = 0;
    for (std::size_t i = begin; i < begin + length && i < text.size(); ++i) {
        const char c = text[i];
        if (c < '0' || c > '9') break;
        value = value * 10 + (c - '0');
    }
    return value;
}

long long dayNumber(int year, int month, int day) { return businessFunctions::dayNumber(year, month, day); }

long long workingDays(long long from, long long days, int perWeek) {
    const long long q = days / 7, r = days % 7, w = from % 7;
    long long count = q * perWeek;
    for (long long j = 0; j < r; ++j)
        if ((w + j) % 7 < perWeek) ++count;
    return count;
}

namespace {
// Eight leading digits of a date text as one little-endian word (character 1
// in the low byte); texts shorter than eight characters read as "00000000",
// whose year 0 the fast check refuses.
FPK_KERNEL uint64_t firstEight(std::string_view text) {
    static constexpr char kZeros[8] = {'0', '0', '0', '0', '0', '0', '0', '0'};
    uint64_t v;
    std::memcpy(&v, text.size() >= 8 ? text.data() : kZeros, sizeof v);
    return v;
}

struct FastDate {
    uint32_t day;  // day number
    bool valid;    // eight digits forming a date of year 1 or later
};

// Reads eight digit characters YYYYMMDD at once: a digit test on all bytes,
// then pairs of digits, then year, month and day; the day number counts from
// 1 March of year 0 (March-first years put the leap day last), shifted to
// the day number of 0001-01-01 = 0. Divisions are multiply-shifts exact over
// the ranges met here.
FPK_KERNEL FastDate fastDate(uint64_t v) {
    const bool digits = (((v + 0x4646464646464646ull) | (v - 0x3030303030303030ull)) & 0x8080808080808080ull) == 0;
    const uint64_t d = v - 0x3030303030303030ull;
    const uint64_t pairs = (d * 10 + (d >> 8)) & 0x00FF00FF00FF00FFull;
    const uint32_t year = static_cast<uint32_t>(pairs & 0xFF) * 100 + static_cast<uint32_t>((pairs >> 16) & 0xFF);
    const uint32_t month = static_cast<uint32_t>((pairs >> 32) & 0xFF);
    const uint32_t day = static_cast<uint32_t>((pairs >> 48) & 0xFF);
    const uint32_t century = (year * 5243) >> 19;  // year / 100 for year < 43699
    const bool leap = (year & 3) == 0 && (year != century * 100 || (century & 3) == 0);
    const uint32_t length = month == 2 ? 28 + (leap ? 1 : 0) : 30 + ((month ^ (month >> 3)) & 1);
    const bool valid = digits & (year >= 1) & (month - 1 < 12) & (day - 1 < length);
    const uint32_t early = month <= 2 ? 1 : 0;
    const uint32_t y = year - early, m = month + 12 * early - 3;  // March-first year and month (0 = March)
    const uint32_t c = (y * 5243) >> 19;
    const uint32_t daysBefore = ((153 * m + 2) * 52429) >> 18;  // (153m + 2) / 5: days of the months before
    return {365 * y + (y >> 2) - c + (c >> 2) + daysBefore + day - 1 - 306, valid};
}

FPK_KERNEL void fastSpansScalarKernel(const std::string_view* from, const std::string_view* to, const unsigned char* fromNull,
                                const unsigned char* toNull, std::size_t n, uint32_t* spans) {
    for (std::size_t i = 0; i < n; ++i) {
        const bool missing = (fromNull[i] | toNull[i]) != 0 || from[i].empty() || to[i].empty();
        const FastDate f = fastDate(firstEight(from[i])), t = fastDate(firstEight(to[i]));
        const uint32_t weekday = f.day - ((static_cast<uint64_t>(f.day) * 613566757u) >> 32) * 7;
        const uint32_t span = (t.day - f.day) * 8 + weekday;
        spans[i] = missing ? kSpanNull : (f.valid & t.valid & (t.day >= f.day)) ? span : kSpanSlow;
    }
}

// GCC's 512-bit shift and multiply intrinsics start from an undefined
// vector, which it reports as maybe uninitialised once they are inlined.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wuninitialized"
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
// The same fast reading for eight rows at a time in 64-bit lanes: the eight
// characters of each text come in by one gather, the arithmetic is that of
// fastDate with multiplies of 32-bit halves.
FPK_TARGET_AVX512 inline __m512i fastDates8(__m512i v, __mmask8& valid) {
    const __m512i test = _mm512_or_si512(_mm512_add_epi64(v, _mm512_set1_epi64(0x4646464646464646ll)),
                                         _mm512_sub_epi64(v, _mm512_set1_epi64(0x3030303030303030ll)));
    const __mmask8 digits = _mm512_testn_epi64_mask(test, _mm512_set1_epi64(static_cast<long long>(0x8080808080808080ull)));
    const __m512i d = _mm512_sub_epi64(v, _mm512_set1_epi64(0x3030303030303030ll));
    const __m512i tens = _mm512_add_epi64(_mm512_slli_epi64(d, 3), _mm512_slli_epi64(d, 1));
    const __m512i pairs =
        _mm512_and_si512(_mm512_add_epi64(tens, _mm512_srli_epi64(d, 8)), _mm512_set1_epi64(0x00FF00FF00FF00FFll));
    // 16-bit pairs (p0, p1, p2, p3) times (100, 1, 0, 0), summed in 32-bit halves: the year.
    const __m512i year = _mm512_madd_epi16(pairs, _mm512_set1_epi64(0x0000000000010064ll));
    const __m512i month = _mm512_and_si512(_mm512_srli_epi64(pairs, 32), _mm512_set1_epi64(0xFF));
    const __m512i day = _mm512_srli_epi64(pairs, 48);
    const __m512i century = _mm512_srli_epi64(_mm512_mul_epu32(year, _mm512_set1_epi64(5243)), 19);
    const __mmask8 leap = _mm512_testn_epi64_mask(year, _mm512_set1_epi64(3)) &
                          (_mm512_cmpneq_epu64_mask(year, _mm512_mul_epu32(century, _mm512_set1_epi64(100))) |
                           _mm512_testn_epi64_mask(century, _mm512_set1_epi64(3)));
    const __mmask8 february = _mm512_cmpeq_epu64_mask(month, _mm512_set1_epi64(2));
    __m512i length = _mm512_add_epi64(
        _mm512_set1_epi64(30), _mm512_and_si512(_mm512_xor_si512(month, _mm512_srli_epi64(month, 3)), _mm512_set1_epi64(1)));
    length = _mm512_mask_mov_epi64(length, february, _mm512_set1_epi64(28));
    length = _mm512_mask_add_epi64(length, february & leap, length, _mm512_set1_epi64(1));
    const __m512i one = _mm512_set1_epi64(1);
    valid = digits & _mm512_cmpge_epu64_mask(year, one) &
            _mm512_cmplt_epu64_mask(_mm512_sub_epi64(month, one), _mm512_set1_epi64(12)) &
            _mm512_cmplt_epu64_mask(_mm512_sub_epi64(day, one), length);
    const __mmask8 early = _mm512_cmple_epu64_mask(month, _mm512_set1_epi64(2));
    const __m512i y = _mm512_mask_sub_epi64(year, early, year, one);
    const __m512i m0 = _mm512_sub_epi64(month, _mm512_set1_epi64(3));
    const __m512i m = _mm512_mask_add_epi64(m0, early, m0, _mm512_set1_epi64(12));
    const __m512i c = _mm512_srli_epi64(_mm512_mul_epu32(y, _mm512_set1_epi64(5243)), 19);
    const __m512i monthDays = _mm512_add_epi64(_mm512_mul_epu32(m, _mm512_set1_epi64(153)), _mm512_set1_epi64(2));
    const __m512i before = _mm512_srli_epi64(_mm512_mul_epu32(monthDays, _mm512_set1_epi64(52429)), 18);
    __m512i n = _mm512_mul_epu32(y, _mm512_set1_epi64(365));
    n = _mm512_add_epi64(n, _mm512_sub_epi64(_mm512_srli_epi64(y, 2), c));
    n = _mm512_add_epi64(n, _mm512_add_epi64(_mm512_srli_epi64(c, 2), before));
    return _mm512_sub_epi64(_mm512_add_epi64(n, day), _mm512_set1_epi64(307));
}

FPK_TARGET_AVX512 void fastSpansVector(const std::string_view* from, const std::string_view* to,
                                       const unsigned char* fromNull, const unsigned char* toNull, std::size_t n,
                                       uint32_t* spans) {
    const __m512i sizes = _mm512_setr_epi64(0, 2, 4, 6, 8, 10, 12, 14), pointers = _mm512_setr_epi64(1, 3, 5, 7, 9, 11, 13, 15);
    const __m512i zeros = _mm512_set1_epi64(0x3030303030303030ll), eight = _mm512_set1_epi64(8);
    std::size_t i = 0;
    for (; i + 8 <= n; i += 8) {
        const __m512i f0 = _mm512_loadu_si512(from + i), f1 = _mm512_loadu_si512(from + i + 4);
        const __m512i t0 = _mm512_loadu_si512(to + i), t1 = _mm512_loadu_si512(to + i + 4);
        const __m512i fSize = _mm512_permutex2var_epi64(f0, sizes, f1), tSize = _mm512_permutex2var_epi64(t0, sizes, t1);
        const __m512i fText = _mm512_mask_i64gather_epi64(zeros, _mm512_cmpge_epu64_mask(fSize, eight),
                                                          _mm512_permutex2var_epi64(f0, pointers, f1), nullptr, 1);
        const __m512i tText = _mm512_mask_i64gather_epi64(zeros, _mm512_cmpge_epu64_mask(tSize, eight),
                                                          _mm512_permutex2var_epi64(t0, pointers, t1), nullptr, 1);
        uint64_t fn, tn;
        std::memcpy(&fn, fromNull + i, 8);
        std::memcpy(&tn, toNull + i, 8);
        const __m128i nulls = _mm_cvtsi64_si128(static_cast<long long>(fn | tn));
        const __mmask8 missing = static_cast<__mmask8>(_mm_test_epi8_mask(nulls, nulls)) |
                                 _mm512_testn_epi64_mask(fSize, fSize) | _mm512_testn_epi64_mask(tSize, tSize);
        __mmask8 fValid, tValid;
        const __m512i f = fastDates8(fText, fValid), t = fastDates8(tText, tValid);
        const __m512i week = _mm512_srli_epi64(_mm512_mul_epu32(f, _mm512_set1_epi64(613566757)), 32);
        const __m512i weekday = _mm512_sub_epi64(f, _mm512_mul_epu32(week, _mm512_set1_epi64(7)));
        const __m512i span = _mm512_add_epi64(_mm512_slli_epi64(_mm512_sub_epi64(t, f), 3), weekday);
        const __mmask8 ok = fValid & tValid & _mm512_cmpge_epu64_mask(t, f);
        __m512i out = _mm512_mask_mov_epi64(_mm512_set1_epi64(kSpanSlow), ok, span);
        out = _mm512_mask_mov_epi64(out, missing, _mm512_set1_epi64(kSpanNull));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(spans + i), _mm512_cvtepi64_epi32(out));
    }
    fastSpansScalarKernel(from + i, to + i, fromNull + i, toNull + i, n - i, spans + i);
}

#pragma GCC diagnostic pop

// Whether a string_view holds its size and then its pointer, the order the
// vector loop reads them in.
bool viewsAreSizeThenPointer() {
    static const bool yes = [] {
        static const char text[] = "ab";
        const std::string_view view(text, 2);
        uint64_t words[2];
        std::memcpy(words, &view, sizeof words);
        return words[0] == 2 && words[1] == reinterpret_cast<uintptr_t>(text);
    }();
    return yes;
}

// count = f(w + D) - f(w) with f(x) = (x / 7) k + min(x mod 7, k), the days
// of weekday below k in [0, x); k = 7 counts every day.
FPK_KERNEL void spanCountsKernel(const uint32_t* spans, const double* config, std::size_t n, double* out,
                                 unsigned char* outNull) {
    for (std::size_t i = 0; i < n; ++i) {
        const uint32_t s = spans[i];
        const double c = config[i];
        const uint32_t k = (c >= 1 && c < 7) ? static_cast<uint32_t>(static_cast<int32_t>(c)) : 7;
        const uint32_t w = s & 7, x = (s >> 3) + w;
        const uint32_t q = static_cast<uint32_t>((static_cast<uint64_t>(x) * 613566757u) >> 32);
        const uint32_t r = x - 7 * q;
        const uint32_t count = q * k + std::min(r, k) - std::min(w, k);
        const bool null = s == kSpanNull;
        out[i] = null ? 0.0 : static_cast<double>(count);
        outNull[i] = null ? 1 : 0;
    }
}
}  // namespace

FPK_DISPATCHED(void, fastSpansScalar,
               (const std::string_view* from, const std::string_view* to, const unsigned char* fromNull,
                const unsigned char* toNull, std::size_t n, uint32_t* spans),
               (from, to, fromNull, toNull, n, spans))

void fastSpans(const std::string_view* from, const std::string_view* to, const unsigned char* fromNull,
               const unsigned char* toNull, std::size_t n, uint32_t* spans) {
    if (isa::currentLevel() == isa::Level::avx512 && viewsAreSizeThenPointer())
        fastSpansVector(from, to, fromNull, toNull, n, spans);
    else
        fastSpansScalar(from, to, fromNull, toNull, n, spans);
}
FPK_DISPATCHED(void, spanCounts,
               (const uint32_t* spans, const double* config, std::size_t n, double* out, unsigned char* outNull),
               (spans, config, n, out, outNull))

double yearProportion(long long year, bool startOpen, long long start, bool stopOpen, long long stop) {
    const long long first = 12 * year, last = 12 * year + 11;
    const long long lo = startOpen ? first : std::max(start, first);
    const long long hi = stopOpen ? last : std::min(stop, last);
    const long long months = hi >= lo ? hi - lo + 1 : 0;
    return static_cast<double>(months) / 12;
}

}  // namespace series

namespace {
// A YYYYMMDD text checked as DAYS reads it; returns its day number.
long long checkedDay(std::string_view text) {
    const int year = series::leadingNumber(text, 0, 4);
    const int month = series::leadingNumber(text, 4, 2);
    const int day = series::leadingNumber(text, 6, 2);
    if (year < 1) FPK_RAISE(ERR_FPK_DAYS_INVALID_YEAR, {"YEAR", year});
    IsLegal(year, month, day);
    return series::dayNumber(year, month, day);
}

// Checks the dates of one row range in row order and keeps each row's span,
// so that the dates are read once. Rows of eight-digit dates take the fast
// reading; the others are read as DAYS reads any text, in row order, so that
// with the host keeping the error of the lowest failing range, a call fails
// on the first bad row as a row-by-row check would.
class daysCheckvol final : public ColumnJob {
public:
    daysCheckvol(ColumnBase* from, ColumnBase* to, uint32_t* spans) : from_(from), to_(to), spans_(spans) {}
    daysCheckvol(const daysCheckvol&) = default;

    void operator()(std::size_t begin, std::size_t end) override {
        const std::size_t n = std::min(end - begin, kChunkRows);
        RhoUtils::Allocator& a = daysAllocator();
        FpkVector<std::string_view> from = makeScratch<std::string_view>(a, n), to = makeScratch<std::string_view>(a, n);
        FpkVector<NullFlags> fromNull = makeScratch<NullFlags>(a, n), toNull = makeScratch<NullFlags>(a, n);
        forEachChunk(begin, end, [&](std::size_t c, std::size_t stop) {
            readRange(from_, c, stop, from.data(), fromNull.data(), {TRACE_FPKDAYS, "fromdatecol->getNative failed."});
            readRange(to_, c, stop, to.data(), toNull.data(), {TRACE_FPKDAYS, "todatecol->getNative failed."});
            uint32_t* spans = spans_ + c;
            series::fastSpans(from.data(), to.data(), fromNull.data(), toNull.data(), stop - c, spans);
            for (std::size_t i = 0; i < stop - c; ++i) {
                if (spans[i] != series::kSpanSlow) continue;
                const long long f = checkedDay(from[i]);
                const long long t = checkedDay(to[i]);
                if (t < f) FPK_RAISE(ERR_FPK_DAYS_INVALID_FROMTO_DATE);
                spans[i] = series::packSpan(f, t - f);
            }
        });
    }

private:
    ColumnBase* from_;
    ColumnBase* to_;
    uint32_t* spans_;
};

// Writes the counts of the checked spans under each row's CONFIG.
class daysvol final : public ColumnJob {
public:
    daysvol(const uint32_t* spans, ColumnBase* config, ColumnBase* out) : spans_(spans), config_(config), out_(out) {}
    daysvol(const daysvol&) = default;

    void operator()(std::size_t begin, std::size_t end) override {
        const std::size_t n = std::min(end - begin, kChunkRows);
        RhoUtils::Allocator& a = daysAllocator();
        FpkVector<double> config = makeScratch<double>(a, n), out = makeScratch<double>(a, n);
        FpkVector<NullFlags> configNull = makeScratch<NullFlags>(a, n), outNull = makeScratch<NullFlags>(a, n);
        forEachChunk(begin, end, [&](std::size_t c, std::size_t stop) {
            readRange(config_, c, stop, config.data(), configNull.data(), {TRACE_FPKDAYS, "configcol->getNative failed."});
            replaceNulls(config.data(), configNull.data(), stop - c, 0.0);
            series::spanCounts(spans_ + c, config.data(), stop - c, out.data(), outNull.data());
            writeRange(out_, c, stop, out.data(), outNull.data(), {TRACE_FPKDAYS, "totaldayscol->setNative failed."});
        });
    }

private:
    const uint32_t* spans_;
    ColumnBase* config_;
    ColumnBase* out_;
};
}  // namespace

void FPKCommonFunctions::Days(ColumnBase* fromdate, ColumnBase* todate, ColumnBase* config, InternalTable* result) {
    traceInfo(TRACE_FPKDAYS, "Information: FPKCommonFunctions::Days() begin");
    Verifier::verify(fromdate, "S", "FROMDATE");
    Verifier::verify(todate, "S", "TODATE");
    Verifier::verify(config, "d", "CONFIG");
    Verifier::verify(result, "d");
    const std::size_t n = fromdate->size();
    if (todate->size() != n || config->size() != n)
        FPK_RAISE(ERR_FPK_COMM_COL_SIZE_NOT_EQUAL_3, {"COL1", "FROMDATE"}, {"COL2", "TODATE"}, {"COL3", "CONFIG"});
    RhoUtils::Allocator& a = daysAllocator();
    // Every row's dates are checked before the result is touched; the check
    // keeps each row's span for the counts.
    FpkVector<uint32_t> spans = makeScratch<uint32_t>(a, n);
    if (n > 0) {
        auto check = makeJob<daysCheckvol>(a, fromdate, todate, spans.data());
        runColumnJob(*check, n, "Days", __FILE__, __LINE__);
    }
    ColumnBase* out = result->getColumn(0);
    resizeColumn(out, n, {TRACE_FPKDAYS, "totaldayscol->setNative failed."});
    if (n == 0) return;
    auto job = makeJob<daysvol>(a, spans.data(), config, out);
    runColumnJob(*job, n, "Days", __FILE__, __LINE__);
}

void FPKCommonFunctions::Proportion(ColumnBase* year, ColumnBase* start, ColumnBase* stop, InternalTable* result) {
    traceInfo(TRACE_FPKPROPORTION, "Information: FPKCommonFunctions::Proportion() begin");
    Verifier::verify(year, "S", "YEAR");
    Verifier::verify(start, "S", "START");
    Verifier::verify(stop, "S", "STOP");
    Verifier::verify(result, "d");
    ColumnBase* out = result->getColumn(0);
    if (out->isReadOnly()) FPK_RAISE(ERR_FPK_COMM_COL_READ_ONLY, {"COL", "PROPORTION"});
    const std::size_t n = year->size();
    if (start->size() != n || stop->size() != n)
        FPK_RAISE(ERR_FPK_COMM_COL_SIZE_NOT_EQUAL_3, {"COL1", "YEAR"}, {"COL2", "START"}, {"COL3", "STOP"});
    RhoUtils::Allocator& a = proportionAllocator();
    FpkVector<std::string_view> years = readTexts(year, a, {TRACE_FPKPROPORTION, "yearcol->getNative failed."});
    FpkVector<std::string_view> starts = readTexts(start, a, {TRACE_FPKPROPORTION, "startcol->getNative failed."});
    FpkVector<std::string_view> stops = readTexts(stop, a, {TRACE_FPKPROPORTION, "stopcol->getNative failed."});
    FpkVector<double> values = makeVector<double>(a, n);
    FpkVector<NullFlags> nulls = makeVector<NullFlags>(a, n);
    const auto month = [](std::string_view t) {
        const int y = series::leadingNumber(t, 0, 4), m = series::leadingNumber(t, 4, 2);
        IsLegal(y, m, 1);
        return 12LL * y + m - 1;
    };
    for (std::size_t i = 0; i < n; ++i) {
        const int y = years[i].empty() ? 0 : series::leadingNumber(years[i], 0, 4);
        if (y < 1) {
            nulls[i] = 1;
            continue;
        }
        const bool startOpen = starts[i].empty(), stopOpen = stops[i].empty();
        const long long s = startOpen ? 0 : month(starts[i]);
        const long long e = stopOpen ? 0 : month(stops[i]);
        if (!startOpen && !stopOpen && s > e) FPK_RAISE(ERR_FPK_PRPTN_INVALID_FROMTO_MONTH);
        values[i] = series::yearProportion(y, startOpen, s, stopOpen, e);
    }
    writeDoubles(out, values.data(), n, {TRACE_FPKPROPORTION, "proportioncol->setNative failed."}, nulls.data());
}

void qelDays(const ColumnHandle& fromdate, const ColumnHandle& todate, const ColumnHandle& config,
             TableHandle& result) {
    FPKCommonFunctions::Days(fromdate.get(), todate.get(), config.get(), result.get());
}
void qelProportion(const ColumnHandle& year, const ColumnHandle& start, const ColumnHandle& stop,
                   TableHandle& result) {
    FPKCommonFunctions::Proportion(year.get(), start.get(), stop.get(), result.get());
}

}  // namespace businessFunctions
