#include "Foundation/ParallelFor.h"

#include <gtest/gtest.h>

#include <atomic>
#include <latch>
#include <mutex>
#include <set>
#include <stdexcept>
#include <thread>
#include <vector>

namespace ledgerfern {
namespace {

TEST(ParallelFor, runsEachIndexOnce) {
    for (const std::size_t workers : {0u, 1u, 2u, 3u, 8u}) {
        std::vector<int> runs(10'000);  // each job writes its own slot
        parallelFor(runs.size(), workers, [&](std::size_t index, std::size_t) { ++runs[index]; });
        EXPECT_EQ(runs, std::vector<int>(10'000, 1)) << workers;
    }
}

TEST(ParallelFor, doesNothingForNoJobs) {
    parallelFor(0, 4, [](std::size_t, std::size_t) { FAIL(); });
    EXPECT_EQ(workerCount(0, 4), 0u);
}

TEST(ParallelFor, takesNoMoreWorkersThanJobs) {
    EXPECT_EQ(workerCount(3, 8), 3u);
    EXPECT_EQ(workerCount(8, 3), 3u);
    EXPECT_EQ(workerCount(5, 1), 1u);
    EXPECT_GE(workerCount(1000, 0), 1u);
    std::mutex mutex;
    std::set<std::size_t> seen;
    parallelFor(3, 8, [&](std::size_t, std::size_t worker) {
        const std::lock_guard lock(mutex);
        seen.insert(worker);
    });
    EXPECT_LT(*seen.rbegin(), 3u);
}

TEST(ParallelFor, givesEachWorkerAThreadOfItsOwn) {
    constexpr std::size_t workers = 3;
    std::vector<std::vector<int>> scratch(workers);  // unguarded, as it belongs to the worker
    parallelFor(5'000, workers, [&](std::size_t, std::size_t worker) { scratch.at(worker).push_back(1); });
    std::size_t all = 0;
    for (const auto& part : scratch)
        all += part.size();
    EXPECT_EQ(all, 5'000u);
}

TEST(ParallelFor, runsAllInOrderOnTheCallingThreadForOneWorker) {
    std::vector<std::size_t> order;
    parallelFor(5, 1, [&](std::size_t index, std::size_t worker) {
        EXPECT_EQ(worker, 0u);
        order.push_back(index);
    });
    EXPECT_EQ(order, (std::vector<std::size_t>{0, 1, 2, 3, 4}));
}

TEST(ParallelFor, runsJobsAtTheSameTimeWithTheCallerAmongThem) {
    std::latch meeting(3);
    std::atomic<int> onCaller = 0;
    const auto caller = std::this_thread::get_id();
    parallelFor(3, 3, [&](std::size_t, std::size_t worker) {
        meeting.arrive_and_wait();  // nobody gets past it unless all three run
        EXPECT_EQ(worker == 0, std::this_thread::get_id() == caller);
        onCaller += worker == 0 ? 1 : 0;
    });
    EXPECT_EQ(onCaller, 1);
}

TEST(ParallelForDeathTest, aJobThatThrowsIsAFault) {
    EXPECT_DEATH(parallelFor(2, 1, [](std::size_t, std::size_t) { throw std::runtime_error("no"); }),
                 "threw");
}

}  // namespace
}  // namespace ledgerfern
