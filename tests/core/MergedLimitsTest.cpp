#include "ClaudeLimits/MergedLimits.h"

#include <gtest/gtest.h>

namespace ledgerfern {
namespace {

constexpr std::int64_t reset = 1'800'000'000;
const RateLimitInfo fromLogs{99.0, 10080, 1'700'000'000, "pro"};

Snapshot snapshot() {
    Snapshot result;
    result.aggregates.latestRateLimitsByTool = {{ToolKind::codex, fromLogs},
                                                {ToolKind::claudeCode, fromLogs}};
    result.aggregates.cycleAnchorsByTool = {{ToolKind::codex, 1.0}, {ToolKind::claudeCode, 2.0}};
    result.aggregates.latestRateLimitsAsOf = {{ToolKind::claudeCode, 3.0}};
    return result;
}

ClaudeStatus status() {
    return {RateLimitInfo{40.0, 300, reset, std::nullopt}, RateLimitInfo{60.0, 10080, reset, std::nullopt},
            5};
}

TEST(MergedLimits, withoutAReadingClaudeHasNoLimits) {
    const MergedLimits merged = withClaudeLimits(snapshot(), std::nullopt, 0);
    EXPECT_EQ(merged.fiveHour, std::nullopt);
    const Aggregates& aggregates = merged.snapshot.aggregates;
    EXPECT_EQ(aggregates.latestRateLimitsByTool,
              (std::map<ToolKind, RateLimitInfo>{{ToolKind::codex, fromLogs}}));
    EXPECT_EQ(aggregates.cycleAnchorsByTool, (std::map<ToolKind, double>{{ToolKind::codex, 1.0}}));
}

TEST(MergedLimits, aReadingTakesThePlaceOfWhatTheLogsSaid) {
    const MergedLimits merged = withClaudeLimits(snapshot(), status(), 1'799'000'000);
    EXPECT_EQ(merged.fiveHour, status().fiveHour);
    EXPECT_EQ(merged.snapshot.aggregates.latestRateLimitsByTool.at(ToolKind::claudeCode), *status().sevenDay);
    EXPECT_EQ(merged.snapshot.aggregates.latestRateLimitsByTool.at(ToolKind::codex), fromLogs);
    EXPECT_EQ(merged.snapshot.aggregates.cycleAnchorsByTool.at(ToolKind::claudeCode), 1.8e9);
    EXPECT_EQ(merged.snapshot.aggregates.cycleAnchorsByTool.at(ToolKind::codex), 1.0);
}

TEST(MergedLimits, windowsAreAsTheyStandNow) {
    const MergedLimits merged = withClaudeLimits(snapshot(), status(), static_cast<double>(reset));
    EXPECT_EQ(merged.fiveHour, (RateLimitInfo{0.0, 300, reset + 18'000, std::nullopt}));
    EXPECT_EQ(merged.snapshot.aggregates.latestRateLimitsByTool.at(ToolKind::claudeCode).usedPercent, 0.0);
    EXPECT_EQ(merged.snapshot.aggregates.cycleAnchorsByTool.at(ToolKind::claudeCode),
              static_cast<double>(reset + 604'800));
}

TEST(MergedLimits, aWeekWithoutAResetHasNoAnchor) {
    ClaudeStatus reading = status();
    reading.sevenDay->resetsAt = std::nullopt;
    const MergedLimits merged = withClaudeLimits(snapshot(), reading, 0);
    EXPECT_TRUE(merged.snapshot.aggregates.latestRateLimitsByTool.contains(ToolKind::claudeCode));
    EXPECT_FALSE(merged.snapshot.aggregates.cycleAnchorsByTool.contains(ToolKind::claudeCode));
}

TEST(MergedLimits, aWindowThatIsMissingLeavesNothing) {
    ClaudeStatus reading = status();
    reading.sevenDay = std::nullopt;
    const MergedLimits five = withClaudeLimits(snapshot(), reading, 0);
    EXPECT_TRUE(five.fiveHour);
    EXPECT_FALSE(five.snapshot.aggregates.latestRateLimitsByTool.contains(ToolKind::claudeCode));
    reading = status();
    reading.fiveHour = std::nullopt;
    EXPECT_EQ(withClaudeLimits(snapshot(), reading, 0).fiveHour, std::nullopt);
}

TEST(MergedLimits, mergingAgainChangesNothing) {
    const MergedLimits once = withClaudeLimits(snapshot(), status(), 1);
    const MergedLimits twice = withClaudeLimits(once.snapshot, status(), 1);
    EXPECT_EQ(twice.snapshot.aggregates, once.snapshot.aggregates);
    const MergedLimits gone = withClaudeLimits(twice.snapshot, std::nullopt, 1);
    EXPECT_FALSE(gone.snapshot.aggregates.latestRateLimitsByTool.contains(ToolKind::claudeCode));
}

}  // namespace
}  // namespace ledgerfern
