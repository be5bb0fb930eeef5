// REPEAT, TRANSFORM, ROUNDING and CYCLES: the series utilities whose rows
// are independent, computed as column jobs.
#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

#include "../common/fpkAllocator.h"
#include "../common/fpkColumnIO.h"
#include "../common/fpkColumnJob.h"
#include "../common/fpkCommonCode.h"
#include "../common/fpkDefines.h"
#include "../common/fpkIsaDispatch.h"
#include "../common/fpkVectorMath.h"
#include "../common/fpkTrace.h"
#include "../interface/FPKQELInterfaces.h"
#include "fpkCommonFunctions.h"

namespace businessFunctions {

namespace {
FPK_FUNCTION_ALLOCATOR(repeatAllocator, "RepeatAllocator")
FPK_FUNCTION_ALLOCATOR(transformAllocator, "TransformAllocator")
FPK_FUNCTION_ALLOCATOR(roundingAllocator, "RoudingAllocator")
FPK_FUNCTION_ALLOCATOR(cyclesAllocator, "CyclesAllocator")

using RhoCommonObjects::VT_DOUBLE;
using RhoCommonObjects::VT_INTEGER;

// The jobs are instantiated for the host's 64-bit floating-point columns (and
// 32-bit integer columns where the catalogue has int); another value type that
// passed its pattern has no instantiation.
void dispatchType(const ColumnBase* col, const char* name, int instantiated, bool checkFixedSize) {
    if (checkFixedSize && !col->isFixedSize()) FPK_RAISE(ERR_FPK_COMM_COL_NOT_FIXED_SIZE_TYPE, {"COL", name});
    if (col->getValueType() != instantiated) FPK_RAISE(ERR_FPK_COMM_UNSUPPORTED_COL_TYPE, {"COL", name});
}

void checkWritable(const InternalTable* result, const char* name) {
    if (result->getColumn(0)->isReadOnly()) FPK_RAISE(ERR_FPK_COMM_COL_READ_ONLY, {"COL", name});
}
}  // namespace

namespace series {

void repeat(const double* pattern, std::size_t patternLength, std::size_t first, double* out, std::size_t n) {
    std::size_t pos = first % patternLength;
    for (std::size_t i = 0; i < n; ++i) {
        out[i] = pattern[pos];
        if (++pos == patternLength) pos = 0;
    }
}

bool transform(double x, double method, double& out) {
    const double c = std::trunc(method);
    double r;
    if (c == 0)
        r = x;
    else if (c == 1)
        vmath::log(&x, &r, 1);  // the same routines as whole chunks of one method
    else if (c == 2)
        vmath::exp(&x, &r, 1);
    else if (c == 3)
        r = std::sqrt(x);
    else if (c == 4)
        r = x * x;
    else if (c == 5)
        r = 1 / x;
    else
        return false;
    if (!std::isfinite(r)) return false;
    out = r;
    return true;
}

FPK_KERNEL void transformRowsKernel(const double* x, const unsigned char* xNull, const double* method,
                                    const unsigned char* methodNull, std::size_t n, double* out, unsigned char* outNull) {
    // A chunk of one method (the usual case) runs a loop of that method
    // alone, which the compiler turns into vector code where it can.
    // The tests are loops without exits over one type each, so that they
    // run as vector code too.
    const double m0 = n > 0 ? method[0] : 0;
    std::size_t differing = 0;
    for (std::size_t i = 0; i < n; ++i) differing += method[i] != m0 ? 1 : 0;
    const bool uniform = n > 0 && differing == 0 && !anyNull(methodNull, n);
    const double c = uniform ? std::trunc(m0) : -1;
    // A result that is not finite (log of 0 or of a negative value, exp
    // overflowing, 1/0) makes its row null.
    const auto check = [&]() FPK_INLINE_LAMBDA {
        std::size_t unbounded = 0;
        for (std::size_t i = 0; i < n; ++i) unbounded += std::fabs(out[i]) <= std::numeric_limits<double>::max() ? 0 : 1;
        if (unbounded == 0) {
            // Every value is finite: the input's nulls are the result's.
            std::copy(xNull, xNull + n, outNull);
        } else {
            for (std::size_t i = 0; i < n; ++i)
                outNull[i] =
                    static_cast<unsigned char>(xNull[i] | !(std::fabs(out[i]) <= std::numeric_limits<double>::max()));
        }
        replaceNulls(out, outNull, n, 0.0);
    };
    const auto finish = [&](auto f) FPK_INLINE_LAMBDA {
        for (std::size_t i = 0; i < n; ++i) out[i] = f(x[i]);
        check();
    };
    if (c == 0) {
        finish([](double v) FPK_INLINE_LAMBDA { return v; });
    } else if (c == 1) {
        vmath::log(x, out, n);
        check();
    } else if (c == 2) {
        vmath::exp(x, out, n);
        check();
    } else if (c == 3) {
        finish([](double v) FPK_INLINE_LAMBDA { return std::sqrt(v); });
    } else if (c == 4) {
        finish([](double v) FPK_INLINE_LAMBDA { return v * v; });
    } else if (c == 5) {
        finish([](double v) FPK_INLINE_LAMBDA { return 1 / v; });
    } else {
        for (std::size_t i = 0; i < n; ++i) {
            out[i] = 0.0;
            outNull[i] = (xNull[i] || methodNull[i] || !transform(x[i], method[i], out[i])) ? 1 : 0;
        }
    }
}

FPK_DISPATCHED(void, transformRows,
               (const double* x, const unsigned char* xNull, const double* method, const unsigned char* methodNull,
                std::size_t n, double* out, unsigned char* outNull),
               (x, xNull, method, methodNull, n, out, outNull))

RoundingStep roundingStep(double s) {
    constexpr double eps = 1e-9;
    RoundingStep r{s, 0, false};
    if (s < 1) {
        const double v = 1 / s;
        r.reciprocal = std::floor(v + 0.5);
        r.decimal = std::isfinite(v) && std::fabs(v - r.reciprocal) <= eps * v;
    }
    return r;
}

double roundToStep(double x, const RoundingStep& step, int method) {
    constexpr double eps = 1e-9;
    if (!std::isfinite(x)) return x;
    const double q = step.decimal ? x * step.reciprocal : x / step.step;
    if (!std::isfinite(q)) return x;
    const double a = std::fabs(q);
    double k;
    if (a >= 4503599627370496.0)
        k = a;
    else if (method == FPKCommonFunctions::NEAREST)
        k = std::floor((a + 0.5) + eps);
    else if (method == FPKCommonFunctions::UP)
        k = std::ceil(a - eps);
    else
        k = std::floor(a + eps);
    if (k == 0) return 0.0;
    k = std::copysign(k, q);
    return step.decimal ? k / step.reciprocal : k * step.step;
}

double roundToStep(double x, double s, int method) { return roundToStep(x, roundingStep(s), method); }

FPK_KERNEL void roundRowsKernel(const double* x, const unsigned char* xNull, std::size_t n, const RoundingStep& step,
                                int method, double* out) {
    // The rows go through one branch-free loop per method that runs as
    // vector code. floor and ceil of y >= 0 are taken without a library call:
    // below 2^52, adding and taking away 2^52 rounds y to the nearest whole
    // number exactly, and a comparison corrects it by one where it lies on
    // the wrong side. Rows the loop cannot take (values too large for that,
    // infinities, NaN, steps whose reciprocal overflows) are redone by
    // roundToStep afterwards, found by a bound with a factor of two to spare.
    constexpr double eps = 1e-9, two52 = 4503599627370496.0;
    // Local copies: the loops write through `out`, which could otherwise alias `step`.
    const double s = step.step, reciprocal = step.reciprocal;
    const auto rows = [&](auto whole) FPK_INLINE_LAMBDA {
        // Both sides of every choice are computed, so that the compiler may
        // turn the choices into selects.
        if (step.decimal)
            for (std::size_t i = 0; i < n; ++i) {
                const double q = x[i] * reciprocal, k = whole(std::fabs(q)), v = std::copysign(k, q) / reciprocal;
                out[i] = k == 0 ? 0.0 : v;
            }
        else
            for (std::size_t i = 0; i < n; ++i) {
                const double q = x[i] / s, k = whole(std::fabs(q)), v = std::copysign(k, q) * s;
                out[i] = k == 0 ? 0.0 : v;
            }
    };
    if (method == FPKCommonFunctions::NEAREST)
        rows([](double a) FPK_INLINE_LAMBDA {
            const double y = (a + 0.5) + eps, r = (y + two52) - two52, below = r - 1;
            return r > y ? below : r;
        });
    else if (method == FPKCommonFunctions::UP)
        rows([](double a) FPK_INLINE_LAMBDA {
            const double y = a - eps, r = (y + two52) - two52, above = r + 1;  // a tiny negative y gives 0, as ceil would
            return r < y ? above : r;
        });
    else
        rows([](double a) FPK_INLINE_LAMBDA {
            const double y = a + eps, r = (y + two52) - two52, below = r - 1;
            return r > y ? below : r;
        });
    const double scale = step.decimal ? step.reciprocal : 1 / step.step;
    const double limit = 0.25 * two52 / scale;  // |q| stays below 2^50, so y below 2^52
    std::size_t outside = 0;  // counted first by a vector loop: usually there are none
    for (std::size_t i = 0; i < n; ++i) outside += std::fabs(x[i]) < limit ? 0 : 1;
    if (outside != 0)
        for (std::size_t i = 0; i < n; ++i)
            if (!(std::fabs(x[i]) < limit)) out[i] = roundToStep(x[i], step, method);
    replaceNulls(out, xNull, n, 0.0);
}

FPK_DISPATCHED(void, roundRows,
               (const double* x, const unsigned char* xNull, std::size_t n, const RoundingStep& step, int method,
                double* out),
               (x, xNull, n, step, method, out))

double cycleValue(const Wave* waves, std::size_t count, double t) {
    double v = 0;
    for (std::size_t k = 0; k < count; ++k) {
        const Wave& w = waves[k];
        const double theta = ((2 * std::numbers::pi) * (t - w.start)) / w.length;
        v = v + w.amplitude * (w.function == FPKCommonFunctions::SINE ? std::sin(theta) : std::cos(theta));
    }
    return v;
}

namespace {
FPK_KERNEL void anglesKernel(const double* t, std::size_t n, double start, double length, double* theta) {
    for (std::size_t i = 0; i < n; ++i) theta[i] = ((2 * std::numbers::pi) * (t[i] - start)) / length;
}
FPK_DISPATCHED(void, angles, (const double* t, std::size_t n, double start, double length, double* theta),
               (t, n, start, length, theta))

FPK_KERNEL void addWaveKernel(const double* f, std::size_t n, double amplitude, double* out) {
    for (std::size_t i = 0; i < n; ++i) out[i] = out[i] + amplitude * f[i];
}
FPK_DISPATCHED(void, addWave, (const double* f, std::size_t n, double amplitude, double* out), (f, n, amplitude, out))
}  // namespace

void cycleRows(const Wave* waves, std::size_t count, const double* t, std::size_t n, double* out, double* work) {
    std::fill(out, out + n, 0.0);
    for (std::size_t k = 0; k < count; ++k) {
        const Wave& w = waves[k];
        angles(t, n, w.start, w.length, work);
        if (w.function == FPKCommonFunctions::SINE)
            vmath::sin(work, work, n);
        else
            vmath::cos(work, work, n);
        addWave(work, n, w.amplitude, out);
    }
}

}  // namespace series

// ---------------------------------------------------------------- REPEAT

namespace {
class Repeatvol final : public ColumnJob {
public:
    Repeatvol(ColumnBase* result, std::size_t n, const double* pattern) : result_(result), n_(n), pattern_(pattern) {}
    Repeatvol(const Repeatvol&) = default;

    template <class T>
    void run(std::size_t begin, std::size_t end) {
        FpkVector<T> out = makeScratch<T>(repeatAllocator(), std::min(end - begin, kChunkRows));
        forEachChunk(begin, end, [&](std::size_t c, std::size_t stop) {
            series::repeat(pattern_, n_, c, out.data(), stop - c);
            writeRange(result_, c, stop, out.data(), nullptr, {TRACE_FPKREPEAT, "resultcol->setNative failed."});
        });
    }
    void operator()(std::size_t begin, std::size_t end) override { run<double>(begin, end); }

private:
    ColumnBase* result_;
    std::size_t n_;
    const double* pattern_;
};
}  // namespace

void FPKCommonFunctions::Repeat(ColumnBase* number, ColumnBase* input, InternalTable* result) {
    traceInfo(TRACE_FPKREPEAT, "Information: FPKCommonFunctions::Repeat() begin");
    Verifier::verify(number, "d", "NUMBER");
    Verifier::verify(input, "d", "INPUT");
    Verifier::verify(result, "d");
    checkWritable(result, "RESULT");
    ColumnBase* out = result->getColumn(0);
    const IoSite writeSite{TRACE_FPKREPEAT, "resultcol->setNative failed."};
    const std::size_t n = input->size();
    if (n == 0) {
        resizeColumn(out, 0, writeSite);
        return;
    }
    if (number->size() == 0) FPK_RAISE(ERR_FPK_REPEAT_NOT_ENOUGH_FLAG);
    const double k =
        readDoubles(number, 0, 1, repeatAllocator(), {TRACE_FPKREPEAT, "numbercol->getNative failed."})[0];
    if (!(k >= 1)) FPK_RAISE(ERR_FPK_REPEAT_NOT_ENOUGH_FLAG);
    const std::size_t length = k >= static_cast<double>(n) ? n : static_cast<std::size_t>(k);
    FpkVector<double> pattern =
        readDoubles(input, 0, length, repeatAllocator(), {TRACE_FPKREPEAT, "inputcol->getNative failed."});
    resizeColumn(out, n, writeSite);
    auto job = makeJob<Repeatvol>(repeatAllocator(), out, length, pattern.data());
    runColumnJob(*job, n, "Repeat", __FILE__, __LINE__);
}

// ---------------------------------------------------------------- TRANSFORM

namespace {
class transformvol final : public ColumnJob {
public:
    transformvol(ColumnBase* input, ColumnBase* method, ColumnBase* out) : input_(input), method_(method), out_(out) {}
    transformvol(const transformvol&) = default;

    template <class TI, class TM>
    void run(std::size_t begin, std::size_t end) {
        const std::size_t n = std::min(end - begin, kChunkRows);
        RhoUtils::Allocator& a = transformAllocator();
        FpkVector<TI> x = makeScratch<TI>(a, n);
        FpkVector<TM> m = makeScratch<TM>(a, n);
        FpkVector<double> out = makeScratch<double>(a, n);
        FpkVector<NullFlags> xNull = makeScratch<NullFlags>(a, n), mNull = makeScratch<NullFlags>(a, n),
                             outNull = makeScratch<NullFlags>(a, n);
        forEachChunk(begin, end, [&](std::size_t c, std::size_t stop) {
            readRange(input_, c, stop, x.data(), xNull.data(), {TRACE_FPKTRANSFORM, "inputcol->getNative failed."});
            readRange(method_, c, stop, m.data(), mNull.data(), {TRACE_FPKTRANSFORM, "methodcol->getNative failed."});
            series::transformRows(x.data(), xNull.data(), m.data(), mNull.data(), stop - c, out.data(), outNull.data());
            writeRange(out_, c, stop, out.data(), outNull.data(), {TRACE_FPKTRANSFORM, "transformcol->setNative failed."});
        });
    }
    void operator()(std::size_t begin, std::size_t end) override { run<double, double>(begin, end); }

private:
    ColumnBase* input_;
    ColumnBase* method_;
    ColumnBase* out_;
};
}  // namespace

void FPKCommonFunctions::Transform(ColumnBase* input, ColumnBase* method, InternalTable* result) {
    traceInfo(TRACE_FPKTRANSFORM, "Information: FPKCommonFunctions::Transform() begin");
    Verifier::verify(input, "d", "INPUT");
    Verifier::verify(method, "d", "METHOD");
    Verifier::verify(result, "d");
    dispatchType(input, "INPUT", VT_DOUBLE, false);
    dispatchType(method, "METHOD", VT_DOUBLE, false);
    if (input->size() != method->size())
        FPK_RAISE_TRACED(TRACE_FPKTRANSFORM, "inputcol and methodcol differ in size.", ERR_FPK_COMM_INTERNAL_ERR);
    const std::size_t n = input->size();
    ColumnBase* out = result->getColumn(0);
    resizeColumn(out, n, {TRACE_FPKTRANSFORM, "transformcol->setNative failed."});
    if (n == 0) return;
    auto job = makeJob<transformvol>(transformAllocator(), input, method, out);
    runColumnJob(*job, n, "Transform", __FILE__, __LINE__);
}

// ---------------------------------------------------------------- ROUNDING

namespace {
class roudingvol final : public ColumnJob {
public:
    // A setting column of one row is passed as its value (column nullptr).
    roudingvol(ColumnBase* date, ColumnBase* precision, double precisionValue, ColumnBase* method, int methodValue,
               ColumnBase* out)
        : date_(date), precision_(precision), method_(method), out_(out), precisionValue_(precisionValue),
          methodValue_(methodValue) {}
    roudingvol(const roudingvol&) = default;

    template <class TD, class TP, class TM>
    void run(std::size_t begin, std::size_t end) {
        const std::size_t n = std::min(end - begin, kChunkRows);
        RhoUtils::Allocator& a = roundingAllocator();
        FpkVector<TD> x = makeScratch<TD>(a, n);
        FpkVector<TP> s = makeScratch<TP>(a, precision_ ? n : 0);
        FpkVector<TM> m = makeScratch<TM>(a, method_ ? n : 0);
        FpkVector<double> out = makeScratch<double>(a, n);
        FpkVector<NullFlags> xNull = makeScratch<NullFlags>(a, n), settingNull = makeScratch<NullFlags>(a, n);
        const series::RoundingStep fixedStep = series::roundingStep(precisionValue_);
        forEachChunk(begin, end, [&](std::size_t c, std::size_t stop) {
            const std::size_t rows = stop - c;
            readRange(date_, c, stop, x.data(), xNull.data(), {TRACE_FPKROUDING, "datecol->getNative failed."});
            if (precision_) {
                readRange(precision_, c, stop, s.data(), settingNull.data(),
                          {TRACE_FPKROUDING, "precisioncol->getNative failed."});
                replaceNulls(s.data(), settingNull.data(), rows, 0.0);
            }
            if (method_) {
                readRange(method_, c, stop, m.data(), settingNull.data(), {TRACE_FPKROUDING, "methodcol->getNative failed."});
                replaceNulls(m.data(), settingNull.data(), rows, 0.0);
            }
            if (!precision_ && !method_) {
                // One step and one method for every row: the step's form is worked out once.
                series::roundRows(x.data(), xNull.data(), rows, fixedStep, methodValue_, out.data());
            } else {
                for (std::size_t i = 0; i < rows; ++i) {
                    const double step = precision_ ? s[i] : precisionValue_;
                    const int method = method_ ? static_cast<int>(std::trunc(m[i])) : methodValue_;
                    out[i] = xNull[i] ? 0.0 : series::roundToStep(x[i], step, method);
                }
            }
            writeRange(out_, c, stop, out.data(), xNull.data(), {TRACE_FPKROUDING, "roundingcol->setNative failed."});
        });
    }
    void operator()(std::size_t begin, std::size_t end) override { run<double, double, double>(begin, end); }

private:
    ColumnBase* date_;
    ColumnBase* precision_;
    ColumnBase* method_;
    ColumnBase* out_;
    double precisionValue_;
    int methodValue_;
};

bool validMethod(double m) {
    const double c = std::trunc(m);
    return c == 1 || c == 2 || c == 3;
}
}  // namespace

void FPKCommonFunctions::Rounding(ColumnBase* date, ColumnBase* precision, ColumnBase* method, InternalTable* result) {
    traceInfo(TRACE_FPKROUDING, "Information: FPKCommonFunctions::Rounding() begin");
    Verifier::verify(date, "d", "DATE");
    Verifier::verify(precision, "d", "PRECISION");
    Verifier::verify(method, "d", "METHOD");
    Verifier::verify(result, "d");
    checkWritable(result, "ROUNDING");
    dispatchType(date, "DATE", VT_DOUBLE, true);
    dispatchType(precision, "PRECISION", VT_DOUBLE, true);
    dispatchType(method, "METHOD", VT_DOUBLE, true);
    const std::size_t n = date->size(), p = precision->size(), m = method->size();
    if (p == 0)
        FPK_RAISE(ERR_FPK_COMM_INVALID_COL_SIZE, {"SIZE", 0}, {"COL", "PRECISION"},
                  {"APPEND", "PRECISION should not be empty"});
    if (m == 0)
        FPK_RAISE(ERR_FPK_COMM_INVALID_COL_SIZE, {"SIZE", 0}, {"COL", "METHOD"}, {"APPEND", "METHOD should not be empty"});
    if ((p != 1 && p != n) || (m != 1 && m != n))
        FPK_RAISE(ERR_FPK_COMM_COL_SIZE_NOT_EQUAL_3, {"COL1", "DATE"}, {"COL2", "PRECISION"}, {"COL3", "METHOD"});
    RhoUtils::Allocator& a = roundingAllocator();
    FpkVector<double> s = readDoubles(precision, a, {TRACE_FPKROUDING, "precisioncol->getNative failed."});
    FpkVector<double> c = readDoubles(method, a, {TRACE_FPKROUDING, "methodcol->getNative failed."});
    for (std::size_t r = 0; r < std::max(p, m); ++r) {
        if (r < p && !(s[r] > 0))
            FPK_RAISE(ERR_FPK_COMM_INVALID_COL_VALUE, {"COL", "PRECISION"},
                      {"APPEND", "Precision should be greater than 0"});
        if (r < m && !validMethod(c[r]))
            FPK_RAISE(ERR_FPK_COMM_INVALID_COL_VALUE, {"COL", "METHOD"}, {"APPEND", "Method should be in (1,2,3)"});
    }
    ColumnBase* out = result->getColumn(0);
    resizeColumn(out, n, {TRACE_FPKROUDING, "roundingcol->setNative failed."});
    if (n == 0) return;
    // With one row each setting applies to every row (when n is 1 too, both readings agree).
    auto job = makeJob<roudingvol>(a, date, p == 1 ? nullptr : precision, s[0], m == 1 ? nullptr : method,
                                   static_cast<int>(std::trunc(c[0])), out);
    runColumnJob(*job, n, "Rounding", __FILE__, __LINE__);
}

// ---------------------------------------------------------------- CYCLES

namespace {
class cyclesvol final : public ColumnJob {
public:
    cyclesvol(ColumnBase* time, ColumnBase* out, const series::Wave* waves, std::size_t count)
        : time_(time), out_(out), waves_(waves), count_(count) {}
    cyclesvol(const cyclesvol&) = default;

    template <class T>
    void run(std::size_t begin, std::size_t end) {
        const std::size_t n = std::min(end - begin, kChunkRows);
        RhoUtils::Allocator& a = cyclesAllocator();
        FpkVector<T> t = makeScratch<T>(a, n);
        FpkVector<double> out = makeScratch<double>(a, n), work = makeScratch<double>(a, n);
        FpkVector<NullFlags> nulls = makeScratch<NullFlags>(a, n);
        forEachChunk(begin, end, [&](std::size_t c, std::size_t stop) {
            readRange(time_, c, stop, t.data(), nulls.data(), {TRACE_FPKCYCLES, "timecol->getNative failed."});
            series::cycleRows(waves_, count_, t.data(), stop - c, out.data(), work.data());
            replaceNulls(out.data(), nulls.data(), stop - c, 0.0);
            writeRange(out_, c, stop, out.data(), nulls.data(), {TRACE_FPKCYCLES, "cyclecol->setNative failed."});
        });
    }
    void operator()(std::size_t begin, std::size_t end) override { run<double>(begin, end); }

private:
    ColumnBase* time_;
    ColumnBase* out_;
    const series::Wave* waves_;
    std::size_t count_;
};
}  // namespace

void FPKCommonFunctions::Cycles(ColumnBase* amplitude, ColumnBase* length, ColumnBase* start, ColumnBase* function,
                                ColumnBase* time, InternalTable* result) {
    traceInfo(TRACE_FPKCYCLES, "Information: FPKCommonFunctions::Cycles() begin");
    Verifier::verify(amplitude, "d", "AMPLITUDE");
    Verifier::verify(length, "d", "LENGTH");
    Verifier::verify(start, "d", "START");
    Verifier::verify(function, "I", "FUNCTION");
    Verifier::verify(time, "d", "TIME");
    Verifier::verify(result, "d");
    dispatchType(amplitude, "AMPLITUDE", VT_DOUBLE, false);
    dispatchType(length, "LENGTH", VT_DOUBLE, false);
    dispatchType(start, "START", VT_DOUBLE, false);
    dispatchType(function, "FUNCTION", VT_INTEGER, false);
    dispatchType(time, "TIME", VT_DOUBLE, false);
    const std::size_t k = amplitude->size();
    if (length->size() != k || start->size() != k || function->size() != k)
        FPK_RAISE(ERR_FPK_COMM_COL_SIZE_NOT_EQUAL_4, {"COL1", "AMPLITUDE"}, {"COL2", "LENGTH"}, {"COL3", "START"},
                  {"COL4", "FUNCTION"});
    RhoUtils::Allocator& a = cyclesAllocator();
    FpkVector<double> amp = readDoubles(amplitude, a, {TRACE_FPKCYCLES, "amplitudecol->getNative failed."});
    FpkVector<double> len = readDoubles(length, a, {TRACE_FPKCYCLES, "lengthcol->getNative failed."});
    FpkVector<double> st = readDoubles(start, a, {TRACE_FPKCYCLES, "startcol->getNative failed."});
    FpkVector<int32_t> fn = readInts(function, a, {TRACE_FPKCYCLES, "functioncol->getNative failed."});
    FpkVector<series::Wave> waves = makeVector<series::Wave>(a, k);
    for (std::size_t w = 0; w < k; ++w) {
        if (!(len[w] > 0))
            FPK_RAISE(ERR_FPK_COMM_INVALID_COL_VALUE, {"COL", "LENGTH"}, {"APPEND", "Length should be greater than 0"});
        if (fn[w] != SINE && fn[w] != COSINE)
            FPK_RAISE(ERR_FPK_COMM_INVALID_COL_VALUE, {"COL", "FUNCTION"}, {"APPEND", "Function should be in (1,2)"});
        waves[w] = series::Wave{amp[w], len[w], st[w], fn[w]};
    }
    const std::size_t n = time->size();
    ColumnBase* out = result->getColumn(0);
    resizeColumn(out, n, {TRACE_FPKCYCLES, "cyclecol->setNative failed."});
    if (n == 0) return;
    auto job = makeJob<cyclesvol>(a, time, out, waves.data(), k);
    runColumnJob(*job, n, "Cycles", __FILE__, __LINE__);
}

void qelRepeat(const ColumnHandle& number, const ColumnHandle& input, TableHandle& result) {
    FPKCommonFunctions::Repeat(number.get(), input.get(), result.get());
}
void qelTransform(const ColumnHandle& input, const ColumnHandle& method, TableHandle& result) {
    FPKCommonFunctions::Transform(input.get(), method.get(), result.get());
}
void qelRounding(const ColumnHandle& date, const ColumnHandle& precision, const ColumnHandle& method,
                 TableHandle& result) {
    FPKCommonFunctions::Rounding(date.get(), precision.get(), method.get(), result.get());
}
void qelCycles(const ColumnHandle& amplitude, const ColumnHandle& length, const ColumnHandle& start,
               const ColumnHandle& function, const ColumnHandle& time, TableHandle& result) {
    FPKCommonFunctions::Cycles(amplitude.get(), length.get(), start.get(), function.get(), time.get(), result.get());
}

}  // namespace businessFunctions
