#include "Parsing/CacheBreakTracker.h"

#include <gtest/gtest.h>

#include <limits>

namespace ledgerfern {
namespace {

constexpr std::int64_t most = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t least = std::numeric_limits<std::int64_t>::min();
using Reasons = std::map<std::string, std::int64_t>;

class CacheBreakTrackerTest : public testing::Test {
protected:
    void observe(std::int64_t input, std::int64_t cached, std::optional<Instant> ts = {},
                 std::optional<std::string_view> model = {}) {
        UsageTotals d;
        d.inputTokens = input;
        d.cachedInputTokens = cached;
        tracker.observe(d, ts, model, insights);
    }

    CacheBreakTracker tracker;
    SessionInsights insights;
};

TEST_F(CacheBreakTrackerTest, aFreshOneIsArmed) {
    EXPECT_TRUE(tracker.prevHealthy);
    EXPECT_FALSE(tracker.pendingCompaction);
    EXPECT_FALSE(tracker.prevInput || tracker.prevTs || tracker.prevModel);
    EXPECT_EQ(insights.startupInput, std::nullopt);
    EXPECT_EQ(insights.peakInput, 0);
}

TEST_F(CacheBreakTrackerTest, theFirstRequestNeverBreaks) {
    observe(100000, 0);
    EXPECT_TRUE(tracker.prevHealthy);
    EXPECT_EQ(insights.cacheBreaks, 0);
    EXPECT_TRUE(insights.breakReasons.empty());
    EXPECT_EQ(tracker.prevInput, 100000);
}

TEST_F(CacheBreakTrackerTest, aPromptBelow4096TokensCannotBreak) {
    observe(4095, 0);
    observe(5000, 0);
    EXPECT_TRUE(insights.breakReasons.empty());
}

TEST_F(CacheBreakTrackerTest, aPromptOf4096TokensBreaksWhenLessThanHalfIsRead) {
    observe(4096, 0);
    observe(5000, 2047);
    EXPECT_EQ(insights.cacheBreaks, 1);
    EXPECT_EQ(insights.rebuiltTokens, 2953);
    EXPECT_EQ(insights.breakReasons, (Reasons{{"context changed", 1}}));
    EXPECT_FALSE(tracker.prevHealthy);
}

TEST_F(CacheBreakTrackerTest, exactlyHalfIsNoBreak) {
    observe(4096, 0);
    observe(5000, 2048);
    EXPECT_TRUE(insights.breakReasons.empty());
    EXPECT_FALSE(tracker.prevHealthy) << "2048 is less than half of its own 5000";
}

TEST_F(CacheBreakTrackerTest, theHalvesAreNotCutToIntegers) {
    observe(4097, 0);
    observe(4097, 2048);
    EXPECT_EQ(insights.cacheBreaks, 1) << "2048.5 is greater than 2048";
    observe(4097, 2048);
    EXPECT_FALSE(tracker.prevHealthy) << "2048.5 is not at most 2048";
    observe(4096, 2048);
    EXPECT_TRUE(tracker.prevHealthy);
}

TEST_F(CacheBreakTrackerTest, oneLossCountsOnce) {
    observe(10000, 9000);
    observe(10000, 0);
    observe(10000, 0);
    EXPECT_EQ(insights.cacheBreaks, 1);
    EXPECT_EQ(insights.rebuiltTokens, 10000);
    EXPECT_FALSE(tracker.prevHealthy);
}

TEST_F(CacheBreakTrackerTest, aRequestServedFromTheCacheRearms) {
    observe(10000, 9000);
    observe(10000, 0);
    observe(10000, 5000);
    EXPECT_TRUE(tracker.prevHealthy);
    observe(12000, 0);
    EXPECT_EQ(insights.cacheBreaks, 2);
    EXPECT_EQ(insights.rebuiltTokens, 22000);
}

TEST_F(CacheBreakTrackerTest, aCompactionThatKeepsTheCacheIsForgotten) {
    observe(10000, 9000);
    tracker.pendingCompaction = true;
    observe(10000, 9000);
    EXPECT_FALSE(tracker.pendingCompaction);
    EXPECT_TRUE(insights.breakReasons.empty());
    observe(10000, 0);
    EXPECT_EQ(insights.breakReasons, (Reasons{{"context changed", 1}}));
}

TEST_F(CacheBreakTrackerTest, aCompactionIsRecordedAndCostsNothing) {
    observe(10000, 9000, 0.0, "a");
    tracker.pendingCompaction = true;
    observe(5000, 0, 1000.0, "b");
    EXPECT_EQ(insights.breakReasons, (Reasons{{"compaction", 1}}));
    EXPECT_EQ(insights.cacheBreaks, 0);
    EXPECT_EQ(insights.rebuiltTokens, 0);
    EXPECT_FALSE(tracker.prevHealthy);
    EXPECT_FALSE(tracker.pendingCompaction);
}

TEST_F(CacheBreakTrackerTest, aModelSwitchComesBeforeIdleTime) {
    observe(10000, 9000, 0.0, "a");
    observe(10000, 0, 600.0, "b");
    EXPECT_EQ(insights.breakReasons, (Reasons{{"model switch", 1}}));
}

TEST_F(CacheBreakTrackerTest, exactly300SecondsAreIdle) {
    observe(10000, 9000, 1000.0, "a");
    observe(10000, 0, 1300.0, "a");
    EXPECT_EQ(insights.breakReasons, (Reasons{{"idle", 1}}));
}

TEST_F(CacheBreakTrackerTest, lessThan300SecondsAreNot) {
    observe(10000, 9000, 1000.0);
    observe(10000, 0, 1299.75);
    EXPECT_EQ(insights.breakReasons, (Reasons{{"context changed", 1}}));
}

TEST_F(CacheBreakTrackerTest, withoutTimeOnEitherSideTheContextChanged) {
    observe(10000, 9000);
    observe(10000, 0, 5000.0);
    EXPECT_EQ(insights.breakReasons, (Reasons{{"context changed", 1}}));
    observe(10000, 9000);
    observe(10000, 0);
    EXPECT_EQ(insights.breakReasons, (Reasons{{"context changed", 2}}));
}

TEST_F(CacheBreakTrackerTest, theLastKnownTimeAndModelStand) {
    observe(10000, 9000, 1000.0, "a");
    observe(10000, 9000);
    EXPECT_EQ(tracker.prevTs, 1000.0);
    EXPECT_EQ(tracker.prevModel, "a");
    observe(10000, 0, 1300.0);
    EXPECT_EQ(insights.breakReasons, (Reasons{{"idle", 1}}));
    observe(10000, 9000);
    observe(10000, 0, {}, "b");
    EXPECT_EQ(insights.breakReasons, (Reasons{{"idle", 1}, {"model switch", 1}}));
    EXPECT_EQ(tracker.prevModel, "b");
}

TEST_F(CacheBreakTrackerTest, aRequestWithoutInputIsInvisible) {
    observe(10000, 9000, 1000.0, "a");
    tracker.pendingCompaction = true;
    const CacheBreakTracker before = tracker;
    const SessionInsights insightsBefore = insights;
    for (const std::int64_t input : {std::int64_t{0}, std::int64_t{-1}, least})
        observe(input, 0, 2000.0, "b");
    EXPECT_EQ(tracker, before);
    EXPECT_EQ(insights, insightsBefore);
}

TEST_F(CacheBreakTrackerTest, startAndPeakAreThoseOfTheSession) {
    observe(5000, 0);
    observe(9000, 5000);
    CacheBreakTracker other;
    UsageTotals d;
    d.inputTokens = 7000;
    other.observe(d, {}, {}, insights);
    EXPECT_EQ(insights.startupInput, 5000);
    EXPECT_EQ(insights.peakInput, 9000);
}

TEST_F(CacheBreakTrackerTest, moreCachedThanInputRebuildsNothing) {
    observe(20000, 18000);
    observe(3000, 4000);
    EXPECT_EQ(insights.cacheBreaks, 1);
    EXPECT_EQ(insights.rebuiltTokens, 0);
}

TEST_F(CacheBreakTrackerTest, countersThatWouldLeave64BitsAreNotAdded) {
    observe(10000, 9000);
    observe(most, least);
    EXPECT_EQ(insights.cacheBreaks, 1);
    EXPECT_EQ(insights.rebuiltTokens, 0) << "the difference doesn't fit";
    observe(most, most);
    observe(most, 0);
    EXPECT_EQ(insights.rebuiltTokens, most);
    observe(10000, 9000);
    observe(10000, 0);
    EXPECT_EQ(insights.cacheBreaks, 3);
    EXPECT_EQ(insights.rebuiltTokens, most) << "the sum doesn't fit";
}

}  // namespace
}  // namespace ledgerfern
