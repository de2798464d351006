#include "Application/QtMainLoop.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QEventLoop>
#include <QThread>
#include <atomic>
#include <thread>
#include <vector>

#include "Application/ThreadWorkers.h"

namespace ledgerfern {
namespace {

class QtMainLoopTest : public testing::Test {
protected:
    /// Turns until somebody calls `end`.
    void turn() { turning.exec(); }
    void end() { turning.quit(); }

    int count = 0;
    char name[5] = "test";
    char* arguments[2] = {name, nullptr};
    int argumentCount = 1;
    QCoreApplication application{argumentCount, arguments};
    QEventLoop turning;
    QtMainLoop loop;
};

TEST_F(QtMainLoopTest, runsWhatIsPostedInItsOrderAndNeverAtOnce) {
    std::vector<int> order;
    loop.post([&] {
        order.push_back(1);
        loop.post([&] {
            order.push_back(3);
            end();
        });
    });
    loop.post([&] { order.push_back(2); });
    EXPECT_TRUE(order.empty());
    turn();
    EXPECT_EQ(order, (std::vector<int>{1, 2, 3}));
}

TEST_F(QtMainLoopTest, takesWorkFromManyThreads) {
    constexpr int threads = 8, each = 500;
    int ran = 0;
    bool onMainThread = true;
    std::vector<std::thread> posting;
    for (int i = 0; i < threads; ++i)
        posting.emplace_back([&] {
            for (int k = 0; k < each; ++k)
                loop.post([&, here = std::this_thread::get_id()] {
                    onMainThread = onMainThread && std::this_thread::get_id() != here;
                    if (++ran == threads * each) end();
                });
        });
    turn();
    for (auto& thread : posting)
        thread.join();
    EXPECT_EQ(ran, threads * each);
    EXPECT_TRUE(onMainThread);
}

TEST_F(QtMainLoopTest, runsTimersOnceAndAgain) {
    int once = 0, often = 0;
    loop.after(0.001, [&] { ++once; });
    loop.every(0.002, [&] {
        if (++often == 3) end();
    });
    turn();
    EXPECT_EQ(once, 1);
    EXPECT_EQ(often, 3);
}

TEST_F(QtMainLoopTest, hearsFromWorkers) {
    ThreadWorkers workers;
    for (const WorkPriority priority : {WorkPriority::userInitiated, WorkPriority::utility})
        workers.start(priority, [&] {
            loop.post([&] {
                if (++count == 2) end();
            });
        });
    turn();
    EXPECT_EQ(count, 2);
    EXPECT_TRUE(workers.waitUntilIdle(std::chrono::minutes(1)));
}

TEST(ThreadWorkers, saysWhetherWorkStillRuns) {
    ThreadWorkers workers;
    EXPECT_TRUE(workers.waitUntilIdle(std::chrono::milliseconds(0)));
    std::atomic<bool> mayEnd = false;
    workers.start(WorkPriority::utility, [&] { mayEnd.wait(false); });
    EXPECT_FALSE(workers.waitUntilIdle(std::chrono::milliseconds(1)));
    mayEnd = true;
    mayEnd.notify_all();
    EXPECT_TRUE(workers.waitUntilIdle(std::chrono::minutes(1)));
}

}  // namespace
}  // namespace ledgerfern
