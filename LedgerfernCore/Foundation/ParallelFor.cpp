#include "Foundation/ParallelFor.h"

#include <algorithm>
#include <atomic>
#include <system_error>
#include <thread>
#include <vector>

#include "Foundation/Check.h"

namespace ledgerfern {

namespace {

void work(std::size_t count, std::size_t worker, std::atomic<std::size_t>& next, const ParallelJob& job) {
    try {
        for (std::size_t index = next++; index < count; index = next++)
            job(index, worker);
    } catch (...) {
        fault("a parallel job threw");
    }
}

}  // namespace

std::size_t workerCount(std::size_t count, std::size_t workers) {
    const std::size_t wanted = workers == 0 ? std::thread::hardware_concurrency() : workers;
    return std::min(count, std::max<std::size_t>(wanted, 1));
}

void parallelFor(std::size_t count, std::size_t workers, const ParallelJob& job) {
    std::atomic<std::size_t> next = 0;
    std::vector<std::thread> threads;
    threads.reserve(workerCount(count, workers));
    try {
        for (std::size_t worker = 1; worker < workerCount(count, workers); ++worker)
            threads.emplace_back([&, worker] { work(count, worker, next, job); });
    } catch (const std::system_error&) {
        // The system has no thread to spare: those that there are do all the work.
    }
    work(count, 0, next, job);
    for (std::thread& thread : threads)
        thread.join();
}

}  // namespace ledgerfern
