#include "Analytics/UsageSummary.h"

#include <gtest/gtest.h>

#include "Analytics/CostEstimator.h"

namespace ledgerfern {
namespace {

const PriceTable prices(CostEstimator::defaults());
constexpr Instant midnight = 1772323200;  // 1 March 2026, 00:00 UTC

struct Request {
    std::optional<Instant> ts;
    std::int64_t input = 0;
    const char* model = nullptr;
};

/// Requests of input alone.
SessionPointer session(const std::string& path, const std::string& project, const char* model,
                       const std::vector<Request>& requests, ToolKind tool = ToolKind::codex) {
    SessionResult result;
    result.path = path;
    result.project = project;
    result.tool = tool;
    if (model) result.model = model;
    StringIndex names;
    SharedArray<RequestRecord> records;
    for (const Request& request : requests) {
        RequestRecord record;
        if (request.ts) record.time = *request.ts;
        record.d.inputTokens = record.d.totalTokens = request.input;
        if (request.model) record.model = names.intern(request.model);
        records.push_back(record);
        result.totals.add(record.d);
    }
    result.requests = RequestList(records, names.pool());
    return std::make_shared<const SessionResult>(result);
}

/// gpt-5-mini at 0.25 a million, whose first request gpt-5 has served at 1.25; the last has no time.
const SessionPointer mixed = session(
    "a", "p", "gpt-5-mini", {{midnight - 1, 1000, "gpt-5"}, {midnight, 2000, nullptr}, {{}, 500, nullptr}});

DashboardAnalytics::Scope allTime() {
    return {true, std::nullopt, {}};
}

DashboardAnalytics::Scope from(Instant start, double length) {
    return {false, TimeRange{start, start + length}, {}};
}

TEST(UsageSummary, countsARequestAtItsOwnModelAndDay) {
    const UsageSummary usage = summarise({mixed}, allTime(), StackUnit::localDay, prices);
    EXPECT_EQ(usage.projects, (std::vector<UsageRow>{{"p", 3500, 3, 1, 0.000875}}));
    ASSERT_EQ(usage.models.size(), 2u);
    EXPECT_EQ(usage.models[0].name, "gpt-5-mini");
    EXPECT_EQ(usage.models[0].tokens, 2500);
    EXPECT_DOUBLE_EQ(*usage.models[0].cost, 0.000625);
    EXPECT_EQ(usage.models[1].tokens, 1000);
    EXPECT_DOUBLE_EQ(*usage.models[1].cost, 0.00125);
    // The days cost what the session's model costs.
    ASSERT_EQ(usage.periods.size(), 2u);
    EXPECT_EQ(usage.periods[0].tokens, 1000);
    EXPECT_DOUBLE_EQ(*usage.periods[0].cost, 0.00025);
    EXPECT_EQ(usage.periods[1].tokens, 2000);
    EXPECT_DOUBLE_EQ(*usage.periods[1].cost, 0.0005);
}

TEST(UsageSummary, countsWhatLiesInTheRangeAlone) {
    const UsageSummary usage = summarise({mixed}, from(midnight, 86400), StackUnit::localDay, prices);
    EXPECT_EQ(usage.all.tokens, 2000);
    EXPECT_EQ(usage.all.requests, 1);
    EXPECT_DOUBLE_EQ(*usage.all.cost, 0.0005);
    EXPECT_EQ(usage.totals.inputTokens, 2000);
    ASSERT_EQ(usage.sessions.size(), 1u);
    EXPECT_EQ(usage.sessions[0].name, "a");
    EXPECT_EQ(usage.sessions[0].tokens, 2000);
    EXPECT_EQ(usage.models.size(), 1u);
    EXPECT_EQ(usage.periods.size(), 1u);
}

TEST(UsageSummary, takesTheTotalsOfASessionThatCountsAsAWhole) {
    SessionResult partly = *mixed;  // its requests have 3,500 tokens of input
    partly.totals = {1'000'000, 0, 0, 0, 0, 1'000'100};
    const SessionList sessions = {std::make_shared<const SessionResult>(partly)};
    const UsageSummary usage = summarise(sessions, allTime(), StackUnit::localDay, prices);
    EXPECT_EQ(usage.sessions, (std::vector<UsageRow>{{"a", 1'000'100, 3, 1, 0.25}}));
    EXPECT_EQ(usage.projects, (std::vector<UsageRow>{{"p", 1'000'100, 3, 1, 0.25}}));
    EXPECT_EQ(usage.agents, (std::vector<UsageRow>{{"Codex", 1'000'100, 3, 1, 0.25}}));
    EXPECT_EQ(usage.all, (UsageRow{"", 1'000'100, 3, 1, 0.25}));
    EXPECT_EQ(usage.totals, partly.totals);
    // In a range only its requests can tell.
    const UsageSummary day = summarise(sessions, from(midnight, 86400), StackUnit::localDay, prices);
    EXPECT_EQ(day.all.tokens, 2000);
    EXPECT_DOUBLE_EQ(*day.all.cost, 0.0005);
}

TEST(UsageSummary, costsNothingWhereAPricedSessionHasNoRequestInTheRange) {
    const SessionList sessions = {mixed, session("b", "q", nullptr, {{midnight, 5}})};
    const UsageSummary usage =
        summarise(sessions, from(midnight + 86400, 86400), StackUnit::localDay, prices);
    EXPECT_EQ(usage.sessions, (std::vector<UsageRow>{{"a", 0, 0, 1, 0.0}, {"b", 0, 0, 1, std::nullopt}}));
    EXPECT_EQ(usage.all.cost, 0.0);
    EXPECT_EQ(usage.unpricedSessions, 1);
}

TEST(UsageSummary, countsASessionByTheCycleOfItsTool) {
    DashboardAnalytics::Scope scope = from(midnight, 86400);
    scope.cyclesByTool[ToolKind::codex] = {midnight - 10, midnight};
    const UsageSummary usage = summarise({mixed}, scope, StackUnit::localDay, prices);
    EXPECT_EQ(usage.all.tokens, 1000);
    EXPECT_EQ(usage.models[0].name, "gpt-5");
    // The days keep to the selected cycle, as the chart does.
    ASSERT_EQ(usage.periods.size(), 1u);
    EXPECT_EQ(usage.periods[0].tokens, 2000);
}

TEST(UsageSummary, sumsWeeksOnWish) {
    // 1 March 2026 is a Sunday.
    const SessionPointer weeks =
        session("a", "p", nullptr, {{midnight, 1}, {midnight + 86399, 2}, {midnight + 86400, 4}});
    const UsageSummary usage = summarise({weeks}, allTime(), StackUnit::isoWeek, prices);
    EXPECT_EQ(usage.periods, (std::vector<UsageRow>{{"2026-W09", 3, 2, 1, std::nullopt},
                                                    {"2026-W10", 4, 1, 1, std::nullopt}}));
}

TEST(UsageSummary, putsTheMostTokensFirstAndEqualOnesInOrderOfTheirNames) {
    SessionList sessions;
    for (const char* name : {"b", "a", "c"})
        sessions.push_back(session(name, name, nullptr, {{midnight, 2}}));
    sessions.push_back(session("d", "c", nullptr, {{midnight, 1}}, ToolKind::claudeCode));
    const UsageSummary usage = summarise(sessions, allTime(), StackUnit::localDay, prices);
    EXPECT_EQ(usage.projects,
              (std::vector<UsageRow>{{"c", 3, 2, 2, {}}, {"a", 2, 1, 1, {}}, {"b", 2, 1, 1, {}}}));
    EXPECT_EQ(usage.agents, (std::vector<UsageRow>{{"Codex", 6, 3, 3, {}}, {"Claude Code", 1, 1, 1, {}}}));
    EXPECT_EQ(usage.models, (std::vector<UsageRow>{{"unknown", 7, 4, 4, {}}}));
    EXPECT_EQ(usage.unpricedSessions, 4);
}

TEST(UsageSummary, tellsWhereOnlyAPartHasAPrice) {
    const SessionPointer priced = session("a", "p", "gpt-5", {{midnight, 1}});
    const SessionPointer free = session("b", "p", nullptr, {{midnight, 1}, {midnight + 86400, 1}});
    const UsageSummary both = summarise({priced, free}, allTime(), StackUnit::localDay, prices);
    EXPECT_TRUE(both.all.costIsPartial);
    EXPECT_TRUE(both.projects[0].costIsPartial);
    EXPECT_TRUE(both.agents[0].costIsPartial);
    ASSERT_EQ(both.periods.size(), 2u);
    EXPECT_TRUE(both.periods[0].costIsPartial);
    EXPECT_FALSE(both.periods[1].costIsPartial) << "none of it has one";
    EXPECT_FALSE(both.sessions[0].costIsPartial || both.sessions[1].costIsPartial);
    EXPECT_FALSE(both.models[0].costIsPartial || both.models[1].costIsPartial);
    // What has no price lies outside.
    const UsageSummary second = summarise({priced, session("c", "p", nullptr, {{midnight + 86400, 1}})},
                                          from(midnight, 86400), StackUnit::localDay, prices);
    EXPECT_FALSE(second.all.costIsPartial);
    EXPECT_TRUE(usageByCycle({priced, free}, {"1772323200"}, prices)[0].costIsPartial);
}

TEST(UsageSummary, isEmptyWithoutSessions) {
    const UsageSummary usage = summarise({}, allTime(), StackUnit::localDay, prices);
    EXPECT_EQ(usage.all, UsageRow());
    EXPECT_TRUE(usage.periods.empty());
}

TEST(UsageSummary, sumsCyclesFromTheirStartToBeforeTheirEnd) {
    constexpr double cycle = Aggregates::cycleLength;
    const SessionPointer usage = session(
        "a", "p", "gpt-5", {{-1, 1}, {0, 10}, {cycle - 1, 20}, {cycle, 40}, {2 * cycle, 80}, {{}, 5}});
    const auto rows = usageByCycle({usage}, {"604800", "0", "no number", "-604800"}, prices);
    ASSERT_EQ(rows.size(), 3u);
    EXPECT_EQ(rows[0].name, "-604800");
    EXPECT_EQ(rows[0].tokens, 1);
    EXPECT_EQ(rows[1].tokens, 30);
    EXPECT_EQ(rows[1].requests, 2);
    EXPECT_EQ(rows[1].sessions, 1);
    EXPECT_DOUBLE_EQ(*rows[1].cost, 30 * 1.25 / 1e6);
    EXPECT_EQ(rows[2].tokens, 40);
    // A cycle of nothing is listed all the same.
    EXPECT_EQ(usageByCycle({}, {"0"}, prices), (std::vector<UsageRow>{{"0", 0, 0, 0, {}}}));
}

}  // namespace
}  // namespace ledgerfern
