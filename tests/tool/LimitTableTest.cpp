#include "LimitTable.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "CommandLine.h"
#include "Foundation/UnicodeText.h"
#include "tool/LogFolder.h"
#include "tool/TextOutput.h"

namespace ledgerfern {
namespace {

constexpr Instant now = 1772359320;  // 1 March 2026, 10:02 UTC

TEST(LimitTable, namesWindowsByTheirLength) {
    EXPECT_EQ(windowText(10080), "weekly");
    EXPECT_EQ(windowText(300), "5-hour");
    EXPECT_EQ(windowText(4320), "3-day");
    EXPECT_EQ(windowText(90), "90-minute");
    EXPECT_EQ(windowText(std::nullopt), "—");
    EXPECT_EQ(windowText(0), "—");
    EXPECT_EQ(windowText(-10080), "—");
}

TEST(LimitTable, tellsInTwoUnitsWhenAWindowResets) {
    EXPECT_EQ(resetText(now + 3 * 86400 + 4 * 3600 + 59 * 60, now), "in 3 d 4 h");
    EXPECT_EQ(resetText(now + 3 * 86400, now), "in 3 d");
    EXPECT_EQ(resetText(now + 3661, now), "in 1 h 1 min");
    EXPECT_EQ(resetText(now + 7200, now), "in 2 h");
    EXPECT_EQ(resetText(now + 60, now), "in 1 min");
    EXPECT_EQ(resetText(now + 59, now), "now");
}

TEST(LimitTable, tellsInOneUnitWhenAWindowHasReset) {
    EXPECT_EQ(resetText(now, now), "reset just now");
    EXPECT_EQ(resetText(now - 59, now), "reset just now");
    EXPECT_EQ(resetText(now - 60, now), "reset 1 min ago");
    EXPECT_EQ(resetText(now - 7200 - 60, now), "reset 2 h ago");
    EXPECT_EQ(resetText(now - 124 * 86400 + 1, now), "reset 123 d ago");
}

/// The table of one reading of 97 % in a week that resets then.
std::string nearlyFull(std::int64_t resetsAt, std::size_t columns, bool isColoured) {
    Scan scan;
    Aggregates& aggregates = scan.snapshot.aggregates;
    aggregates.latestRateLimitsByTool[ToolKind::codex] = {97.0, 10080, resetsAt, "plus"};
    aggregates.latestRateLimitsAsOf[ToolKind::codex] = now - 7200;
    return limitTable(knownLimits(scan), now)->text(columns, Palette(isColoured));
}

TEST(LimitTable, showsAWindowThatHasResetAsPast) {
    const auto reset = static_cast<std::int64_t>(now) - 3600;
    EXPECT_EQ(nearlyFull(reset, 100, false),
              "Limits   window     used  resets                           plan  as of\n"
              "  Codex  weekly  was 97%  reset 1 h ago  2026-03-01 09:02  plus  2026-03-01 08:02\n");
    EXPECT_EQ(nearlyFull(reset, 80, false),
              "Limits   window     used  resets         plan  as of\n"
              "  Codex  weekly  was 97%  reset 1 h ago  plus  2026-03-01 08:02\n");
    EXPECT_EQ(nearlyFull(reset, 40, false),
              "Limits   window     used  resets\n"
              "  Codex  weekly  was 97%  reset 1 h ago\n");
}

TEST(LimitTable, alarmsOfAFullWindowUntilItsReset) {
    const std::string alarm = "\x1b[31m97%\x1b[0m", past = "\x1b[2mwas 97%\x1b[0m";
    const auto second = static_cast<std::int64_t>(now);
    EXPECT_THAT(nearlyFull(second + 1, 80, true), testing::HasSubstr(alarm));
    EXPECT_THAT(nearlyFull(second, 80, true), testing::HasSubstr(past));
    EXPECT_THAT(nearlyFull(second, 80, true), testing::Not(testing::HasSubstr("\x1b[31m")));
    // What lies outside the calendar was never a reset.
    EXPECT_THAT(nearlyFull(INT64_MIN, 80, true), testing::HasSubstr(alarm));
}

TEST(LimitTable, isAbsentWithoutAReading) {
    EXPECT_FALSE(limitTable({}, now));
}

TEST(LimitTable, showsAReadingOfAnySubset) {
    Scan scan;
    Aggregates& aggregates = scan.snapshot.aggregates;
    aggregates.latestRateLimitsByTool[ToolKind::codex] = {};
    aggregates.latestRateLimitsByTool[ToolKind::claudeCode] = {81.0, 300, INT64_MAX, "max"};
    scan.claudeAsOf = now - 60;
    const auto table = limitTable(knownLimits(scan), now);
    ASSERT_TRUE(table);
    EXPECT_EQ(table->text(100, Palette(false)),
              "Limits    window                used  resets  plan  as of\n"
              "  Codex   —                        —  —             —\n"
              "  Claude  5-hour  █████████▊     81%  —       max   2026-03-01 10:01\n");
}

TEST(LimitTable, staysATableWhateverALogSays) {
    Scan scan;
    for (const double used : {1e18, 1e300, -1e300}) {
        scan.snapshot.aggregates.latestRateLimitsByTool[ToolKind::codex] = {used, INT64_MAX, 1772409600,
                                                                            "plus"};
        std::istringstream lines(limitTable(knownLimits(scan), now)->text(80, Palette(false)));
        for (std::string line; std::getline(lines, line);)
            EXPECT_LE(displayWidth(line), 80u) << line;
        EXPECT_THAT(lines.str(), testing::HasSubstr(used > 0 ? " >999%  in 13 h" : " <-99%  in 13 h"));
    }
}

TEST(LimitsCommand, saysThatNoLimitIsKnown) {
    const LogFolder folder;
    TextConsole text;
    EXPECT_EQ(runCommandLine({"limits", "--codex", folder.path()}, text.console), 0);
    EXPECT_EQ(text.out.text(), "No rate limit is known: no session log holds a reading of one.\n");
}

TEST(LimitsCommand, tellsUsedResetAndAge) {
    const LogFolder folder;
    RolloutLog log;
    log.meta("", "/p").tokens(
        "2026-03-01T10:01:00Z", {1, 0, 1, 0, 2},
        R"({"primary":{"used_percent":42.5,"window_minutes":10080,"resets_at":1772409600}})");
    folder.write("a.jsonl", log.text());
    TextConsole text;
    EXPECT_EQ(runCommandLine({"limits", "--codex", folder.path(), "--now", "1772359320"}, text.console), 0);
    EXPECT_EQ(text.out.text(),
              "Limits   window  used  resets                            as of\n"
              "  Codex  weekly   43%  in 13 h 58 min  2026-03-02 00:00  2026-03-01 10:01\n");
}

TEST(LimitsCommand, fitsFortyColumns) {
    const LogFolder folder;
    RolloutLog log;
    log.meta("", "/p").tokens(
        "2026-03-01T10:01:00Z", {1, 0, 1, 0, 2},
        R"({"primary":{"used_percent":42.5,"window_minutes":10080,"resets_at":1772409600},"plan_type":"a very long plan"})");
    folder.write("a.jsonl", log.text());
    TextConsole text(40);
    EXPECT_EQ(runCommandLine({"limits", "--codex", folder.path(), "--now", "1772359320", "--color", "never"},
                             text.console),
              0);
    EXPECT_EQ(text.out.text(),
              "Limits   window  used  resets\n"
              "  Codex  weekly   43%  in 13 h 58 min\n");
}

}  // namespace
}  // namespace ledgerfern
