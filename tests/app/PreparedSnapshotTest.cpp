#include "Application/PreparedSnapshot.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "core/SessionSamples.h"
#include "core/ZoneTesting.h"

namespace ledgerfern {
namespace {

constexpr Instant now = 1772572800;  // Tuesday, 2026-03-03 21:20 UTC
constexpr Instant weekBefore = now - 604'800;

/// A million tokens of input, of which only the price of the model and the total tell one from another.
RequestRecord million(std::optional<Instant> ts, std::int64_t total) {
    return requestAt(ts, UsageTotals{1'000'000, 0, 0, 0, 0, total});
}

SessionResult of(ToolKind tool, std::string model, const std::vector<RequestRecord>& requests) {
    SessionResult result = session(requests);
    result.tool = tool;
    result.model = std::move(model);
    return result;
}

PreparedSnapshot preparedFrom(const std::vector<SessionResult>& sessions) {
    Snapshot snapshot;
    snapshot.sessions = listOf(sessions);
    const PriceMap prices = {{"gpt", {1, 0, 0}}, {"opus", {10, 0, 0}}};
    return prepared(std::move(snapshot), PriceTable(prices), now);
}

TEST(PreparedSnapshot, sumsCodexsTokensOfSevenDays) {
    const auto result = preparedFrom(
        {of(ToolKind::codex, "gpt", {million(weekBefore - 1, 1), million(weekBefore, 20)}),
         of(ToolKind::claudeCode, "opus", {million(weekBefore, 300), million(now, 4'000)}),
         of(ToolKind::codex, "gpt", {million(now, 50'000), million(now + 1, 600'000), million({}, 1)})});
    EXPECT_EQ(result.codexRollingTotal, 50'020);
}

TEST(PreparedSnapshot, pricesBothAgentsRequestsOfToday) {
    const auto result = preparedFrom(
        {of(ToolKind::codex, "gpt", {million(now - 86'400, 1), million(now, 1)}),
         of(ToolKind::claudeCode, "opus", {million(now, 1), million(now + 1, 1)}),
         of(ToolKind::codex, "unknown", {million(now, 1)}), of(ToolKind::codex, "gpt", {million({}, 1)})});
    EXPECT_EQ(result.todayCostUSD, 21);
}

TEST(PreparedSnapshotDeathTest, beginsTodayAtTheLocalMidnight) {
    expectInZone("Pacific/Auckland", [] {
        constexpr Instant midnight = 1772535600;  // 2026-03-03 11:00 UTC
        EXPECT_EQ(preparedFrom({of(ToolKind::codex, "gpt", {million(midnight - 1, 1)})}).todayCostUSD, 0);
        EXPECT_EQ(preparedFrom({of(ToolKind::codex, "gpt", {million(midnight, 1)})}).todayCostUSD, 1);
    });
}

TEST(PreparedSnapshot, listsTheReadingsOfAllSessionsByTime) {
    SessionResult first = session({}), second = session({});
    first.rlDaily = {{"2026-03-01", {now - 200, 10, 5}}, {"2026-03-03", {now, 30, {}}}};
    second.rlDaily = {{"2026-03-02", {now - 100, 20, {}}}};
    const auto readings = preparedFrom({first, second}).readings;
    ASSERT_EQ(readings.size(), 3U);
    EXPECT_EQ(readings[0].ts, now - 200);
    EXPECT_EQ(readings[0].pct, 10);
    EXPECT_EQ(readings[0].resetsAt, 5);
    EXPECT_EQ(readings[1].ts, now - 100);
    EXPECT_EQ(readings[1].pct, 20);
    EXPECT_EQ(readings[2].ts, now);
}

}  // namespace
}  // namespace ledgerfern
