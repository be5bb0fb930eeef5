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

// Days of each month and days of the year before it, in a common year, by
// month number; entries 0 and 13 to 15 only pad the tables to sixteen (the
// vector loop looks months up in registers).
alignas(64) constexpr int32_t kMonthLength[16] = {0, 31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31, 0, 0, 0};
alignas(64) constexpr int32_t kMonthStart[16] = {0, 0, 31, 59, 90, 120, 151, 181, 212, 243, 273, 304, 334, 0, 0, 0};

// Reads eight digit characters YYYYMMDD at once: a digit test on all bytes,
// then pairs of digits, then year, month and day. The day number is
// 365 (y - 1) plus the leap days before year y, written with quotients of y
// itself (y / 4 - y / 100 + y / 400 counts year y's own leap day, taken
// back in January and February), plus the days of the months before and the
// day. Divisions are multiply-shifts exact for years below 43699. Returns -1
// for anything but a date of year 1 or later.
FPK_KERNEL int64_t fastDay(uint64_t v) {
    const bool digits = (((v + 0x4646464646464646ull) | (v - 0x3030303030303030ull)) & 0x8080808080808080ull) == 0;
    const uint64_t d = v - 0x3030303030303030ull;
    const uint64_t pairs = (d * 10 + (d >> 8)) & 0x00FF00FF00FF00FFull;
    const uint32_t year = static_cast<uint32_t>(pairs & 0xFF) * 100 + static_cast<uint32_t>((pairs >> 16) & 0xFF);
    const uint32_t month = static_cast<uint32_t>((pairs >> 32) & 0xFF);
    const uint32_t day = static_cast<uint32_t>((pairs >> 48) & 0xFF);
    const uint32_t century = (year * 5243) >> 19;  // year / 100
    const uint32_t leap = ((year & 3) == 0) & ((year != century * 100) | ((century & 3) == 0));
    const uint32_t length = static_cast<uint32_t>(kMonthLength[month & 15]) + (leap & (month == 2));
    const bool valid = digits & (year >= 1) & (month < 13) & (day - 1 < length);
    const uint32_t n = 365 * year + (year >> 2) - century + (century >> 2) +
                       static_cast<uint32_t>(kMonthStart[month & 15]) + day - 366 - (leap & (month <= 2));
    return valid ? static_cast<int64_t>(n) : -1;
}

FPK_KERNEL void fastSpansScalarKernel(const std::string_view* from, const std::string_view* to, const unsigned char* fromNull,
                                      const unsigned char* toNull, std::size_t n, uint32_t* spans) {
    for (std::size_t i = 0; i < n; ++i) {
        const bool missing = (fromNull[i] | toNull[i]) != 0 || from[i].empty() || to[i].empty();
        const int64_t f = fastDay(firstEight(from[i])), t = fastDay(firstEight(to[i]));
        const uint64_t weekday = static_cast<uint64_t>(f) % 7;
        const uint32_t span = static_cast<uint32_t>((t - f) * 8 + static_cast<int64_t>(weekday));
        spans[i] = missing ? kSpanNull : ((f >= 0) & (t >= f)) ? span : kSpanSlow;
    }
}

// GCC's 512-bit shift and multiply intrinsics start from an undefined
// vector, which it reports as maybe uninitialised once they are inlined.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wuninitialized"
#if !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif
// The same fast reading for sixteen rows at a time in 32-bit lanes: `low`
// holds characters 1 to 4 of each text (the year), `high` characters 5 to 8
// (month and day). The month tables are looked up within registers.
FPK_TARGET_AVX512 inline __m512i fastDays16(__m512i low, __m512i high, __mmask16& valid) {
    const __m512i zero = _mm512_set1_epi8('0');
    const __m512i dl = _mm512_sub_epi8(low, zero), dh = _mm512_sub_epi8(high, zero);
    // Every byte a digit: the larger of the two byte values is at most 9.
    const __m512i most = _mm512_max_epu8(dl, dh);
    const __mmask16 digits = _mm512_cmpeq_epi32_mask(_mm512_min_epu8(most, _mm512_set1_epi8(9)), most);
    // Bytes (tens, units) times (10, 1), summed to 16 bits; the year's two
    // pairs times (100, 1), summed to 32 bits.
    const __m512i tensUnits = _mm512_set1_epi16(0x010A);
    const __m512i year = _mm512_madd_epi16(_mm512_maddubs_epi16(dl, tensUnits), _mm512_set1_epi32(0x00010064));
    const __m512i monthDay = _mm512_maddubs_epi16(dh, tensUnits);
    const __m512i month = _mm512_and_si512(monthDay, _mm512_set1_epi32(0xFFFF));
    const __m512i day = _mm512_srli_epi32(monthDay, 16);
    const __m512i one = _mm512_set1_epi32(1), three = _mm512_set1_epi32(3), two = _mm512_set1_epi32(2);
    const __m512i century = _mm512_srli_epi32(_mm512_mullo_epi32(year, _mm512_set1_epi32(5243)), 19);
    const __mmask16 leap = _mm512_testn_epi32_mask(year, three) &
                           (_mm512_cmpneq_epu32_mask(year, _mm512_mullo_epi32(century, _mm512_set1_epi32(100))) |
                            _mm512_testn_epi32_mask(century, three));
    __m512i length = _mm512_permutexvar_epi32(month, _mm512_load_si512(kMonthLength));
    length = _mm512_mask_add_epi32(length, leap & _mm512_cmpeq_epu32_mask(month, two), length, one);
    valid = digits & _mm512_test_epi32_mask(year, year) & _mm512_cmplt_epu32_mask(month, _mm512_set1_epi32(13)) &
            _mm512_cmplt_epu32_mask(_mm512_sub_epi32(day, one), length);
    __m512i n = _mm512_mullo_epi32(year, _mm512_set1_epi32(365));
    n = _mm512_add_epi32(n, _mm512_sub_epi32(_mm512_srli_epi32(year, 2), century));
    n = _mm512_add_epi32(n, _mm512_add_epi32(_mm512_srli_epi32(century, 2),
                                             _mm512_permutexvar_epi32(month, _mm512_load_si512(kMonthStart))));
    n = _mm512_add_epi32(n, _mm512_sub_epi32(day, _mm512_set1_epi32(366)));
    return _mm512_mask_sub_epi32(n, leap & _mm512_cmple_epu32_mask(month, two), n, one);
}

// Eight views as their sizes and their pointers (view i's two words are
// words 2i and 2i + 1).
struct Views8 {
    __m512i sizes, texts;
};
FPK_TARGET_AVX512 inline Views8 views8(const std::string_view* v) {
    const __m512i a = _mm512_loadu_si512(v), b = _mm512_loadu_si512(v + 4);
    return {_mm512_permutex2var_epi64(a, _mm512_setr_epi64(0, 2, 4, 6, 8, 10, 12, 14), b),
            _mm512_permutex2var_epi64(a, _mm512_setr_epi64(1, 3, 5, 7, 9, 11, 13, 15), b)};
}

// Sixteen texts' first eight characters as two vectors of 32-bit lanes
// (characters 1 to 4, characters 5 to 8), texts shorter than eight
// characters as "00000000"; `empty` flags texts of no characters.
FPK_TARGET_AVX512 inline void firstEight16(const std::string_view* v, __m512i& low, __m512i& high, __mmask16& empty) {
    const __m512i zeros = _mm512_set1_epi64(0x3030303030303030ll), eight = _mm512_set1_epi64(8);
    const Views8 a = views8(v), b = views8(v + 8);
    const __m512i ga = _mm512_mask_i64gather_epi64(zeros, _mm512_cmpge_epu64_mask(a.sizes, eight), a.texts, nullptr, 1);
    const __m512i gb = _mm512_mask_i64gather_epi64(zeros, _mm512_cmpge_epu64_mask(b.sizes, eight), b.texts, nullptr, 1);
    low = _mm512_permutex2var_epi32(ga, _mm512_setr_epi32(0, 2, 4, 6, 8, 10, 12, 14, 16, 18, 20, 22, 24, 26, 28, 30), gb);
    high = _mm512_permutex2var_epi32(ga, _mm512_setr_epi32(1, 3, 5, 7, 9, 11, 13, 15, 17, 19, 21, 23, 25, 27, 29, 31), gb);
    empty = static_cast<__mmask16>(_mm512_testn_epi64_mask(a.sizes, a.sizes) |
                                   (_mm512_testn_epi64_mask(b.sizes, b.sizes) << 8));
}

FPK_TARGET_AVX512 void fastSpansVector(const std::string_view* from, const std::string_view* to,
                                       const unsigned char* fromNull, const unsigned char* toNull, std::size_t n,
                                       uint32_t* spans) {
    std::size_t i = 0;
    for (; i + 16 <= n; i += 16) {
        __m512i fLow, fHigh, tLow, tHigh;
        __mmask16 fEmpty, tEmpty, fValid, tValid;
        firstEight16(from + i, fLow, fHigh, fEmpty);
        firstEight16(to + i, tLow, tHigh, tEmpty);
        const __m128i nulls = _mm_or_si128(_mm_loadu_si128(reinterpret_cast<const __m128i*>(fromNull + i)),
                                           _mm_loadu_si128(reinterpret_cast<const __m128i*>(toNull + i)));
        const __mmask16 missing = _mm_test_epi8_mask(nulls, nulls) | fEmpty | tEmpty;
        const __m512i f = fastDays16(fLow, fHigh, fValid), t = fastDays16(tLow, tHigh, tValid);
        // f mod 7 through a float quotient, which is off by at most one.
        const __m512i week = _mm512_cvttps_epi32(_mm512_mul_ps(_mm512_cvtepi32_ps(f), _mm512_set1_ps(1.0f / 7)));
        __m512i weekday = _mm512_sub_epi32(f, _mm512_mullo_epi32(week, _mm512_set1_epi32(7)));
        weekday = _mm512_mask_add_epi32(weekday, _mm512_cmplt_epi32_mask(weekday, _mm512_setzero_si512()), weekday,
                                        _mm512_set1_epi32(7));
        weekday = _mm512_mask_sub_epi32(weekday, _mm512_cmpge_epi32_mask(weekday, _mm512_set1_epi32(7)), weekday,
                                        _mm512_set1_epi32(7));
        const __m512i span = _mm512_add_epi32(_mm512_slli_epi32(_mm512_sub_epi32(t, f), 3), weekday);
        const __mmask16 ok = fValid & tValid & _mm512_cmpge_epi32_mask(t, f);
        __m512i out = _mm512_mask_mov_epi32(_mm512_set1_epi32(static_cast<int>(kSpanSlow)), ok, span);
        out = _mm512_mask_mov_epi32(out, missing, _mm512_set1_epi32(static_cast<int>(kSpanNull)));
        _mm512_storeu_si512(spans + i, out);
    }
    fastSpansScalarKernel(from + i, to + i, fromNull + i, toNull + i, n - i, spans + i);
}

// The fast reading in 256-bit vectors, eight rows a step: the steps of
// fastDays16 without mask registers (compares give lanes of all ones), the
// month tables in two halves of eight.
FPK_TARGET_AVX2 inline __m256i monthLookup8(__m256i month, const int32_t* table) {
    const __m256i low = _mm256_permutevar8x32_epi32(_mm256_load_si256(reinterpret_cast<const __m256i*>(table)), month);
    const __m256i high =
        _mm256_permutevar8x32_epi32(_mm256_load_si256(reinterpret_cast<const __m256i*>(table + 8)), month);
    return _mm256_blendv_epi8(low, high, _mm256_cmpgt_epi32(month, _mm256_set1_epi32(7)));
}

FPK_TARGET_AVX2 inline __m256i fastDays8(__m256i low, __m256i high, __m256i& valid) {
    const __m256i zero = _mm256_set1_epi8('0');
    const __m256i dl = _mm256_sub_epi8(low, zero), dh = _mm256_sub_epi8(high, zero);
    const __m256i most = _mm256_max_epu8(dl, dh);
    const __m256i digits = _mm256_cmpeq_epi32(_mm256_min_epu8(most, _mm256_set1_epi8(9)), most);
    const __m256i tensUnits = _mm256_set1_epi16(0x010A);
    const __m256i year = _mm256_madd_epi16(_mm256_maddubs_epi16(dl, tensUnits), _mm256_set1_epi32(0x00010064));
    const __m256i monthDay = _mm256_maddubs_epi16(dh, tensUnits);
    const __m256i month = _mm256_and_si256(monthDay, _mm256_set1_epi32(0xFFFF));
    const __m256i day = _mm256_srli_epi32(monthDay, 16);
    const __m256i none = _mm256_setzero_si256(), three = _mm256_set1_epi32(3);
    const __m256i century = _mm256_srli_epi32(_mm256_mullo_epi32(year, _mm256_set1_epi32(5243)), 19);
    const __m256i centuryYear = _mm256_cmpeq_epi32(year, _mm256_mullo_epi32(century, _mm256_set1_epi32(100)));
    const __m256i leap = _mm256_and_si256(
        _mm256_cmpeq_epi32(_mm256_and_si256(year, three), none),
        _mm256_or_si256(_mm256_andnot_si256(centuryYear, _mm256_set1_epi32(-1)),
                        _mm256_cmpeq_epi32(_mm256_and_si256(century, three), none)));
    const __m256i february = _mm256_and_si256(leap, _mm256_cmpeq_epi32(month, _mm256_set1_epi32(2)));
    const __m256i length = _mm256_sub_epi32(monthLookup8(month, kMonthLength), february);  // a lane of ones is -1
    valid = _mm256_andnot_si256(_mm256_cmpeq_epi32(year, none), digits);
    valid = _mm256_and_si256(valid, _mm256_cmpgt_epi32(_mm256_set1_epi32(13), month));
    valid = _mm256_and_si256(valid, _mm256_cmpgt_epi32(day, none));
    valid = _mm256_andnot_si256(_mm256_cmpgt_epi32(day, length), valid);
    __m256i n = _mm256_mullo_epi32(year, _mm256_set1_epi32(365));
    n = _mm256_add_epi32(n, _mm256_sub_epi32(_mm256_srli_epi32(year, 2), century));
    n = _mm256_add_epi32(n, _mm256_add_epi32(_mm256_srli_epi32(century, 2), monthLookup8(month, kMonthStart)));
    n = _mm256_add_epi32(n, _mm256_sub_epi32(day, _mm256_set1_epi32(366)));
    return _mm256_add_epi32(n, _mm256_and_si256(leap, _mm256_cmpgt_epi32(three, month)));
}

// The low (0x88) or high (0xDD) 32-bit halves of the 64-bit lanes of x and
// then y, in the lanes' order (the shuffle works within 128-bit halves and
// leaves x0 x1 y0 y1 x2 x3 y2 y3; the permute swaps the middle pairs).
template <int halves>
FPK_TARGET_AVX2 inline __m256i halves8(__m256i x, __m256i y) {
    const __m256 s = _mm256_shuffle_ps(_mm256_castsi256_ps(x), _mm256_castsi256_ps(y), halves);
    return _mm256_permute4x64_epi64(_mm256_castps_si256(s), 0xD8);
}

// Eight views' first eight characters as characters 1 to 4 and 5 to 8 in
// 32-bit lanes, and a lane of ones for each empty text. Unpacking pairs of
// views puts them in the order 0, 2, 1, 3 within each four; a permute
// restores it.
FPK_TARGET_AVX2 inline void firstEight8(const std::string_view* v, __m256i& low, __m256i& high, __m256i& empty) {
    const __m256i* p = reinterpret_cast<const __m256i*>(v);
    const __m256i a0 = _mm256_loadu_si256(p), a1 = _mm256_loadu_si256(p + 1);
    const __m256i b0 = _mm256_loadu_si256(p + 2), b1 = _mm256_loadu_si256(p + 3);
    const __m256i zeros = _mm256_set1_epi64x(0x3030303030303030ll), seven = _mm256_set1_epi64x(7);
    const __m256i aSizes = _mm256_permute4x64_epi64(_mm256_unpacklo_epi64(a0, a1), 0xD8);
    const __m256i bSizes = _mm256_permute4x64_epi64(_mm256_unpacklo_epi64(b0, b1), 0xD8);
    const __m256i aTexts = _mm256_permute4x64_epi64(_mm256_unpackhi_epi64(a0, a1), 0xD8);
    const __m256i bTexts = _mm256_permute4x64_epi64(_mm256_unpackhi_epi64(b0, b1), 0xD8);
    const __m256i ga = _mm256_mask_i64gather_epi64(zeros, static_cast<const long long*>(nullptr), aTexts,
                                                   _mm256_cmpgt_epi64(aSizes, seven), 1);
    const __m256i gb = _mm256_mask_i64gather_epi64(zeros, static_cast<const long long*>(nullptr), bTexts,
                                                   _mm256_cmpgt_epi64(bSizes, seven), 1);
    low = halves8<0x88>(ga, gb);
    high = halves8<0xDD>(ga, gb);
    const __m256i none = _mm256_setzero_si256();
    empty = halves8<0x88>(_mm256_cmpeq_epi64(aSizes, none), _mm256_cmpeq_epi64(bSizes, none));
}

FPK_TARGET_AVX2 void fastSpansVector8(const std::string_view* from, const std::string_view* to,
                                      const unsigned char* fromNull, const unsigned char* toNull, std::size_t n,
                                      uint32_t* spans) {
    std::size_t i = 0;
    const __m256i seven = _mm256_set1_epi32(7), none = _mm256_setzero_si256();
    for (; i + 8 <= n; i += 8) {
        __m256i fLow, fHigh, fEmpty, tLow, tHigh, tEmpty, fValid, tValid;
        firstEight8(from + i, fLow, fHigh, fEmpty);
        firstEight8(to + i, tLow, tHigh, tEmpty);
        uint64_t fn, tn;
        std::memcpy(&fn, fromNull + i, 8);
        std::memcpy(&tn, toNull + i, 8);
        const __m256i flags = _mm256_cvtepu8_epi32(_mm_cvtsi64_si128(static_cast<long long>(fn | tn)));
        const __m256i missing =
            _mm256_or_si256(_mm256_andnot_si256(_mm256_cmpeq_epi32(flags, none), _mm256_set1_epi32(-1)),
                            _mm256_or_si256(fEmpty, tEmpty));
        const __m256i f = fastDays8(fLow, fHigh, fValid), t = fastDays8(tLow, tHigh, tValid);
        const __m256i week = _mm256_cvttps_epi32(_mm256_mul_ps(_mm256_cvtepi32_ps(f), _mm256_set1_ps(1.0f / 7)));
        __m256i weekday = _mm256_sub_epi32(f, _mm256_mullo_epi32(week, seven));
        weekday = _mm256_add_epi32(weekday, _mm256_and_si256(_mm256_cmpgt_epi32(none, weekday), seven));
        weekday = _mm256_sub_epi32(weekday, _mm256_and_si256(_mm256_cmpgt_epi32(weekday, _mm256_set1_epi32(6)), seven));
        const __m256i span = _mm256_add_epi32(_mm256_slli_epi32(_mm256_sub_epi32(t, f), 3), weekday);
        const __m256i ok = _mm256_andnot_si256(_mm256_cmpgt_epi32(f, t), _mm256_and_si256(fValid, tValid));
        __m256i out = _mm256_blendv_epi8(_mm256_set1_epi32(static_cast<int>(kSpanSlow)), span, ok);
        out = _mm256_or_si256(out, missing);  // kSpanNull is all ones
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(spans + i), out);
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
    const isa::Level level = isa::currentLevel();
    if (level == isa::Level::avx512 && viewsAreSizeThenPointer())
        fastSpansVector(from, to, fromNull, toNull, n, spans);
    else if (level == isa::Level::avx2 && viewsAreSizeThenPointer())
        fastSpansVector8(from, to, fromNull, toNull, n, spans);
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
