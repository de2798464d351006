#pragma once

#include <cstddef>
#include <functional>

namespace ledgerfern {

/// Receives an index below the count and the number of the worker that runs it, below `workerCount`.
using ParallelJob = std::function<void(std::size_t index, std::size_t worker)>;

/// How many workers `parallelFor` takes at most: `workers`, or one per processor for 0, and never more than
/// there are jobs.
std::size_t workerCount(std::size_t count, std::size_t workers);

/// Runs `job` once for each index below `count` and returns when all are done. The calling thread is worker
/// 0; a worker takes the next index when it is through with one. A job that throws is a fault.
void parallelFor(std::size_t count, std::size_t workers, const ParallelJob& job);

}  // namespace ledgerfern
