// The host's parallel-for: runs a range functor over disjoint row ranges on
// the host's worker threads.
#pragma once

#include <cstddef>

#include "../QELPlatform.h"

namespace RhoUtils {
namespace Parallel {

// A job over row ranges. operator() may run on several threads at once, each
// time for a different range; it must only touch its own rows.
class QEL_PLATFORM_API RangeFunctor {
public:
    virtual ~RangeFunctor();
    virtual void operator()(std::size_t begin, std::size_t end) = 0;
};

// Runs job over [begin, end). No range is shorter than minRange (the last one
// excepted) and every range but the first starts at a multiple of 64. A range
// of at most minRange rows runs as one job on the calling thread. The first
// exception a range job throws is rethrown on the calling thread once every
// started range has finished. `grain` is accepted for compatibility and
// ignored; jobName names the call in the host's diagnostics.
QEL_PLATFORM_API void parallelFor(std::size_t begin, std::size_t end, RangeFunctor& job,
                                  std::size_t minRange, int grain, const char* jobName,
                                  const char* file, int line);

}  // namespace Parallel
}  // namespace RhoUtils
