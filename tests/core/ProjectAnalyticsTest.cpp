#include "Analytics/ProjectAnalytics.h"

#include <gtest/gtest.h>

#include <limits>

#include "SessionSamples.h"
#include "UsageRecords/TSDate.h"

namespace ledgerfern {
namespace {

constexpr Instant sunday = 1772360430;  // 2026-03-01 10:20:30 UTC
constexpr Instant day = 86400;
const std::string sundayKey = "1772360430";

using ProjectAnalytics::Selection;
using Paths = std::vector<std::string>;
using Stacks = std::vector<DayStack>;

ProjectDerived derived(const std::vector<SessionResult>& sessions, const Selection& selection) {
    Snapshot snapshot;
    snapshot.sessions = listOf(sessions);
    return ProjectAnalytics::derive(&snapshot, selection);
}

Selection of(std::optional<std::string> cycleKey, std::optional<std::string> weekKey = {},
             bool allTime = false) {
    Selection selection;
    selection.project = "p";
    selection.cycleKey = std::move(cycleKey);
    selection.weekKey = std::move(weekKey);
    selection.allTime = allTime;
    return selection;
}

/// Requests from before the Sunday to the one after it, and one without a time.
SessionResult spread() {
    return inLog("/a",
                 session({requestAt(sunday - 7 * day, 1), requestAt(sunday, 2), requestAt(sunday + day, 4),
                          requestAt(sunday + 7 * day, 8), requestAt({}, 16)}));
}

void expectEmpty(const ProjectDerived& derived) {
    EXPECT_TRUE(derived.isEmpty);
    EXPECT_TRUE(derived.rows.empty() && derived.rowTokens.empty() && derived.rowReqs.empty());
    EXPECT_TRUE(derived.stacks.empty() && derived.legend.empty());
    EXPECT_EQ(derived.totalTokens + derived.totalReqs, 0);
}

TEST(ProjectAnalytics, ofNothingAreEmpty) {
    expectEmpty(ProjectAnalytics::derive(nullptr, of({})));
    expectEmpty(derived({}, of({})));
    EXPECT_FALSE(ProjectDerived().isEmpty);
}

TEST(ProjectAnalytics, ofAnUnknownProjectAreEmpty) {
    Selection selection = of({}, {}, true);
    for (const char* name : {"q", "P", "", "p "}) {
        selection.project = name;
        expectEmpty(derived({spread()}, selection));
    }
}

TEST(ProjectAnalytics, countTheRequestsOfACycle) {
    const auto result = derived({spread()}, of(sundayKey));
    EXPECT_FALSE(result.isEmpty);
    EXPECT_EQ(result.rowTokens, (SessionCounts{{"/a", 6}}));
    EXPECT_EQ(result.rowReqs, (SessionCounts{{"/a", 2}}));
    EXPECT_EQ(result.totalTokens, 6);
    EXPECT_EQ(result.totalReqs, 2);
    EXPECT_EQ(result.stacks, (Stacks{{TSDate::localDayKey(sunday), {{"Codex", 2}}, 2},
                                     {TSDate::localDayKey(sunday + day), {{"Codex", 4}}, 4}}));
    EXPECT_EQ(result.legend, (std::vector<LegendEntry>{{"Codex", 6, 1}}));
}

TEST(ProjectAnalytics, countTheRequestsOfAWeek) {
    const auto result = derived({spread()}, of({}, "2026-W09"));
    EXPECT_EQ(result.totalTokens, 2);
    EXPECT_EQ(result.stacks, (Stacks{{TSDate::localDayKey(sunday), {{"Codex", 2}}, 2}}));
    EXPECT_EQ(derived({spread()}, of({}, "2026-W10")).totalTokens, 12);
    expectEmpty(derived({spread()}, of({}, "2026-W20")));
}

TEST(ProjectAnalytics, beginAWeekOnMondayInUtc) {
    const Instant monday = 1771804800;
    const auto edges =
        inLog("/a", session({requestAt(monday - 0.001, 1), requestAt(monday, 2),
                             requestAt(monday + 7 * day - 0.001, 4), requestAt(monday + 7 * day, 8)}));
    EXPECT_EQ(derived({edges}, of({}, "2026-W09")).totalTokens, 6);
}

TEST(ProjectAnalytics, findNothingInAWeekThatNoRequestCanHave) {
    for (const char* key : {"2026-W9", "2026-W00", "2026-W54", "nonsense", "", "+2026-W09"})
        expectEmpty(derived({spread()}, of({}, key)));
}

TEST(ProjectAnalytics, ignoreTheWeekWhereThereIsACycle) {
    EXPECT_EQ(derived({spread()}, of(sundayKey, "2026-W20")).totalTokens, 6);
    EXPECT_EQ(derived({spread()}, of("today", "2026-W09")).totalTokens, 2) << "no cycle's key";
}

TEST(ProjectAnalytics, withoutAScopeCountWhatHasATime) {
    const auto untimed = inLog("/b", session({requestAt({}, 100)}));
    for (const std::optional<std::string>& key : {std::optional<std::string>(), {"today"}}) {
        const auto result = derived({spread(), untimed}, of(key));
        EXPECT_EQ(result.rowTokens, (SessionCounts{{"/a", 15}}));
        EXPECT_EQ(result.totalReqs, 4);
        EXPECT_EQ(result.stacks.size(), 4u);
    }
}

TEST(ProjectAnalytics, ofAllTimeShowSessionsWithoutRequests) {
    SessionResult silent = inLog("/b", session({}));
    silent.totals.totalTokens = 50;
    SessionResult nothing = inLog("/c", session({}));
    const auto result = derived({spread(), silent, nothing}, of({}, {}, true));
    EXPECT_EQ(pathsOf(result.rows), (Paths{"/b", "/a", "/c"}));
    EXPECT_EQ(result.rowTokens, (SessionCounts{{"/a", 31}, {"/b", 50}, {"/c", 0}}));
    EXPECT_EQ(result.rowReqs, (SessionCounts{{"/a", 5}, {"/b", 0}, {"/c", 0}}));
    EXPECT_EQ(result.totalTokens, 81);
    EXPECT_EQ(result.totalReqs, 5);
    EXPECT_EQ(result.stacks, (Stacks{{"2026-W08", {{"Codex", 1}}, 1},
                                     {"2026-W09", {{"Codex", 2}}, 2},
                                     {"2026-W10", {{"Codex", 12}}, 12}}));
    expectEmpty(derived({silent, nothing}, of({})));
}

TEST(ProjectAnalytics, ofAllTimeKeepTheBarsToACycle) {
    const auto result = derived({spread()}, of(sundayKey, {}, true));
    EXPECT_EQ(result.rowTokens, (SessionCounts{{"/a", 31}}));
    EXPECT_EQ(result.stacks, (Stacks{{"2026-W09", {{"Codex", 2}}, 2}, {"2026-W10", {{"Codex", 4}}, 4}}));
}

TEST(ProjectAnalytics, ofAllTimeIgnoreAWeek) {
    const auto result = derived({spread()}, of({}, "2026-W09", true));
    EXPECT_EQ(result.totalTokens, 31);
    EXPECT_EQ(result.stacks.size(), 3u);
}

TEST(ProjectAnalytics, keepASessionWhoseRequestsHaveNoTokens) {
    const auto result = derived({inLog("/a", session({requestAt(sunday, 0)}))}, of(sundayKey));
    EXPECT_EQ(result.rowReqs, (SessionCounts{{"/a", 1}}));
    EXPECT_EQ(result.legend, (std::vector<LegendEntry>{{"Codex", 0, 0}}));
}

TEST(ProjectAnalytics, stackBySessionsModel) {
    auto one = inLog("/a", withModels(session({requestAt(sunday, 1)}), {"of the request"}));
    one.model = "m";
    const auto other = inLog("/b", withModels(session({requestAt(sunday, 3)}), {"of the request"}));
    Selection selection = of({}, {}, true);
    selection.breakdown = Breakdown::model;
    const auto result = derived({one, other}, selection);
    EXPECT_EQ(result.stacks, (Stacks{{"2026-W09", {{"m", 1}, {"unknown", 3}}, 4}}));
    EXPECT_EQ(result.legend, (std::vector<LegendEntry>{{"unknown", 3, 0.75}, {"m", 1, 0.25}}));
}

TEST(ProjectAnalytics, orderByTokensInScopeOrByTime) {
    const auto with = [](const char* path, std::int64_t tokens, std::optional<Instant> lastTs) {
        SessionResult result = inLog(path, session({requestAt(sunday, tokens)}));
        result.lastTs = lastTs;
        return result;
    };
    const std::vector<SessionResult> sessions = {with("/e", 5, {}), with("/d", 1, -1e12), with("/c", 9, {}),
                                                 with("/b", 5, 100), with("/a", 2, 200)};
    EXPECT_EQ(pathsOf(derived(sessions, of({})).rows), (Paths{"/c", "/e", "/b", "/a", "/d"}));
    Selection recent = of({});
    recent.recent = true;
    EXPECT_EQ(pathsOf(derived(sessions, recent).rows), (Paths{"/a", "/b", "/d", "/e", "/c"}));
}

TEST(ProjectAnalytics, showOneTool) {
    SessionResult claude = spread();
    claude.path = "/b";
    claude.tool = ToolKind::claudeCode;
    Selection selection = of({}, {}, true);
    selection.tool = ToolKind::claudeCode;
    EXPECT_EQ(pathsOf(derived({spread(), claude}, selection).rows), Paths{"/b"});
    selection.tool = ToolKind::codex;
    EXPECT_EQ(pathsOf(derived({spread(), claude}, selection).rows), Paths{"/a"});
}

TEST(ProjectAnalytics, leaveOutWhatWouldLeave64Bits) {
    constexpr auto most = std::numeric_limits<std::int64_t>::max();
    const auto huge = inLog("/a", session({requestAt(sunday, most), requestAt(sunday, 1)}));
    const auto result = derived({huge, inLog("/b", session({requestAt(sunday, 7)}))}, of(sundayKey));
    EXPECT_EQ(result.rowTokens, (SessionCounts{{"/a", most}, {"/b", 7}}));
    EXPECT_EQ(result.totalTokens, most);
    EXPECT_EQ(result.totalReqs, 3);
}

}  // namespace
}  // namespace ledgerfern
