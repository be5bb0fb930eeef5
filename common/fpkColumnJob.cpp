#include "fpkColumnJob.h"

namespace businessFunctions {

namespace {
// Reads one row range of a column into the matching rows of a native array.
class WholeReadJob final : public ColumnJob {
public:
    WholeReadJob(const ColumnBase* col, double* out, RhoUtils::Allocator& alloc, IoSite site)
        : col_(col), out_(out), scratch_(&alloc), site_(site) {}
    WholeReadJob(const WholeReadJob&) = default;

    void operator()(std::size_t begin, std::size_t end) override {
        FpkVector<NullFlags> nulls = makeScratch<NullFlags>(*scratch_, std::min(end - begin, kChunkRows));
        forEachChunk(begin, end, [&](std::size_t c, std::size_t stop) {
            readRange(col_, c, stop, out_ + c, nulls.data(), site_);
            replaceNulls(out_ + c, nulls.data(), stop - c, 0.0);
        });
    }

private:
    const ColumnBase* col_;
    double* out_;
    RhoUtils::Allocator* scratch_;
    IoSite site_;
};
}  // namespace

FpkVector<double> readWholeDoubles(const ColumnBase* col, RhoUtils::Allocator& alloc, IoSite site,
                                   const char* jobName) {
    if (col == nullptr) FPK_RAISE_TRACED(site.topic, site.failLine, ERR_FPK_COMM_INTERNAL_ERR);
    const std::size_t n = col->size();
    FpkVector<double> out = makeScratch<double>(alloc, n);
    if (n == 0) return out;
    RhoUtils::SharedPtr<WholeReadJob> job = makeJob<WholeReadJob>(alloc, col, out.data(), alloc, site);
    RhoUtils::Parallel::parallelFor(0, n, *job, kMinJobRows, 1, jobName, __FILE__, __LINE__);
    return out;
}

}  // namespace businessFunctions
