// Column jobs: reference-counted functors that compute one row range of a
// row-independent function, run on the host's parallel-for.
//
// A job class derives from ColumnJob, holds pointers to its columns and its
// settings, and implements operator()(begin, end) (usually by calling its
// templated run<T...>(begin, end) for the host value types of its columns).
// Jobs live in their function's allocator and give their memory back when
// the last reference goes.
#pragma once

#include <cstddef>
#include <new>
#include <utility>

#include "../platform/QELProfiler.h"
#include "../platform/RhoUtils/Allocator.h"
#include "../platform/RhoUtils/Parallel.h"
#include "../platform/RhoUtils/RefCounted.h"
#include "fpkAllocator.h"
#include "fpkColumnIO.h"

namespace businessFunctions {

// The smallest range handed to one job; a multiple of 64, so that every
// range starts where the host's column partitions may start.
inline constexpr std::size_t kMinJobRows = 64000;

// Rows a job reads, computes and writes at a time, so that its scratch
// arrays stay in the core's cache from the read to the write.
inline constexpr std::size_t kChunkRows = 16384;

// Calls f(chunkBegin, chunkEnd) on consecutive pieces of [begin, end) of at
// most kChunkRows rows.
template <class F>
void forEachChunk(std::size_t begin, std::size_t end, F&& f) {
    for (std::size_t c = begin; c < end; c += kChunkRows) f(c, end - c < kChunkRows ? end : c + kChunkRows);
}

class ColumnJob : public RhoUtils::RefCounted, public RhoUtils::Parallel::RangeFunctor {
public:
    ColumnJob() = default;
    ColumnJob(const ColumnJob& o) : RhoUtils::RefCounted(o), RangeFunctor(), alloc_(o.alloc_), bytes_(o.bytes_) {}
    ~ColumnJob() override = default;

    template <class Job, class... Args>
    friend RhoUtils::SharedPtr<Job> makeJob(RhoUtils::Allocator& alloc, Args&&... args);

protected:
    void destroy() noexcept override {
        RhoUtils::Allocator* alloc = alloc_;
        std::size_t bytes = bytes_;
        void* mem = dynamic_cast<void*>(this);  // the most-derived object's address
        this->~ColumnJob();
        alloc->deallocate(mem, bytes);
    }

private:
    RhoUtils::Allocator* alloc_ = nullptr;
    std::size_t bytes_ = 0;
};

// Makes a job in `alloc` (raising the internal error when the host has no
// memory); the handle holds the only reference.
template <class Job, class... Args>
RhoUtils::SharedPtr<Job> makeJob(RhoUtils::Allocator& alloc, Args&&... args) {
    void* mem = allocateOrRaise(alloc, sizeof(Job));
    Job* job;
    try {
        job = new (mem) Job(std::forward<Args>(args)...);
    } catch (...) {
        alloc.deallocate(mem, sizeof(Job));
        throw;
    }
    job->alloc_ = &alloc;
    job->bytes_ = sizeof(Job);
    return RhoUtils::SharedPtr<Job>::adopt(job);
}

// The whole of a numeric column as doubles, null rows read as 0. A long
// column is read by range jobs on the host's parallel-for (named `jobName`),
// a short one on the calling thread.
FpkVector<double> readWholeDoubles(const ColumnBase* col, RhoUtils::Allocator& alloc, IoSite site,
                                   const char* jobName);

// Runs a job over rows [0, rows) with the minimum range, inside a profiler
// section named after the function. Nothing runs for 0 rows.
inline void runColumnJob(RhoUtils::Parallel::RangeFunctor& job, std::size_t rows, const char* jobName,
                         const char* file, int line) {
    if (rows == 0) return;
    QELProfiler::Section section(file, line, jobName);
    RhoUtils::Parallel::parallelFor(0, rows, job, kMinJobRows, 1, jobName, file, line);
}

}  // namespace businessFunctions
