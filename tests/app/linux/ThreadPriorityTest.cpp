#include "Services/ThreadPriority.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <thread>

namespace ledgerfern {
namespace {

/// Of the calling thread.
int niceness() {
    return ::getpriority(PRIO_PROCESS, 0);
}

int nicenessOfAThreadWith(WorkPriority priority) {
    int result = 0;
    std::thread([&] {
        setThreadPriority(priority);
        result = niceness();
    }).join();
    return result;
}

TEST(ThreadPriority, whatNobodyWaitsForIsNicerThanItsProcess) {
    const int before = niceness();
    EXPECT_GE(nicenessOfAThreadWith(WorkPriority::utility), 10);
    EXPECT_EQ(niceness(), before);
}

TEST(ThreadPriority, whatSomebodyWaitsForIsLeftAsItsProcess) {
    EXPECT_EQ(nicenessOfAThreadWith(WorkPriority::userInitiated), niceness());
}

}  // namespace
}  // namespace ledgerfern
