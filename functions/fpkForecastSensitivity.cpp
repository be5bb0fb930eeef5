// FORECASTSENSITIVITY: utilisation, Erlang B and C, waiting times, queue
// length, tail probabilities and service level for a given agent count.
#include "fpkForecastSensitivity.h"

#include <cmath>

#include "../common/fpkAllocator.h"
#include "../common/fpkColumnIO.h"
#include "../common/fpkColumnJob.h"
#include "../common/fpkCommonCode.h"
#include "../common/fpkDefines.h"
#include "../common/fpkTrace.h"
#include "../interface/FPKQELInterfaces.h"
#include "fpkForecastAgents.h"

namespace businessFunctions {

namespace {
FPK_FUNCTION_ALLOCATOR(forecastSensitivityAllocator, "ForecastSensitivityAllocator")

const QELTrace::Topic& topic() { return TRACE_FPKFORECASTSENSITIVITY; }

using FS = FPKForecastSensitivity;
}  // namespace

namespace kernel {
void sensitivityRow(double agents, double srph, double aht, double st, double cqt, double cql,
                    double out[FS::METRIC_COUNT], bool valid[FS::METRIC_COUNT]) {
    for (int k = 0; k < FS::METRIC_COUNT; ++k) {
        out[k] = 0;
        valid[k] = false;
    }
    if (!(std::isfinite(aht) && aht > 0 && std::isfinite(srph) && srph >= 0)) return;
    const double a = srph * aht / 3600;
    out[FS::COMPLETION_RATE] = 3600 / aht;
    out[FS::TRAFFIC_RATE] = a;
    valid[FS::COMPLETION_RATE] = valid[FS::TRAFFIC_RATE] = true;
    const double n = std::trunc(agents);
    // Traffic beyond the model's working range is left null like a missing
    // agent count.
    if (!std::isfinite(agents) || n < 1 || !(a <= erlang::kMaxTraffic)) return;
    for (int k = FS::UTILIZATION; k < FS::METRIC_COUNT; ++k) valid[k] = true;
    const double b = erlang::erlangB(n, a);
    out[FS::UTILIZATION] = a / n * 100;
    out[FS::LOSS] = b * 100;
    if (n <= a) {
        // Unstable: the queue grows without limit.
        out[FS::DELAY] = 100;
        valid[FS::QUEUE_TIME] = valid[FS::QUEUE_LENGTH] = valid[FS::TIME_TO_AGENT] = false;
        out[FS::CQT_PROPORTION] = 100;
        out[FS::CQL_PROBABILITY] = 100;
        out[FS::SERVICE_LEVEL_PROVIDED] = 0;
        return;
    }
    const double c = erlang::erlangC(n, a, b);
    const double rho = a / n;
    out[FS::DELAY] = c * 100;
    out[FS::QUEUE_TIME] = c * aht / (n - a);
    out[FS::QUEUE_LENGTH] = c * a / (n - a);
    out[FS::TIME_TO_AGENT] = aht / (n - a);
    out[FS::CQT_PROPORTION] = cqt < 0 ? 100 : c * std::exp(-(n - a) * cqt / aht) * 100;
    out[FS::CQL_PROBABILITY] = cql < 0 ? 100 : c * std::pow(rho, std::floor(cql) + 1) * 100;
    out[FS::SERVICE_LEVEL_PROVIDED] = st < 0 ? 0 : (1 - c * std::exp(-(n - a) * st / aht)) * 100;
}
}  // namespace kernel

namespace {

// Rows [begin, end) of a column that may be shorter than the table: the rows
// it lacks read as 0.
FpkVector<double> readRangePadded(const ColumnBase* col, std::size_t begin, std::size_t end, IoSite site) {
    RhoUtils::Allocator& alloc = forecastSensitivityAllocator();
    const std::size_t have = col->size() < begin ? begin : (col->size() < end ? col->size() : end);
    FpkVector<double> v = readDoubles(col, begin, have, alloc, site);
    v.resize(end - begin, 0.0);
    return v;
}

// FORECASTSENSITIVITY over one row range: reads the six inputs, writes the
// eleven metrics with their null flags.
class forecastSensitivityvol final : public ColumnJob {
public:
    forecastSensitivityvol(ColumnBase* const* inputs, InternalTable* result) : result_(result) {
        for (int k = 0; k < 6; ++k) in_[k] = inputs[k];
    }
    forecastSensitivityvol(const forecastSensitivityvol&) = default;

    template <class T>
    void run(std::size_t begin, std::size_t end) {
        static const char* const readLines[6] = {"agentsCol->getNative failed.", "srphCol->getNative failed.",
                                                 "ahtCol->getNative failed.",    "stCol->getNative failed.",
                                                 "cqtCol->getNative failed.",    "cqlCol->getNative failed."};
        RhoUtils::Allocator& alloc = forecastSensitivityAllocator();
        const std::size_t rows = end - begin;
        FpkVector<T> in[6] = {makeVector<T>(alloc), makeVector<T>(alloc), makeVector<T>(alloc),
                              makeVector<T>(alloc), makeVector<T>(alloc), makeVector<T>(alloc)};
        for (int k = 0; k < 6; ++k) in[k] = readRangePadded(in_[k], begin, end, {topic(), readLines[k]});
        FpkVector<T> out = makeVector<T>(alloc, rows * FS::METRIC_COUNT);
        FpkVector<NullFlags> nulls = makeVector<NullFlags>(alloc, rows * FS::METRIC_COUNT);
        double row[FS::METRIC_COUNT];
        bool valid[FS::METRIC_COUNT];
        for (std::size_t i = 0; i < rows; ++i) {
            kernel::sensitivityRow(in[0][i], in[1][i], in[2][i], in[3][i], in[4][i], in[5][i], row, valid);
            for (int k = 0; k < FS::METRIC_COUNT; ++k) {
                out[k * rows + i] = valid[k] ? row[k] : 0.0;
                nulls[k * rows + i] = valid[k] ? 0 : 1;
            }
        }
        for (int k = 0; k < FS::METRIC_COUNT; ++k)
            writeRange(result_->getColumn(k), begin, end, out.data() + k * rows, nulls.data() + k * rows,
                       {topic(), "resultCol->setNative failed."});
    }
    void operator()(std::size_t begin, std::size_t end) override { run<double>(begin, end); }

private:
    ColumnBase* in_[6];
    InternalTable* result_;
};

}  // namespace

void FPKForecastSensitivity::execute() {
    traceInfo(topic(), "Information: FPKForecastSensitivity::execute() begin");
    Verifier::verify(agentsCol, "d");
    Verifier::verify(srphCol, "d");
    Verifier::verify(ahtCol, "d");
    Verifier::verify(stCol, "d");
    Verifier::verify(cqtCol, "d");
    Verifier::verify(cqlCol, "d");
    Verifier::verify(resultTab, "ddddddddddd");
    const std::size_t n = agentsCol->size();
    for (int k = 0; k < METRIC_COUNT; ++k) resizeColumn(resultTab->getColumn(k), n, {topic(), "resultCol->setNative failed."});
    ColumnBase* inputs[6] = {agentsCol, srphCol, ahtCol, stCol, cqtCol, cqlCol};
    RhoUtils::SharedPtr<forecastSensitivityvol> job =
        makeJob<forecastSensitivityvol>(forecastSensitivityAllocator(), inputs, resultTab);
    runColumnJob(*job, n, "ForecastSensitivity", __FILE__, __LINE__);
}

void qelForecastSensitivity(const ColumnHandle& agents, const ColumnHandle& srph, const ColumnHandle& aht,
                            const ColumnHandle& st, const ColumnHandle& cqt, const ColumnHandle& cql,
                            TableHandle& result) {
    FPKForecastSensitivity(agents.get(), srph.get(), aht.get(), st.get(), cqt.get(), cql.get(), result.get())
        .execute();
}

}  // namespace businessFunctions
