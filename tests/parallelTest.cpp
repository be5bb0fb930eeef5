// The host's parallel-for and allocator accounting, as the column jobs use them.
#include <atomic>
#include <mutex>
#include <set>
#include <thread>

#include "common/fpkColumnJob.h"
#include "platform/RhoUtils/Parallel.h"
#include "testSupport.h"

namespace {
struct Recorder : RhoUtils::Parallel::RangeFunctor {
    std::mutex m;
    std::vector<std::pair<std::size_t, std::size_t>> ranges;
    std::set<std::thread::id> threads;
    std::size_t throwAt = static_cast<std::size_t>(-1);
    void operator()(std::size_t b, std::size_t e) override {
        {
            std::lock_guard<std::mutex> l(m);
            ranges.emplace_back(b, e);
            threads.insert(std::this_thread::get_id());
        }
        if (b <= throwAt && throwAt < e) throw std::runtime_error("range " + std::to_string(b));
    }
};

struct ThreadCount {
    explicit ThreadCount(unsigned n) : saved(qelhost::threadCount()) { qelhost::setThreadCount(n); }
    ~ThreadCount() { qelhost::setThreadCount(saved); }
    unsigned saved;
};
}  // namespace

TEST(ParallelFor, RangesCoverAlignedAndNotTooShort) {
    ThreadCount tc(4);
    for (std::size_t n : {1ul, 63ul, 64000ul, 64001ul, 128000ul, 1000000ul, 1234567ul}) {
        Recorder r;
        RhoUtils::Parallel::parallelFor(0, n, r, 64000, 1, "test", __FILE__, __LINE__);
        std::sort(r.ranges.begin(), r.ranges.end());
        std::size_t next = 0;
        for (std::size_t i = 0; i < r.ranges.size(); ++i) {
            auto [b, e] = r.ranges[i];
            EXPECT_EQ(next, b) << n;
            EXPECT_EQ(0u, b % 64) << n;
            if (i + 1 < r.ranges.size()) {
                EXPECT_GE(e - b, 64000u) << n;
            }
            next = e;
        }
        EXPECT_EQ(n, next);
        if (n <= 64000) {
            EXPECT_EQ(1u, r.ranges.size()) << n;
            EXPECT_EQ(std::this_thread::get_id(), *r.threads.begin()) << "a short column stays on the caller";
        }
    }
}

TEST(ParallelFor, FirstRangeErrorReachesCaller) {
    ThreadCount tc(4);
    Recorder r;
    r.throwAt = 700000;
    try {
        RhoUtils::Parallel::parallelFor(0, 1000000, r, 64000, 1, "test", __FILE__, __LINE__);
        FAIL();
    } catch (const std::runtime_error& e) {
        EXPECT_EQ(0u, std::string(e.what()).find("range "));
    }
    // Ranges up to the failing one all run; the ones after it may be skipped.
    std::sort(r.ranges.begin(), r.ranges.end());
    ASSERT_FALSE(r.ranges.empty());
    EXPECT_EQ(0u, r.ranges.front().first);
    for (std::size_t i = 1; i < r.ranges.size() && r.ranges[i - 1].second <= r.throwAt; ++i)
        EXPECT_EQ(r.ranges[i - 1].second, r.ranges[i].first) << "no range before the failing one is skipped";
}

TEST(ParallelFor, NestedCallsDoNotStarve) {
    ThreadCount tc(2);
    struct Outer : RhoUtils::Parallel::RangeFunctor {
        std::atomic<std::size_t> rows{0};
        void operator()(std::size_t b, std::size_t e) override {
            Recorder inner;
            RhoUtils::Parallel::parallelFor(0, 200000, inner, 64000, 1, "inner", __FILE__, __LINE__);
            rows += e - b;
        }
    } outer;
    RhoUtils::Parallel::parallelFor(0, 400000, outer, 64000, 1, "outer", __FILE__, __LINE__);
    EXPECT_EQ(400000u, outer.rows.load());
}

TEST(Allocators, HierarchyCountsOutstandingBytes) {
    RhoUtils::Allocator& lib = businessFunctions::getGlobalFPKAllocator();
    EXPECT_STREQ("QEL_FPKAllocator", lib.getName());
    EXPECT_EQ(&RhoUtils::getGlobalAllocator(), lib.getParent());
    RhoUtils::Allocator* child = lib.createChild("TestAllocator");
    EXPECT_EQ(child, lib.createChild("TestAllocator")) << "one allocator per name";
    const std::size_t before = lib.outstandingBytes();
    {
        businessFunctions::FpkVector<double> v = businessFunctions::makeVector<double>(*child, 1000);
        EXPECT_GE(child->outstandingBytes(), 8000u);
        EXPECT_GE(lib.outstandingBytes(), before + 8000u);
    }
    EXPECT_EQ(0u, child->outstandingBytes());
    EXPECT_EQ(before, lib.outstandingBytes());
}

TEST(Allocators, RefusedAllocationIsAnInternalError) {
    RhoUtils::Allocator* child = businessFunctions::getGlobalFPKAllocator().createChild("TestAllocator");
    qelhost::armFault(qelhost::Fault::Allocate, 1);
    try {
        businessFunctions::makeVector<double>(*child, 10);
        FAIL();
    } catch (const QELError::Exception& e) {
        EXPECT_EQ(73000090, e.getCode());
    }
    qelhost::disarmFaults();
    EXPECT_EQ(0u, child->outstandingBytes());
}

TEST(Allocators, ColumnJobGivesItsMemoryBack) {
    struct Job : businessFunctions::ColumnJob {
        void operator()(std::size_t, std::size_t) override {}
    };
    RhoUtils::Allocator* child = businessFunctions::getGlobalFPKAllocator().createChild("TestAllocator");
    {
        auto job = businessFunctions::makeJob<Job>(*child);
        EXPECT_EQ(sizeof(Job), child->outstandingBytes());
        businessFunctions::runColumnJob(*job, 10, "Job", __FILE__, __LINE__);
    }
    EXPECT_EQ(0u, child->outstandingBytes());
}
