// VOLUMEDRIVER: banded percentages over a salary, like a progressive schedule.
#include "fpkVolumeDriver.h"

#include <cmath>
#include <limits>

#include "../common/fpkAllocator.h"
#include "../common/fpkColumnIO.h"
#include "../common/fpkColumnJob.h"
#include "../common/fpkCommonCode.h"
#include "../common/fpkDefines.h"
#include "../common/fpkTrace.h"
#include "../interface/FPKQELInterfaces.h"

namespace businessFunctions {

namespace {
FPK_FUNCTION_ALLOCATOR(volumeDriverAllocator, "VolumeDriverAllocator")

const QELTrace::Topic& topic() { return TRACE_FPKVOLUMEDRIVER; }
}  // namespace

namespace kernel {
void bandLimits(const double* width, std::size_t w, double* upper) {
    double u = 0;
    for (std::size_t q = 0; q < w; ++q) {
        u = q == 0 ? width[0] : u + width[q];
        upper[q] = u;
    }
}

void overhead(const Bands& bands, const double* salary, std::size_t n, double* out) {
    for (std::size_t i = 0; i < n; ++i) {
        const double x = salary[i];
        if (!std::isfinite(x)) {
            out[i] = std::numeric_limits<double>::quiet_NaN();
            continue;
        }
        const double s = std::fabs(x);
        double f = 0;
        double lower = 0;
        for (std::size_t q = 0; q <= bands.w; ++q) {
            const double top = q < bands.w ? (s < bands.upper[q] ? s : bands.upper[q]) : s;
            const double part = top > lower ? top - lower : 0.0;
            f += bands.percent[q] * part / 100;
            if (q < bands.w) lower = bands.upper[q];
        }
        out[i] = x >= 0 ? f : -f;
    }
}
}  // namespace kernel

namespace {

// VOLUMEDRIVER over one row range: reads SALARY, writes OVERHEAD; the band
// table is the call's, prepared once.
class volumeDrivervol final : public ColumnJob {
public:
    volumeDrivervol(ColumnBase* salary, ColumnBase* percent, ColumnBase* bandwidth, ColumnBase* overhead,
                    kernel::Bands bands)
        : salary_(salary), percent_(percent), bandwidth_(bandwidth), overhead_(overhead), bands_(bands) {}
    volumeDrivervol(const volumeDrivervol&) = default;

    template <class TSalary, class TPercent, class TBandwidth>
    void run(std::size_t begin, std::size_t end) {
        RhoUtils::Allocator& alloc = volumeDriverAllocator();
        FpkVector<TSalary> salary = readDoubles(salary_, begin, end, alloc, {topic(), "salaryCol->getNative failed."});
        FpkVector<TSalary> out = makeVector<TSalary>(alloc, end - begin);
        kernel::overhead(bands_, salary.data(), end - begin, out.data());
        writeRange(overhead_, begin, end, out.data(), nullptr, {topic(), "overheadCol->setNative failed."});
    }
    void operator()(std::size_t begin, std::size_t end) override { run<double, double, double>(begin, end); }

private:
    ColumnBase* salary_;
    [[maybe_unused]] ColumnBase* percent_;
    [[maybe_unused]] ColumnBase* bandwidth_;
    ColumnBase* overhead_;
    kernel::Bands bands_;
};

}  // namespace

void FPKVolumeDriver::execute() {
    traceInfo(topic(), "Information: FPKVolumeDriver::execute() begin");
    Verifier::verify(salaryCol, "d");
    Verifier::verify(percentCol, "d");
    Verifier::verify(bandwidthCol, "d");
    Verifier::verify(resultTab, "d");
    ColumnBase* overheadCol = resultTab->getColumn(0);
    if (overheadCol->isReadOnly()) FPK_RAISE(ERR_FPK_COMM_COL_READ_ONLY, {"COL", overheadCol->getName()});
    if (!overheadCol->isFixedSize()) FPK_RAISE(ERR_FPK_COMM_COL_NOT_FIXED_SIZE_TYPE, {"COL", overheadCol->getName()});
    const std::size_t w = bandwidthCol->size();
    if (percentCol->size() != w + 1)
        FPK_RAISE(ERR_FPK_COMM_INVALID_COL_SIZE, {"SIZE", percentCol->size()}, {"COL", percentCol->getName()},
                  {"APPEND", "Size should be equal to (size of column BANDWIDTH + 1)"});
    RhoUtils::Allocator& alloc = volumeDriverAllocator();
    FpkVector<double> width = readDoubles(bandwidthCol, alloc, {topic(), "bandwidthCol->getNative failed."});
    for (std::size_t q = 0; q < w; ++q)
        if (!(std::isfinite(width[q]) && width[q] > 0))
            FPK_RAISE(ERR_FPK_COMM_INVALID_COL_VALUE, {"COL", bandwidthCol->getName()},
                      {"APPEND", "Bandwidth should be greater than 0"});
    FpkVector<double> percent = readDoubles(percentCol, alloc, {topic(), "percentCol->getNative failed."});
    FpkVector<double> upper = makeVector<double>(alloc, w);
    kernel::bandLimits(width.data(), w, upper.data());
    const std::size_t n = salaryCol->size();
    resizeColumn(overheadCol, n, {topic(), "overheadCol->setNative failed."});
    RhoUtils::SharedPtr<volumeDrivervol> job = makeJob<volumeDrivervol>(
        alloc, salaryCol, percentCol, bandwidthCol, overheadCol, kernel::Bands{upper.data(), percent.data(), w});
    runColumnJob(*job, n, "VolumeDriver", __FILE__, __LINE__);
}

void qelVolumeDriver(const ColumnHandle& salary, const ColumnHandle& percent, const ColumnHandle& bandwidth,
                     TableHandle& result) {
    FPKVolumeDriver(salary.get(), percent.get(), bandwidth.get(), result.get()).execute();
}

}  // namespace businessFunctions
