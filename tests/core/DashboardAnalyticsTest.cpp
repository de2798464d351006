#include "Analytics/DashboardAnalytics.h"

#include <gtest/gtest.h>

#include "Analytics/CostEstimator.h"
#include "Analytics/SessionNaming.h"
#include "SessionSamples.h"
#include "UsageRecords/TSDate.h"
#include "ZoneTesting.h"

namespace ledgerfern {
namespace {

constexpr Instant sunday = 1772360430;  // 2026-03-01 10:20:30 UTC
constexpr Instant day = 86400;

using DashboardAnalytics::Selection;
using Paths = std::vector<std::string>;
using Stacks = std::vector<DayStack>;

const Selection everything = {{}, {}, true, ""};

Snapshot snapshotOf(const std::vector<SessionResult>& sessions, std::optional<double> anchor = {}) {
    Snapshot snapshot;
    snapshot.sessions = listOf(sessions);
    snapshot.aggregates = Aggregates(snapshot.sessions, 0, anchor);
    return snapshot;
}

DashboardDerived derived(const Snapshot& snapshot, const Selection& selection, Instant now = sunday) {
    return DashboardAnalytics::derive(&snapshot, selection, snapshot.sessionIDs, snapshot.threadNames,
                                      PriceTable(), now);
}

Paths rowsOf(const std::vector<SessionResult>& sessions, const Selection& selection) {
    return pathsOf(derived(snapshotOf(sessions), selection).rows);
}

Selection cycle(Instant start) {
    return {{}, std::to_string(static_cast<std::int64_t>(start)), false, ""};
}

Selection searching(std::string text) {
    return {{}, {}, true, std::move(text)};
}

void expectEmpty(const DashboardDerived& derived) {
    EXPECT_TRUE(derived.isEmpty);
    EXPECT_TRUE(derived.rows.empty() && derived.rowTokens.empty() && derived.rowReqs.empty());
    EXPECT_TRUE(derived.kindStacks.empty() && derived.modelStacks.empty());
    EXPECT_TRUE(derived.kindLegend.empty() && derived.modelLegend.empty());
    EXPECT_TRUE(derived.topTools.empty() && derived.insights.empty());
    EXPECT_EQ(derived.totalTokens + derived.totalReqs + derived.totalInput + derived.totalCached, 0);
}

TEST(DashboardAnalytics, ofNothingAreEmpty) {
    expectEmpty(DashboardAnalytics::derive(nullptr, everything, {}, {}, PriceTable(), sunday));
    expectEmpty(derived(Snapshot(), everything));
    EXPECT_FALSE(DashboardDerived().isEmpty);
}

TEST(DashboardAnalytics, areEmptyWhereNoSessionIsInScope) {
    auto idle = inLog("/a", session({requestAt(sunday, 5)}));
    idle.tools = ToolTable({{"tool:a", {1, 2, 3}}});
    idle.insights = {9, {}, 9'000'000, {}, 0};
    expectEmpty(derived(snapshotOf({idle}), cycle(sunday + day)));
    expectEmpty(derived(snapshotOf({idle}), searching("nowhere")));
    expectEmpty(derived(snapshotOf({idle}), {ToolKind::claudeCode, {}, true, ""}));
    EXPECT_FALSE(derived(snapshotOf({idle}), everything).isEmpty);
}

TEST(DashboardAnalytics, ofAllTimeCountWholeSessions) {
    auto first = inLog("/a", session({requestAt(sunday, UsageTotals{10, 4, 0, 0, 0, 11}), requestAt({}, 5)}));
    auto second = inLog("/b", session({}));
    second.totals = {100, 50, 0, 0, 0, 120};  // of a log whose requests weren't told
    second.tool = ToolKind::claudeCode;
    const auto result = derived(snapshotOf({first, second}), everything);
    EXPECT_FALSE(result.isEmpty);
    EXPECT_EQ(pathsOf(result.rows), (Paths{"/b", "/a"}));
    EXPECT_EQ(result.rowTokens, (SessionCounts{{"/a", 16}, {"/b", 120}}));
    EXPECT_EQ(result.rowReqs, (SessionCounts{{"/a", 2}, {"/b", 0}}));
    EXPECT_EQ(result.totalTokens, 136);
    EXPECT_EQ(result.totalReqs, 2);
    EXPECT_EQ(result.totalInput, 110);
    EXPECT_EQ(result.totalCached, 54);
    // The request without a time is in the totals and in no bar.
    EXPECT_EQ(result.kindStacks, (Stacks{{"2026-W09", {{"Codex", 11}}, 11}}));
}

TEST(DashboardAnalytics, ofACycleCountItsRequests) {
    const auto inside =
        inLog("/a", session({requestAt(sunday - 1, 1), requestAt(sunday, UsageTotals{20, 10, 0, 0, 0, 2}),
                             requestAt(sunday + 7 * day - 1, UsageTotals{30, 5, 0, 0, 0, 4}),
                             requestAt(sunday + 7 * day, 8), requestAt({}, 16)}));
    const auto outside = inLog("/b", session({requestAt(sunday - 1, 100)}));
    const auto result = derived(snapshotOf({outside, inside}), cycle(sunday));
    EXPECT_EQ(result.rowTokens, (SessionCounts{{"/a", 6}}));
    EXPECT_EQ(result.rowReqs, (SessionCounts{{"/a", 2}}));
    EXPECT_EQ(result.totalInput, 50);
    EXPECT_EQ(result.totalCached, 15);
    ASSERT_EQ(result.kindStacks.size(), 2u);
    EXPECT_EQ(result.kindStacks[0].key, TSDate::localDayKey(sunday));
    EXPECT_EQ(result.kindStacks[0].total, 2);
    EXPECT_EQ(result.kindStacks[1].key, TSDate::localDayKey(sunday + 7 * day - 1));
}

TEST(DashboardAnalytics, ofACycleKeyWithAFractionBeginThere) {
    const auto one = inLog("/a", session({requestAt(1000.4, 1), requestAt(1000.5, 2), requestAt(605800.4, 4),
                                          requestAt(605800.5, 8)}));
    EXPECT_EQ(derived(snapshotOf({one}), {{}, "1000.5", false, ""}).totalTokens, 6);
}

TEST(DashboardAnalytics, withoutARangeCountEverythingInBarsByDay) {
    const auto one = inLog("/a", session({requestAt(sunday, 1), requestAt({}, 2)}));
    for (const std::optional<std::string>& key : {std::optional<std::string>(), {"nonsense"}, {"2026-W09"}}) {
        const auto result = derived(snapshotOf({one}), {{}, key, false, ""});
        EXPECT_EQ(result.totalTokens, 3);
        EXPECT_EQ(result.totalReqs, 2);
        EXPECT_EQ(result.kindStacks, (Stacks{{TSDate::localDayKey(sunday), {{"Codex", 1}}, 1}}));
    }
}

TEST(DashboardAnalytics, ofAllTimeIgnoreACycle) {
    const auto one = inLog("/a", session({requestAt(sunday, 1), requestAt(0, 2)}));
    Selection selection = cycle(sunday);
    selection.allTime = true;
    const auto result = derived(snapshotOf({one}), selection);
    EXPECT_EQ(result.totalTokens, 3);
    EXPECT_EQ(result.kindStacks, (Stacks{{"1970-W01", {{"Codex", 2}}, 2}, {"2026-W09", {{"Codex", 1}}, 1}}));
}

TEST(DashboardAnalyticsDeathTest, ofTodayCountTheLocalDay) {
    expectInZone("America/New_York", [] {
        const auto now = TSDate::parse("2026-03-08T12:00:00Z").value();  // the clock was put forward at 7:00
        const auto midnight = TSDate::parse("2026-03-08T05:00:00Z").value();
        const auto one = inLog(
            "/a", session({requestAt(midnight - 1, 1), requestAt(midnight, 2),
                           requestAt(midnight + 23 * 3600 - 1, 4), requestAt(midnight + 23 * 3600, 8)}));
        const auto result = derived(snapshotOf({one}), {{}, "today", false, ""}, now);
        EXPECT_EQ(result.totalTokens, 6);
        EXPECT_EQ(result.kindStacks, (Stacks{{"2026-03-08", {{"Codex", 6}}, 6}}));
    });
}

TEST(DashboardAnalytics, ofAllTimeHaveBarsOfTheDayAloneWhereTodayIsSelected) {
    const auto today = TSDate::localDay(sunday);
    const auto one = inLog("/a", session({requestAt(today.start - 1, 1), requestAt(today.start, 2),
                                          requestAt(today.end - 1, 4), requestAt(today.end, 8)}));
    const auto early = inLog("/b", session({requestAt(0, 16)}));
    const auto result = derived(snapshotOf({one, early}), {{}, "today", true, ""}, sunday);
    EXPECT_EQ(result.rowTokens, (SessionCounts{{"/a", 15}, {"/b", 16}})) << "whole sessions";
    EXPECT_EQ(result.rowReqs, (SessionCounts{{"/a", 4}, {"/b", 1}}));
    std::map<std::string, std::int64_t> weeks;
    weeks[TSDate::isoWeekKey(today.start)] += 2;
    weeks[TSDate::isoWeekKey(today.end - 1)] += 4;
    ASSERT_EQ(result.kindStacks.size(), weeks.size());
    for (const DayStack& stack : result.kindStacks)
        EXPECT_EQ(stack.total, weeks[stack.key]) << stack.key;
}

TEST(DashboardAnalytics, leaveOutSessionsWithoutTokensAndRequests) {
    auto silent = inLog("/a", session({}));
    auto asked = inLog("/b", session({requestAt(sunday, 0)}));
    auto negative = inLog("/c", session({}));
    negative.totals.totalTokens = -5;
    EXPECT_EQ(rowsOf({silent, asked, negative}, everything), Paths{"/b"});
}

TEST(DashboardAnalytics, leaveOutGuardiansWithoutTokens) {
    auto idle = inLog("/a", session({requestAt(sunday, 0)}));
    auto busy = inLog("/b", session({requestAt(sunday, 3), requestAt(sunday + day, 0)}));
    idle.source.isGuardian = busy.source.isGuardian = true;
    EXPECT_EQ(rowsOf({idle, busy}, everything), Paths{"/b"});
    EXPECT_EQ(rowsOf({idle, busy}, cycle(sunday + 1)), Paths{}) << "a request, and no tokens in scope";
    EXPECT_EQ(rowsOf({idle, busy}, cycle(sunday - 1)), Paths{"/b"});
}

TEST(DashboardAnalytics, putMostTokensFirstAndKeepTheOrderOfEquals) {
    const auto with = [](const char* path, std::int64_t tokens) {
        return inLog(path, session({requestAt(sunday, tokens)}));
    };
    EXPECT_EQ(rowsOf({with("/d", 5), with("/c", 9), with("/b", 5), with("/a", 5)}, everything),
              (Paths{"/c", "/d", "/b", "/a"}));
}

TEST(DashboardAnalytics, showOneTool) {
    auto claude = inLog("/a", session({requestAt(sunday, 1)}));
    claude.tool = ToolKind::claudeCode;
    const auto codex = inLog("/b", session({requestAt(sunday, 2)}));
    EXPECT_EQ(rowsOf({claude, codex}, {ToolKind::claudeCode, {}, true, ""}), Paths{"/a"});
    EXPECT_EQ(rowsOf({claude, codex}, {ToolKind::codex, {}, true, ""}), Paths{"/b"});
}

// Search

TEST(DashboardAnalytics, findATextInNameProjectModelAndMessage) {
    auto byProject = inLog("/a", session({requestAt(sunday, 1)}, "Fernery"));
    auto byModel = inLog("/b", session({requestAt(sunday, 1)}));
    byModel.model = "the-fern-5";
    auto byMessage = inLog("/c", session({requestAt(sunday, 1)}));
    byMessage.firstMessage = "Water the FERNS";
    const auto byName = inLog("/d", session({requestAt(sunday, 1)}));
    auto namedOtherwise = inLog("/e-fern", session({requestAt(sunday, 1)}));
    namedOtherwise.cwd = "/fern";
    Snapshot snapshot = snapshotOf({byProject, byModel, byMessage, byName, namedOtherwise});
    snapshot.sessionIDs = {{"/d", "thread"}};
    snapshot.threadNames = {{"thread", "About ferns"}};
    for (const char* text : {"fern", "FERN", "Fern"})
        EXPECT_EQ(pathsOf(derived(snapshot, searching(text)).rows), (Paths{"/a", "/b", "/c", "/d"}));
    EXPECT_EQ(pathsOf(derived(snapshot, searching("about f")).rows), Paths{"/d"});
}

TEST(DashboardAnalytics, findAMessageThatANameHides) {
    auto one = inLog("/a", session({requestAt(sunday, 1)}));
    one.firstMessage = "Hello there";
    Snapshot snapshot = snapshotOf({one});
    snapshot.threadNames = {{"/a", "Greeting"}};
    EXPECT_EQ(derived(snapshot, searching("hello")).rows.size(), 1u);
    EXPECT_EQ(derived(snapshot, searching("greet")).rows.size(), 1u);
}

TEST(DashboardAnalytics, findAGuardianByItsFixedName) {
    auto guardian = inLog("/a", session({requestAt(sunday, 1)}));
    guardian.source.isGuardian = true;
    EXPECT_EQ(rowsOf({guardian}, searching("Guardian (sub")), Paths{"/a"});
}

TEST(DashboardAnalytics, findLettersOfAnyScript) {
    auto one =
        inLog("/a", session({requestAt(sunday, 1)}, "\u00C4pfel \u041F\u0440\u043E\u0435\u043A\u0442"));
    EXPECT_EQ(rowsOf({one}, searching("\u00E4PFEL")), Paths{"/a"});
    EXPECT_EQ(rowsOf({one}, searching("\u043F\u0420\u043E\u0435")), Paths{"/a"});
    EXPECT_EQ(rowsOf({one}, searching("apfel")), Paths{});
    auto kelvin = inLog("/b", session({requestAt(sunday, 1)}, "k"));
    EXPECT_EQ(rowsOf({kelvin}, searching("\u212A")), Paths{"/b"}) << "the sign is a k in lower case";
}

TEST(DashboardAnalytics, dropASessionThatIsFoundAndOutOfRange) {
    Selection selection = cycle(sunday + day);
    selection.search = "p";
    const auto early = inLog("/a", session({requestAt(sunday, 1)}));
    const auto late = inLog("/b", session({requestAt(sunday + day, 1)}));
    EXPECT_EQ(rowsOf({early, late}, selection), Paths{"/b"});
}

// Tools whose limits reset at different times

/// Two tools with resets on the days 14 and 17, and a request every day, of 1 token on day 0 and each time so
/// many more.
Snapshot mixedSnapshot(std::int64_t growth = 0) {
    std::vector<RequestRecord> daily;
    for (int i = 0; i < 30; ++i)
        daily.push_back(requestAt(i * day, 1 + i * growth));
    SessionResult codex = inLog("/codex", session(daily));
    SessionResult claude = inLog("/claude", session(daily));
    claude.tool = ToolKind::claudeCode;
    Snapshot snapshot = snapshotOf({codex, claude}, 14 * day);
    snapshot.aggregates.cycleAnchorsByTool = {{ToolKind::codex, 14 * day}, {ToolKind::claudeCode, 17 * day}};
    return snapshot;
}

std::int64_t tokensOf(const DashboardDerived& derived, const char* path) {
    return derived.rowTokens.find(path).value();
}

TEST(DashboardAnalytics, countByEachToolsOwnCurrentCycle) {
    const Snapshot snapshot = mixedSnapshot(1);
    // The selected cycle is that of days 0 to 6, and today is day 15.
    const auto result = derived(snapshot, cycle(0), 15 * day + 1);
    EXPECT_EQ(tokensOf(result, "/codex"), 15 + 16 + 17 + 18 + 19 + 20 + 21) << "days 14 to 20";
    EXPECT_EQ(tokensOf(result, "/claude"), 11 + 12 + 13 + 14 + 15 + 16 + 17) << "days 10 to 16";
    std::int64_t inBars = 0;
    for (const DayStack& stack : result.kindStacks)
        inBars += stack.total;
    EXPECT_EQ(inBars, 2 * 28) << "the bars keep to days 0 to 6";
    EXPECT_EQ(result.totalReqs, 14);
}

TEST(DashboardAnalytics, countByTheSelectedCycleWhereTheResetsAgree) {
    Snapshot snapshot = mixedSnapshot();
    snapshot.aggregates.cycleAnchorsByTool[ToolKind::claudeCode] = 14 * day + 0.5;
    const auto result = derived(snapshot, cycle(26 * day), 15 * day + 1);
    EXPECT_EQ(tokensOf(result, "/codex"), 4);
    EXPECT_EQ(tokensOf(result, "/claude"), 4);
}

TEST(DashboardAnalytics, countByNoToolsCycleForTodayAndAllTime) {
    const Snapshot snapshot = mixedSnapshot();
    EXPECT_EQ(tokensOf(derived(snapshot, everything, 15 * day), "/claude"), 30);
    const auto today = derived(snapshot, {{}, "today", false, ""}, 15 * day + 100);
    EXPECT_EQ(tokensOf(today, "/claude"), 1);
    EXPECT_EQ(tokensOf(today, "/codex"), 1);
}

TEST(DashboardAnalytics, countByEachToolsOwnCycleWithoutASelectedOneToo) {
    const auto without = derived(mixedSnapshot(), {{}, {}, false, ""}, 15 * day);
    EXPECT_EQ(tokensOf(without, "/codex"), 7);
    EXPECT_EQ(tokensOf(without, "/claude"), 7);
}

TEST(DashboardAnalytics, countByTheSelectedCycleWhereOneToolAloneHasAReset) {
    Snapshot snapshot = mixedSnapshot();
    snapshot.aggregates.cycleAnchorsByTool.erase(ToolKind::codex);
    const auto single = derived(snapshot, cycle(26 * day), 15 * day);
    EXPECT_EQ(tokensOf(single, "/claude"), 4);
    EXPECT_EQ(tokensOf(single, "/codex"), 4);
}

TEST(DashboardAnalytics, haveAScopeInWhichToolsWithoutACycleKeepToItsRange) {
    SessionResult codex = session({}), claude = session({});
    claude.tool = ToolKind::claudeCode;
    const auto startOf = [](const DashboardAnalytics::Scope& scope, const SessionResult& of) {
        const auto range = scope.rangeOf(of);
        return range ? std::optional(range->start) : std::nullopt;
    };
    DashboardAnalytics::Scope scope{false, TimeRange{5, 9}, {{ToolKind::codex, TimeRange{1, 3}}}};
    EXPECT_EQ(startOf(scope, codex), 1);
    EXPECT_EQ(startOf(scope, claude), 5);
    scope.allTime = true;
    EXPECT_EQ(startOf(scope, codex), std::nullopt);
    EXPECT_EQ(startOf(scope, claude), std::nullopt);
}

TEST(DashboardAnalytics, beginAToolsCycleAtTheMomentOfItsReset) {
    const Snapshot snapshot = mixedSnapshot(1);
    const auto codexAt = [&](Instant now) { return tokensOf(derived(snapshot, cycle(0), now), "/codex"); };
    const auto claudeAt = [&](Instant now) { return tokensOf(derived(snapshot, cycle(0), now), "/claude"); };
    EXPECT_EQ(codexAt(14 * day), 15 + 16 + 17 + 18 + 19 + 20 + 21) << "days 14 to 20";
    EXPECT_EQ(claudeAt(17 * day), 18 + 19 + 20 + 21 + 22 + 23 + 24) << "days 17 to 23";
    EXPECT_EQ(codexAt(14 * day - 0.25), 8 + 9 + 10 + 11 + 12 + 13 + 14) << "days 7 to 13";
    // A cycle's length before the reset the same cycle begins, and no step leads to it.
    EXPECT_EQ(codexAt(7 * day), 8 + 9 + 10 + 11 + 12 + 13 + 14) << "days 7 to 13";
    EXPECT_EQ(claudeAt(10 * day), 11 + 12 + 13 + 14 + 15 + 16 + 17) << "days 10 to 16";
}

TEST(DashboardAnalytics, cutTheStepsToTheCurrentCycleTowardZero) {
    const Snapshot snapshot = mixedSnapshot();
    // Before the cycles that end at the resets, these count: days 7 to 13, and 10 to 16.
    const auto before = derived(snapshot, cycle(0), 3.5 * day);
    EXPECT_EQ(before.totalTokens, 14);
    const auto longBefore = derived(snapshot, cycle(0), -3 * day);
    EXPECT_EQ(tokensOf(longBefore, "/codex"), 7) << "one step back: days 0 to 6";
    EXPECT_EQ(tokensOf(longBefore, "/claude"), 7) << "one step back: days 3 to 9";
    EXPECT_EQ(derived(snapshot, cycle(0), 100 * day).isEmpty, true);
}

// Charts, tools, insights

TEST(DashboardAnalytics, stackByKindAndByModel) {
    auto agent =
        inLog("/a", withModels(session({requestAt(sunday, 1), requestAt(sunday + 7 * day, 2)}), {"m1", {}}));
    agent.source.isSubagent = true;
    agent.model = "m2";
    const auto plain = inLog("/b", session({requestAt(sunday, 5)}));
    const auto result = derived(snapshotOf({agent, plain}), everything);
    EXPECT_EQ(result.kindStacks, (Stacks{{"2026-W09", {{"Codex", 5}, {"Codex sub-agents", 1}}, 6},
                                         {"2026-W10", {{"Codex sub-agents", 2}}, 2}}));
    EXPECT_EQ(result.modelStacks,
              (Stacks{{"2026-W09", {{"m1", 1}, {"unknown", 5}}, 6}, {"2026-W10", {{"m2", 2}}, 2}}));
    EXPECT_EQ(result.kindLegend,
              (std::vector<LegendEntry>{{"Codex", 5, 0.625}, {"Codex sub-agents", 3, 0.375}}));
    EXPECT_EQ(result.modelLegend,
              (std::vector<LegendEntry>{{"unknown", 5, 0.625}, {"m2", 2, 0.25}, {"m1", 1, 0.125}}));
}

TEST(DashboardAnalytics, haveNoFractionsWhereAllPartsAreZero) {
    const auto result = derived(snapshotOf({inLog("/a", session({requestAt(sunday, 0)}))}), everything);
    EXPECT_EQ(result.kindLegend, (std::vector<LegendEntry>{{"Codex", 0, 0}}));
}

TEST(DashboardAnalytics, nameTheEightToolsOfTheLargestImpactWhateverIsSelected) {
    auto hidden = inLog("/a", session({requestAt(sunday, 1)}));
    std::vector<std::pair<std::string, ToolStat>> tools;
    for (std::int64_t i = 1; i <= 9; ++i)
        tools.emplace_back("tool:" + std::to_string(i), ToolStat{i, 10 * i, i});
    hidden.tools = ToolTable(tools);
    auto shown = inLog("/b", session({requestAt(sunday, 1)}, "q"));
    shown.tools = ToolTable({{"tool:1", {1, 33, 0}}});
    const auto result = derived(snapshotOf({hidden, shown}), searching("q"));
    ASSERT_EQ(result.topTools.size(), 8u);
    EXPECT_EQ(result.topTools[0], (TopTool{"tool:9", 9, 99}));
    EXPECT_EQ(result.topTools[5], (TopTool{"tool:1", 2, 44})) << "of equals the first by label";
    EXPECT_EQ(result.topTools[6], (TopTool{"tool:4", 4, 44}));
    EXPECT_EQ(result.topTools[7], (TopTool{"tool:3", 3, 33}));
}

TEST(DashboardAnalytics, leaveTheOutputOutOfAnImpactThatWouldLeave64Bits) {
    constexpr auto most = std::numeric_limits<std::int64_t>::max();
    auto one = inLog("/a", session({requestAt(sunday, 1)}));
    one.tools = ToolTable({{"tool:a", {1, 5, most}}, {"tool:b", {2, most, 5}}, {"tool:c", {3, most - 5, 5}}});
    const std::vector<TopTool> expected = {{"tool:b", 2, most}, {"tool:c", 3, most}, {"tool:a", 1, 5}};
    EXPECT_EQ(derived(snapshotOf({one}), everything).topTools, expected);
}

TEST(DashboardAnalytics, tellInsightsOfTheRowsByTheirTokensInScope) {
    std::vector<SessionResult> sessions;
    for (const char* path : {"/a", "/b", "/c"}) {
        sessions.push_back(inLog(path, session({requestAt(sunday, 10), requestAt(sunday - day, 1'000)})));
        sessions.back().source.isSubagent = true;
    }
    sessions.push_back(inLog("/d", session({requestAt(sunday, 30), requestAt(sunday, 5)})));
    sessions.push_back(inLog("/e", session({requestAt(sunday - day, 9'999)})));
    sessions.back().source.isSubagent = true;
    const auto result = derived(snapshotOf(sessions), cycle(sunday));
    ASSERT_EQ(result.insights.size(), 1u);
    EXPECT_EQ(result.insights[0].title, "Sub-agents used 46% of tokens");
    EXPECT_EQ(result.insights[0].sessions, (Paths{"/a", "/b", "/c"}));
    EXPECT_EQ(result.insights, InsightRules::derive(result.rows, result.rowTokens, PriceTable()));
}

TEST(DashboardAnalytics, priceInsightsByTheTableInForce) {
    auto one = inLog("/a", session({requestAt(sunday, 10)}));
    one.model = "gpt-5";
    one.insights = {3, {{"idle", 3}}, 1'000'000, {}, 0};
    const Snapshot snapshot = snapshotOf({one});
    const auto result = DashboardAnalytics::derive(&snapshot, everything, {}, {},
                                                   PriceTable(CostEstimator::defaults()), sunday);
    EXPECT_EQ(result.insights.at(0).detail,
              "Requests where most of the previous prompt wasn't served from "
              "cache: 3 idle (≈ $1.12 at API prices).");
}

TEST(DashboardAnalytics, leaveOutWhatWouldLeave64Bits) {
    constexpr auto most = std::numeric_limits<std::int64_t>::max();
    const auto huge = inLog("/a", session({requestAt(sunday, UsageTotals{most, most, 0, 0, 0, most}),
                                           requestAt(sunday, UsageTotals{1, 1, 0, 0, 0, 1})}));
    const auto more = inLog("/b", session({requestAt(sunday, 7)}));
    for (const Selection& selection : {everything, cycle(sunday)}) {
        const auto result = derived(snapshotOf({huge, more}), selection);
        EXPECT_EQ(result.totalTokens, most);
        EXPECT_EQ(result.totalInput, most);
        EXPECT_EQ(result.totalReqs, 3);
    }
}

}  // namespace
}  // namespace ledgerfern
