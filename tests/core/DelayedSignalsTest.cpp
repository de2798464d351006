#include "Foundation/DelayedSignals.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <latch>
#include <thread>

namespace ledgerfern {
namespace {

volatile std::sig_atomic_t received = 0;

void count(int) {
    received = received + 1;
}

TEST(DelayedSignals, waitUntilTheWorkIsDone) {
    for (const int signal : {SIGHUP, SIGINT, SIGQUIT, SIGTERM}) {
        received = 0;
        const auto before = std::signal(signal, count);
        {
            const DelayedSignals delayed;
            ::raise(signal);
            EXPECT_EQ(received, 0);
        }
        EXPECT_EQ(received, 1);
        std::signal(signal, before);
    }
}

TEST(DelayedSignals, tellThatOneWaitsUnlessItWaitedBefore) {
    const auto before = std::signal(SIGINT, count);
    {
        const DelayedSignals outer;
        EXPECT_FALSE(outer.areWaiting());
        ::raise(SIGINT);
        EXPECT_TRUE(outer.areWaiting());
        const DelayedSignals inner;
        EXPECT_FALSE(inner.areWaiting());
    }
    std::signal(SIGINT, before);
}

TEST(DelayedSignals, leaveOtherSignalsAndTheMaskBeforeAsTheyWere) {
    sigset_t mask;
    {
        const DelayedSignals outer;
        {
            const DelayedSignals inner;
        }
        ::pthread_sigmask(SIG_SETMASK, nullptr, &mask);
        EXPECT_EQ(sigismember(&mask, SIGTERM), 1);
        EXPECT_EQ(sigismember(&mask, SIGSEGV), 0);
    }
    ::pthread_sigmask(SIG_SETMASK, nullptr, &mask);
    EXPECT_EQ(sigismember(&mask, SIGTERM), 0);
}

TEST(EndProcess, waitsForNothing) {
    EXPECT_EXIT(endProcess(3), testing::ExitedWithCode(3), "");
}

TEST(EndProcess, waitsForWhatMustNotBeLeftHalfDone) {
    EXPECT_EXIT(
        {
            std::latch isUnderWay{1};
            std::thread([&] {
                const DelayedSignals delayed;
                EXPECT_FALSE(delayed.areWaiting());
                isUnderWay.count_down();
                while (!delayed.areWaiting())
                    std::this_thread::yield();
                {
                    const DelayedSignals nested;
                }
                std::fputs("done", stderr);
            }).detach();
            isUnderWay.wait();
            endProcess(3);
        },
        testing::ExitedWithCode(3), "^done$");
}

}  // namespace
}  // namespace ledgerfern
