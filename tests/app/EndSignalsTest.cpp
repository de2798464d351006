#include "Application/EndSignals.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QTimer>
#include <csignal>

namespace ledgerfern {

namespace {

class EndSignalsTest : public testing::TestWithParam<int> {
protected:
    /// Lets the event loop run until it is quit; fails where that takes too long.
    static void runLoop() {
        QTimer::singleShot(10000, QCoreApplication::instance(), [] { QCoreApplication::exit(1); });
        EXPECT_EQ(QCoreApplication::exec(), 0);
    }

private:
    char name_[5] = "test";
    char* arguments_[2] = {name_, nullptr};
    int count_ = 1;
    QCoreApplication application_{count_, arguments_};
};

}  // namespace

TEST_P(EndSignalsTest, aSignalIsToldByTheEventLoop) {
    int told = 0;
    const EndSignals signals([&] {
        ++told;
        QCoreApplication::quit();
    });
    std::raise(GetParam());
    EXPECT_EQ(told, 0);
    runLoop();
    EXPECT_EQ(told, 1);
}

TEST_P(EndSignalsTest, manySignalsAtOnceAreTold) {
    int told = 0;
    const EndSignals signals([&] {
        ++told;
        QCoreApplication::quit();
    });
    for (int i = 0; i < 10'000; ++i)
        std::raise(GetParam());
    runLoop();
    EXPECT_GE(told, 1);
}

TEST_P(EndSignalsTest, aSignalThatWasIgnoredStaysSo) {
    const auto before = std::signal(GetParam(), SIG_IGN);
    {
        const EndSignals signals([] { FAIL(); });
        std::raise(GetParam());
        QCoreApplication::processEvents();
    }
    std::signal(GetParam(), before);
}

TEST_P(EndSignalsTest, afterwardsTheSignalIsHandledAsBefore) {
    static int heard = 0;
    heard = 0;
    const auto before = std::signal(GetParam(), [](int) { ++heard; });
    {
        const EndSignals signals([] { FAIL(); });
    }
    std::raise(GetParam());
    EXPECT_EQ(heard, 1);
    std::signal(GetParam(), before);
}

INSTANTIATE_TEST_SUITE_P(Each, EndSignalsTest, testing::Values(SIGHUP, SIGINT, SIGTERM));

}  // namespace ledgerfern
