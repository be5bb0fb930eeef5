// LAST, CUMULATE_DECUMULATE, MAX_MIN_VALUE and FUNDS.
#include "fpkCommonFunctions.h"

#include "../common/fpkAllocator.h"
#include "../common/fpkColumnIO.h"
#include "../common/fpkColumnJob.h"
#include "../common/fpkCommonCode.h"
#include "../common/fpkDefines.h"
#include "../common/fpkTrace.h"
#include "../interface/FPKQELInterfaces.h"

namespace businessFunctions {

namespace {
FPK_FUNCTION_ALLOCATOR(lastAllocator, "LastAllocator")
FPK_FUNCTION_ALLOCATOR(cumulateAllocator, "CumulateDecumulateAllocator")
FPK_FUNCTION_ALLOCATOR(maxMinAllocator, "Max_Mix_ValueAllocator")
FPK_FUNCTION_ALLOCATOR(fundsAllocator, "FundsAllocator")
}  // namespace

namespace series {

void last(const double* v, double* out, std::size_t n) {
    double carry = 0;
    for (std::size_t i = 0; i < n; ++i) {
        if (v[i] != 0) carry = v[i];
        out[i] = carry;
    }
}

void cumulate(const double* v, double* out, std::size_t n) {
    double s = 0;
    for (std::size_t i = 0; i < n; ++i) {
        s = s + v[i];
        out[i] = s;
    }
}

void decumulate(const double* v, double* out, std::size_t n) {
    if (n == 0) return;
    out[0] = v[0];
    for (std::size_t i = 1; i < n; ++i) out[i] = v[i] - v[i - 1];
}

void runningExtreme(const double* v, double* out, std::size_t n, bool maximum) {
    if (n == 0) return;
    double m = v[0];
    out[0] = m;
    for (std::size_t i = 1; i < n; ++i) {
        if (maximum ? v[i] > m : v[i] < m) m = v[i];
        out[i] = m;
    }
}

void funds(const double* v, double* out, std::size_t n, FPKCommonFunctions::FundsSign sign) {
    switch (sign) {
        case FPKCommonFunctions::POSITIVE:
            for (std::size_t i = 0; i < n; ++i) out[i] = v[i] > 0 ? v[i] : 0.0;
            break;
        case FPKCommonFunctions::NEGATIVE:
            for (std::size_t i = 0; i < n; ++i) out[i] = v[i] < 0 ? v[i] : 0.0;
            break;
        case FPKCommonFunctions::ALL:
            for (std::size_t i = 0; i < n; ++i) out[i] = v[i];
            break;
    }
}

}  // namespace series

void FPKCommonFunctions::Last(ColumnBase* prime, InternalTable* result) {
    traceInfo(TRACE_FPKLAST, "Information: FPKCommonFunctions::Last() begin");
    Verifier::verify(prime, "d", "PRIME");
    Verifier::verify(result, "d");
    const IoSite readSite{TRACE_FPKLAST, "inputcol->getNative failed."};
    const IoSite writeSite{TRACE_FPKLAST, "lastcol->setNative failed."};
    ColumnBase* out = result->getColumn(0);
    const std::size_t n = prime->size();
    FpkVector<double> v = readDoubles(prime, lastAllocator(), readSite);
    FpkVector<double> r = makeVector<double>(lastAllocator(), n);
    series::last(v.data(), r.data(), n);
    writeDoubles(out, r.data(), n, writeSite);
}

void FPKCommonFunctions::Cumulation_DeCumulate(ColumnBase* value, InternalTable* result, int flag) {
    traceInfo(TRACE_FPKCUMULATION_DECUMULATE, "Information: FPKCommonFunctions::Cumulation_DeCumulate() begin");
    const CumulateFlag mode = flag == 0 ? CUMULATE : DECUMULATE;
    Verifier::verify(value, "d", "VALUE");
    Verifier::verify(result, "d");
    const std::size_t n = value->size();
    if (n == 0)
        FPK_RAISE(ERR_FPK_COMM_INVALID_COL_SIZE, {"SIZE", 0}, {"COL", "VALUE"}, {"APPEND", "VALUE should not be empty"});
    FpkVector<double> v =
        readDoubles(value, cumulateAllocator(), {TRACE_FPKCUMULATION_DECUMULATE, "valuecol->getNative failed."});
    FpkVector<double> r = makeVector<double>(cumulateAllocator(), n);
    if (mode == CUMULATE)
        series::cumulate(v.data(), r.data(), n);
    else
        series::decumulate(v.data(), r.data(), n);
    writeDoubles(result->getColumn(0), r.data(), n,
                 {TRACE_FPKCUMULATION_DECUMULATE, "cumulated_decumulatecol->setNative failed."});
}

void FPKCommonFunctions::Max_Min_Value(ColumnBase* value, InternalTable* result, int flag) {
    traceInfo(TRACE_FPKMAX_MIX_VALUE, "Information: FPKCommonFunctions::Max_Min_Value() begin");
    const MaxMinFlag mode = flag == 0 ? MAXIMUM : MINIMUM;
    Verifier::verify(value, "d", "VALUE");
    Verifier::verify(result, "d");
    const std::size_t n = value->size();
    if (n == 0)
        FPK_RAISE(ERR_FPK_COMM_INVALID_COL_SIZE, {"SIZE", 0}, {"COL", "VALUE"}, {"APPEND", "VALUE should not be empty"});
    FpkVector<double> v = readDoubles(value, maxMinAllocator(), {TRACE_FPKMAX_MIX_VALUE, "valuecol->getNative failed."});
    FpkVector<double> r = makeVector<double>(maxMinAllocator(), n);
    series::runningExtreme(v.data(), r.data(), n, mode == MAXIMUM);
    writeDoubles(result->getColumn(0), r.data(), n, {TRACE_FPKMAX_MIX_VALUE, "max_mixvaluecol->setNative failed."});
}

namespace {
// FUNDS over one row range: reads ASSETS, keeps the chosen sign, writes FUNDS.
class Fundsvol final : public ColumnJob {
public:
    Fundsvol(ColumnBase* assets, ColumnBase* funds, int sign) : assets_(assets), funds_(funds), sign_(sign) {}
    Fundsvol(const Fundsvol&) = default;

    template <class T>
    void run(std::size_t begin, std::size_t end) {
        FpkVector<T> in = readDoubles(assets_, begin, end, fundsAllocator(), {TRACE_FPKFUNDS, "assetscol->getNative failed."});
        FpkVector<T> out = makeVector<T>(fundsAllocator(), end - begin);
        series::funds(in.data(), out.data(), end - begin, static_cast<FPKCommonFunctions::FundsSign>(sign_));
        writeRange(funds_, begin, end, out.data(), nullptr, {TRACE_FPKFUNDS, "fundscol->setNative failed."});
    }
    void operator()(std::size_t begin, std::size_t end) override { run<double>(begin, end); }

private:
    ColumnBase* assets_;
    ColumnBase* funds_;
    int sign_;
};
}  // namespace

void FPKCommonFunctions::Funds(ColumnBase* assets, ColumnBase* sign, InternalTable* result) {
    traceInfo(TRACE_FPKFUNDS, "Information: FPKCommonFunctions::Funds() begin");
    Verifier::verify(assets, "d", "ASSETS");
    Verifier::verify(sign, "I", "SIGN");
    Verifier::verify(result, "d");
    ColumnBase* out = result->getColumn(0);
    if (out->isReadOnly()) FPK_RAISE(ERR_FPK_COMM_COL_READ_ONLY, {"COL", "FUNDS"});
    const IoSite writeSite{TRACE_FPKFUNDS, "fundscol->setNative failed."};
    const std::size_t n = assets->size();
    if (n == 0) {
        resizeColumn(out, 0, writeSite);
        return;
    }
    FundsSign mode = ALL;
    if (sign->size() > 0) {
        FpkVector<int32_t> s = readInts(sign, 0, 1, fundsAllocator(), {TRACE_FPKFUNDS, "signcol->getNative failed."});
        mode = s[0] > 0 ? POSITIVE : (s[0] < 0 ? NEGATIVE : ALL);
    }
    resizeColumn(out, n, writeSite);
    RhoUtils::SharedPtr<Fundsvol> job = makeJob<Fundsvol>(fundsAllocator(), assets, out, static_cast<int>(mode));
    runColumnJob(*job, n, "Funds", __FILE__, __LINE__);
}

// Front doors.
void qelLast(const ColumnHandle& prime, TableHandle& result) { FPKCommonFunctions::Last(prime.get(), result.get()); }

void qelCumulate_Decumulate(const ColumnHandle& value, TableHandle& result, int flag) {
    FPKCommonFunctions::Cumulation_DeCumulate(value.get(), result.get(), flag);
}

void qelMax_Min_Value(const ColumnHandle& value, TableHandle& result, int flag) {
    FPKCommonFunctions::Max_Min_Value(value.get(), result.get(), flag);
}

void qelFunds(const ColumnHandle& assets, const ColumnHandle& sign, TableHandle& result) {
    FPKCommonFunctions::Funds(assets.get(), sign.get(), result.get());
}

}  // namespace businessFunctions
