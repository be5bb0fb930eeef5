// The parallel-for of the reference host: a fixed pool of worker threads and
// a queue of range tasks. A caller waiting for its ranges runs queued tasks
// itself, so a parallel-for started inside a range job cannot starve.
#include <algorithm>
#include <condition_variable>
#include <cstdlib>
#include <deque>
#include <exception>
#include <functional>
#include <mutex>
#include <thread>

#include "../../platform/RhoUtils/Parallel.h"
#include "QELHost.h"

namespace qelhost {
namespace {

struct Group {
    std::mutex mutex;
    std::condition_variable done;
    std::size_t pending = 0;
    std::exception_ptr error;
    std::size_t errorRange = static_cast<std::size_t>(-1);
};

struct Task {
    RhoUtils::Parallel::RangeFunctor* job;
    std::size_t begin, end, index;
    Group* group;
};

void runTask(const Task& t) {
    // Once a range has failed, the ranges after it are skipped: the call
    // fails anyway. Ranges before it still run, so the error a user sees is
    // always that of the lowest failing range, whatever the thread timing.
    bool skip;
    {
        std::lock_guard<std::mutex> lock(t.group->mutex);
        skip = t.index > t.group->errorRange;
    }
    std::exception_ptr error;
    if (!skip) {
        try {
            (*t.job)(t.begin, t.end);
        } catch (...) {
            error = std::current_exception();
        }
    }
    std::lock_guard<std::mutex> lock(t.group->mutex);
    if (error && t.index < t.group->errorRange) {
        t.group->error = std::move(error);
        t.group->errorRange = t.index;
    }
    // The task lets go of its exception before the caller can see the last
    // range finish: the caller then holds the only reference to the error it
    // rethrows, and no worker frees an exception the caller still reads.
    error = nullptr;
    if (--t.group->pending == 0) t.group->done.notify_all();
}

class Pool {
public:
    Pool() {
        unsigned n = std::thread::hardware_concurrency();
        if (const char* env = std::getenv("FPK_THREADS")) n = static_cast<unsigned>(std::strtoul(env, nullptr, 10));
        resize(n == 0 ? 1 : n);
    }
    ~Pool() { stop(); }

    void resize(unsigned n) {
        stop();
        std::lock_guard<std::mutex> lock(mutex_);
        stopping_ = false;
        threads_ = n == 0 ? 1 : n;
        // The calling thread runs ranges too, so threads_ - 1 workers.
        for (unsigned i = 1; i < threads_; ++i) workers_.emplace_back([this] { work(); });
    }
    unsigned threads() const { return threads_; }

    // Queues tasks with one lock and one wake-up for all of them.
    void push(const std::vector<Task>& tasks) {
        if (tasks.empty()) return;
        {
            std::lock_guard<std::mutex> lock(mutex_);
            queue_.insert(queue_.end(), tasks.begin(), tasks.end());
        }
        if (tasks.size() == 1)
            wake_.notify_one();
        else
            wake_.notify_all();
    }

    // Runs one queued task on the calling thread; false when none is queued.
    bool helpOnce() {
        Task t;
        {
            std::lock_guard<std::mutex> lock(mutex_);
            if (queue_.empty()) return false;
            t = queue_.front();
            queue_.pop_front();
        }
        runTask(t);
        return true;
    }

    std::mutex statsMutex;
    ParallelStats stats;

private:
    void work() {
        for (;;) {
            Task t;
            {
                std::unique_lock<std::mutex> lock(mutex_);
                wake_.wait(lock, [this] { return stopping_ || !queue_.empty(); });
                if (stopping_ && queue_.empty()) return;
                t = queue_.front();
                queue_.pop_front();
            }
            runTask(t);
        }
    }
    void stop() {
        {
            std::lock_guard<std::mutex> lock(mutex_);
            stopping_ = true;
        }
        wake_.notify_all();
        for (std::thread& w : workers_) w.join();
        workers_.clear();
    }

    std::mutex mutex_;
    std::condition_variable wake_;
    std::deque<Task> queue_;
    std::vector<std::thread> workers_;
    unsigned threads_ = 1;
    bool stopping_ = false;
};

Pool& pool() {
    static Pool p;
    return p;
}

}  // namespace

void setThreadCount(unsigned threads) { pool().resize(threads); }
unsigned threadCount() { return pool().threads(); }
ParallelStats parallelStats() {
    std::lock_guard<std::mutex> lock(pool().statsMutex);
    return pool().stats;
}

}  // namespace qelhost

namespace RhoUtils {
namespace Parallel {

void parallelFor(std::size_t begin, std::size_t end, RangeFunctor& job, std::size_t minRange, int, const char*,
                 const char*, int) {
    using namespace qelhost;
    if (end <= begin) return;
    Pool& p = pool();
    const std::size_t rows = end - begin;
    if (minRange == 0) minRange = 1;
    // Ranges of minRange rows (rounded up to a multiple of 64, so that every
    // range starts on a 64-row boundary), handed out to the threads as they
    // come free. Short ranges keep each job's scratch arrays in the core's
    // cache and balance uneven rows; a very long column gets longer ranges so
    // that the queue stays short.
    constexpr std::size_t kMaxRangesPerThread = 1024;
    std::size_t chunk = std::max(minRange, (rows + p.threads() * kMaxRangesPerThread - 1) / (p.threads() * kMaxRangesPerThread));
    chunk = (chunk + 63) / 64 * 64;
    std::vector<std::pair<std::size_t, std::size_t>> ranges;
    for (std::size_t b = begin; b < end; b += chunk) ranges.emplace_back(b, std::min(end, b + chunk));
    {
        std::lock_guard<std::mutex> lock(p.statsMutex);
        ++p.stats.calls;
        p.stats.ranges += static_cast<long long>(ranges.size());
        p.stats.lastRanges = ranges;
    }
    if (ranges.size() == 1) {
        job(begin, end);
        return;
    }
    Group group;
    group.pending = ranges.size();
    std::vector<Task> tasks;
    tasks.reserve(ranges.size() - 1);
    for (std::size_t i = 1; i < ranges.size(); ++i) tasks.push_back(Task{&job, ranges[i].first, ranges[i].second, i, &group});
    p.push(tasks);
    runTask(Task{&job, ranges[0].first, ranges[0].second, 0, &group});
    for (;;) {
        {
            std::unique_lock<std::mutex> lock(group.mutex);
            if (group.pending == 0) break;
        }
        if (!p.helpOnce()) {
            std::unique_lock<std::mutex> lock(group.mutex);
            group.done.wait(lock, [&] { return group.pending == 0; });
            break;
        }
    }
    if (group.error) std::rethrow_exception(group.error);
}

}  // namespace Parallel
}  // namespace RhoUtils
