#include "Analytics/UsageMath.h"

#include <gtest/gtest.h>

#include <limits>

#include "SessionSamples.h"

namespace ledgerfern {
namespace {

constexpr auto most = std::numeric_limits<std::int64_t>::max();

TEST(UsageMath, rollingTotalCountsBothEnds) {
    const auto sessions = listOf({session({requestAt(99.9, 1), requestAt(100, 10), requestAt(150, 100),
                                           requestAt(200, 1000), requestAt(200.1, 10000)})});
    EXPECT_EQ(UsageMath::rollingTotal(sessions, 100, 200), 1110);
}

TEST(UsageMath, rollingTotalOfOneInstantCountsOnlyWhatIsExactlyThere) {
    const auto sessions =
        listOf({session({requestAt(99, 1), requestAt(100, 10), requestAt(100, 20), requestAt(101, 100)})});
    EXPECT_EQ(UsageMath::rollingTotal(sessions, 100, 100), 30);
}

TEST(UsageMath, rollingTotalSkipsASessionThatEndedBefore) {
    SessionResult early = session({requestAt(150, 1)});
    early.lastTs = 99;
    SessionResult atTheEdge = session({requestAt(150, 10)});
    atTheEdge.lastTs = 100;
    SessionResult unknown = session({requestAt(150, 100)});
    EXPECT_EQ(UsageMath::rollingTotal(listOf({early, atTheEdge, unknown}), 100, 200), 110);
}

TEST(UsageMath, rollingTotalLeavesRequestsWithoutATimeOut) {
    EXPECT_EQ(UsageMath::rollingTotal(listOf({session({requestAt({}, 5), requestAt(0, 7)})}), -1e18, 1e18),
              7);
    EXPECT_EQ(UsageMath::rollingTotal({}, 0, 1), 0);
}

TEST(UsageMath, rollingTotalCountsTheLoggedTotalAlone) {
    EXPECT_EQ(
        UsageMath::rollingTotal(listOf({session({requestAt(1, UsageTotals{1, 2, 3, 4, 5, 60})})}), 0, 2), 60);
}

TEST(UsageMath, rollingTotalLeavesOutWhatWouldLeave64Bits) {
    const auto sessions = listOf({session({requestAt(1, most), requestAt(1, 1), requestAt(1, -5)})});
    EXPECT_EQ(UsageMath::rollingTotal(sessions, 0, 2), most - 5);
}

}  // namespace
}  // namespace ledgerfern
