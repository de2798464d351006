#include <gtest/gtest.h>
#include <rapidcheck.h>

#include "Analytics/CostEstimator.h"
#include "Analytics/DashboardAnalytics.h"
#include "Analytics/ProjectAnalytics.h"
#include "Analytics/UsageSummary.h"
#include "RandomWorld.h"

// Made-up logs of both agents, read by the engine: what is derived from the snapshot adds up to its roll-up
// and to what was written into the logs.

namespace ledgerfern {
namespace {

using test::ExpectedRequest;
using test::ExpectedSession;
using test::hasTime;
using test::Keep;
using test::oneIn;
using test::Sums;
using test::sumsOf;
using test::within;
using test::World;

using Buckets = std::map<std::string, Aggregates::WeekBucket>;
using Bars = std::map<std::string, std::int64_t>;

// The dashboard

const PriceTable& prices() {
    static const PriceTable table(CostEstimator::defaults());
    return table;
}

DashboardDerived derived(const World& world, const DashboardAnalytics::Selection& selection, Instant now) {
    return DashboardAnalytics::derive(&world.snapshot, selection, {}, {}, prices(), now);
}

Sums sumsOf(const DashboardDerived& derived) {
    return {{derived.totalInput, derived.totalCached, 0, 0, 0, derived.totalTokens}, derived.totalReqs};
}

/// Only what a derivation sums up.
Sums derivable(const Sums& sums) {
    return {{sums.totals.inputTokens, sums.totals.cachedInputTokens, 0, 0, 0, sums.totals.totalTokens},
            sums.requests};
}

/// Guardians that used nothing aren't shown.
bool isShown(const ExpectedSession& session, const Keep& keep) {
    const Sums sums = sumsOf(session, keep);
    return sums.totals.totalTokens > 0 || (sums.requests > 0 && !session.isGuardian);
}

Sums shownSums(const World& world, const Keep& keep) {
    Sums sums;
    for (const auto& [path, session] : world.sessions)
        if (isShown(session, keep)) sums.add(sumsOf(session, keep));
    return derivable(sums);
}

std::int64_t everyRequest(const World& world) {
    std::int64_t count = 0;
    for (const auto& [path, session] : world.sessions)
        count += sumsOf(session, {}).requests;
    return count;
}

Bars barsOf(const std::vector<DayStack>& stacks) {
    Bars bars;
    for (const DayStack& stack : stacks) {
        std::int64_t parts = 0;
        for (const auto& [label, tokens] : stack.parts)
            parts += tokens;
        RC_ASSERT(parts == stack.total);
        bars[stack.key] = stack.total;
    }
    return bars;
}

/// The bars of the requests in scope, of the sessions that are shown.
Bars shownBars(const World& world, const Keep& keep, std::string (*keyOf)(Instant)) {
    Bars bars;
    for (const auto& [path, session] : world.sessions)
        for (const ExpectedRequest& request : session.requests)
            if (isShown(session, keep) && request.ts && (!keep || keep(request)))
                bars[keyOf(*request.ts)] += request.d.totalTokens;
    return bars;
}

std::int64_t sumOf(const Bars& bars) {
    std::int64_t sum = 0;
    for (const auto& [key, tokens] : bars)
        sum += tokens;
    return sum;
}

template <class Entries, class Value>
std::int64_t sumOf(const Entries& entries, Value Entries::value_type::* value) {
    std::int64_t sum = 0;
    for (const auto& entry : entries)
        sum += entry.*value;
    return sum;
}

std::int64_t sumOf(const SessionCounts& counts) {
    std::int64_t sum = 0;
    for (const SessionCounts::Entry& entry : counts)
        sum += entry.count;
    return sum;
}

/// Totals, rows, bars and legends agree with each other and with the logs, and the agents add up.
Sums checkedSums(const World& world, DashboardAnalytics::Selection selection, const Keep& keep, Instant now) {
    const DashboardDerived result = derived(world, selection, now);
    const Sums sums = sumsOf(result);
    RC_ASSERT(sums == shownSums(world, keep));
    RC_ASSERT(sumOf(result.rowTokens) == result.totalTokens);
    RC_ASSERT(sumOf(result.rowReqs) == result.totalReqs);
    RC_ASSERT(result.rowTokens.size() == result.rows.size());
    const Bars bars = barsOf(result.kindStacks);
    RC_ASSERT(bars == shownBars(world, keep, selection.allTime ? TSDate::isoWeekKey : TSDate::localDayKey));
    RC_ASSERT(barsOf(result.modelStacks) == bars);
    RC_ASSERT(sumOf(result.kindLegend, &LegendEntry::value) == sumOf(bars));
    RC_ASSERT(sumOf(result.modelLegend, &LegendEntry::value) == sumOf(bars));
    Sums agents;
    for (const ToolKind tool : {ToolKind::codex, ToolKind::claudeCode}) {
        selection.tool = tool;
        agents.add(sumsOf(derived(world, selection, now)));
    }
    RC_ASSERT(agents == sums);
    return sums;
}

TEST(BothAgentsDerivationProperty, theDashboardAgreesWithTheRollUp) {
    EXPECT_TRUE(rc::check("all time, every cycle and today add up", [] {
        const World world;
        const Instant now = test::randomLogInstant();
        const Aggregates& all = world.snapshot.aggregates;
        const bool hidesSome = shownSums(world, {}).requests < everyRequest(world);
        RC_CLASSIFY(all.cycles.empty());
        RC_CLASSIFY(hidesSome);
        const Sums ever = checkedSums(world, {{}, {}, true, ""}, {}, now);
        RC_ASSERT(ever.totals == derivable({all.totals}).totals);
        RC_ASSERT(checkedSums(world, {{}, {}, false, ""}, {}, now) == ever);
        for (const auto& [key, bucket] : all.cycles) {
            const Keep keep = within(*Aggregates::cycleRange(key));
            const Sums sums = checkedSums(world, {{}, key, false, ""}, keep, now);
            RC_ASSERT(sums.totals == derivable({bucket.total()}).totals);
        }
        checkedSums(world, {{}, "today", false, ""}, within(TSDate::localDay(now)), now);
    }));
}

TEST(BothAgentsDerivationProperty, theSummaryAgreesWithTheDashboard) {
    EXPECT_TRUE(rc::check("every table adds up to the same", [] {
        const World world;
        const Instant now = test::randomLogInstant();
        DashboardAnalytics::Selection selection{{}, {}, oneIn(3), ""};
        if (oneIn(3)) selection.cycleKey = "today";
        if (oneIn(2)) selection.cycleKey = world.snapshot.aggregates.currentCycleKey();
        const DashboardDerived shown = derived(world, selection, now);
        const auto scope = DashboardAnalytics::scopeOf(world.snapshot.aggregates, selection, now);
        const StackUnit unit = selection.allTime ? StackUnit::isoWeek : StackUnit::localDay;
        const UsageSummary summary = summarise(shown.rows, scope, unit, prices());
        RC_ASSERT(summary.all.tokens == shown.totalTokens);
        RC_ASSERT(summary.all.requests == shown.totalReqs);
        RC_ASSERT(derivable({summary.totals, shown.totalReqs}) == sumsOf(shown));
        for (const auto* rows : {&summary.sessions, &summary.projects, &summary.agents}) {
            RC_ASSERT(sumOf(*rows, &UsageRow::tokens) == shown.totalTokens);
            RC_ASSERT(sumOf(*rows, &UsageRow::requests) == shown.totalReqs);
            RC_ASSERT(sumOf(*rows, &UsageRow::sessions) == static_cast<std::int64_t>(shown.rows.size()));
        }
        RC_ASSERT(sumOf(summary.models, &UsageRow::requests) == shown.totalReqs);
        Bars bars;
        for (const UsageRow& row : summary.periods)
            bars[row.name] = row.tokens;
        RC_ASSERT(bars == barsOf(shown.kindStacks));
    }));
}

TEST(BothAgentsDerivationProperty, theCyclesOfTheSummaryAreThoseOfTheRollUp) {
    EXPECT_TRUE(rc::check("every cycle's row has its bucket's tokens", [] {
        const World world;
        std::vector<std::string> keys;
        for (const auto& [key, bucket] : world.snapshot.aggregates.cycles)
            keys.push_back(key);
        const auto rows = usageByCycle(world.snapshot.sessions, keys, prices());
        RC_ASSERT(rows.size() == keys.size());
        Sums timed;
        for (const auto& [path, session] : world.sessions)
            timed.add(sumsOf(session, hasTime));
        for (const UsageRow& row : rows)
            RC_ASSERT(row.tokens == world.snapshot.aggregates.cycles.at(row.name).total().totalTokens);
        if (!keys.empty()) RC_ASSERT(sumOf(rows, &UsageRow::requests) == timed.requests);
    }));
}

// The projects' pages

/// The project's part of each bucket; nothing where the project isn't in it.
Bars barsOf(const Buckets& buckets, const std::string& project) {
    Bars bars;
    for (const auto& [key, bucket] : buckets)
        if (const auto found = bucket.projects.find(project); found != bucket.projects.end())
            bars[key] = found->second.totalTokens;
    return bars;
}

/// Totals, rows, bars and legend agree with each other and with the logs.
void checkPage(const World& world, const ProjectAnalytics::Selection& selection, const Keep& keep) {
    const ProjectDerived page = ProjectAnalytics::derive(&world.snapshot, selection);
    Sums sums;
    Bars bars;
    for (const auto& [path, session] : world.sessions) {
        if (session.project != selection.project) continue;
        sums.add(sumsOf(session, selection.allTime ? Keep() : keep));
        for (const ExpectedRequest& request : session.requests)
            if (request.ts && keep(request))
                bars[selection.allTime ? TSDate::isoWeekKey(*request.ts)
                                       : TSDate::localDayKey(*request.ts)] += request.d.totalTokens;
    }
    RC_ASSERT(page.totalTokens == sums.totals.totalTokens);
    RC_ASSERT(page.totalReqs == sums.requests);
    RC_ASSERT(sumOf(page.rowTokens) == page.totalTokens);
    RC_ASSERT(sumOf(page.rowReqs) == page.totalReqs);
    RC_ASSERT(page.rowTokens.size() == page.rows.size());
    RC_ASSERT(barsOf(page.stacks) == bars);
    RC_ASSERT(sumOf(page.legend, &LegendEntry::value) == sumOf(bars));
}

TEST(BothAgentsDerivationProperty, everyProjectsPageAgreesWithTheRollUp) {
    EXPECT_TRUE(rc::check("all time, every cycle and every week add up", [] {
        const World world;
        const Aggregates& all = world.snapshot.aggregates;
        std::int64_t tokens = 0;
        for (const std::string project : {"alpha", "beta", "gamma"}) {
            ProjectAnalytics::Selection selection;
            selection.project = project;
            selection.breakdown = oneIn(2) ? Breakdown::model : Breakdown::kind;
            checkPage(world, selection, hasTime);
            for (const auto& [key, expected] : barsOf(all.cycles, project)) {
                selection.cycleKey = key;
                checkPage(world, selection, within(*Aggregates::cycleRange(key)));
                RC_ASSERT(ProjectAnalytics::derive(&world.snapshot, selection).totalTokens == expected);
            }
            selection.cycleKey.reset();
            for (const auto& [key, expected] : barsOf(all.weeks, project)) {
                selection.weekKey = key;
                checkPage(world, selection, [week = key](const ExpectedRequest& request) {
                    return request.ts && TSDate::isoWeekKey(*request.ts) == week;
                });
                RC_ASSERT(ProjectAnalytics::derive(&world.snapshot, selection).totalTokens == expected);
            }
            selection.weekKey.reset();
            selection.allTime = true;
            checkPage(world, selection, hasTime);
            const ProjectDerived page = ProjectAnalytics::derive(&world.snapshot, selection);
            RC_ASSERT(barsOf(page.stacks) == barsOf(all.weeks, project));
            tokens += page.totalTokens;
        }
        RC_ASSERT(tokens == all.totals.totalTokens);
    }));
}

}  // namespace
}  // namespace ledgerfern
