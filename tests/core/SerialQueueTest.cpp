#include "Foundation/SerialQueue.h"

#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <thread>
#include <vector>

namespace ledgerfern {
namespace {

TEST(SerialQueue, runsWorkOnTheCallingThreadAndReturnsItsValue) {
    SerialQueue queue("ledgerfern.test");
    EXPECT_EQ(queue.label(), "ledgerfern.test");
    EXPECT_EQ(queue.sync([] { return std::this_thread::get_id(); }), std::this_thread::get_id());
    EXPECT_EQ(*queue.sync([] { return std::make_unique<int>(7); }), 7);
    int value = 1;
    queue.sync([&]() -> int& { return value; }) = 2;
    EXPECT_EQ(value, 2);
    queue.sync([&] { value = 3; });
    EXPECT_EQ(value, 3);
}

TEST(SerialQueue, runsOnePieceOfWorkAtATime) {
    SerialQueue queue("test");
    int count = 0;  // unguarded: the thread sanitizer sees it if two run at once
    std::vector<std::thread> threads;
    for (int t = 0; t < 8; ++t)
        threads.emplace_back([&] {
            for (int i = 0; i < 500; ++i)
                queue.sync([&] { ++count; });
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(count, 4000);
    EXPECT_EQ(queue.waitingCount(), 0u);
}

TEST(SerialQueue, servesInTheOrderOfComing) {
    SerialQueue queue("test");
    std::vector<int> order;
    std::vector<std::thread> threads;
    queue.sync([&] {
        for (int t = 0; t < 6; ++t) {
            threads.emplace_back([&, t] { queue.sync([&, t] { order.push_back(t); }); });
            while (queue.waitingCount() != static_cast<std::uint64_t>(t) + 1)
                std::this_thread::yield();
        }
        EXPECT_TRUE(order.empty());
    });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(order, (std::vector<int>{0, 1, 2, 3, 4, 5}));
}

TEST(SerialQueue, goesOnAfterWorkThatThrows) {
    SerialQueue queue("test");
    EXPECT_THROW(queue.sync([]() -> int { throw std::runtime_error("no"); }), std::runtime_error);
    EXPECT_EQ(queue.sync([] { return 5; }), 5);
}

TEST(SerialQueueDeathTest, workThatWaitsForItselfIsAFault) {
    SerialQueue queue("test");
    EXPECT_DEATH(queue.sync([&] { queue.sync([] {}); }), "waits for itself");
}

}  // namespace
}  // namespace ledgerfern
