#include <gtest/gtest.h>
#include <rapidcheck.h>

#include <cmath>
#include <cstdlib>
#include <numeric>

#include "RandomWorld.h"

// Made-up logs of both agents, read by the engine: wherever two numbers count the same, they agree, with each
// other and with what was written into the logs.

namespace ledgerfern {
namespace {

using test::ExpectedRequest;
using test::ExpectedSession;
using test::hasTime;
using test::Sums;
using test::sumsOf;
using test::World;

using Buckets = std::map<std::string, Aggregates::WeekBucket>;
using Days = std::map<std::string, std::int64_t>;

TEST(BothAgentsProperty, everySessionHasWhatItsLogHas) {
    EXPECT_TRUE(rc::check("requests and totals are those of the logs", [] {
        const World world;
        RC_CLASSIFY(world.sessions.empty());
        RC_ASSERT(world.snapshot.sessions.size() == world.sessions.size());
        RC_ASSERT(world.snapshot.malformedLines == 0);
        for (const SessionPointer& session : world.snapshot.sessions) {
            const ExpectedSession& expected = world.of(session);
            RC_ASSERT(session->tool == expected.tool);
            RC_ASSERT(session->project == expected.project);
            RC_ASSERT(session->source.isGuardian == expected.isGuardian);
            RC_ASSERT(session->totals == expected.totals);
            RC_ASSERT(session->requests.size() == expected.requests.size());
            UsageTotals sum;
            for (std::size_t i = 0; i < expected.requests.size(); ++i) {
                RC_ASSERT(session->requests[i].ts == expected.requests[i].ts);
                RC_ASSERT(session->requests[i].d == expected.requests[i].d);
                RC_ASSERT(session->requests[i].model == expected.requests[i].model);
                sum.add(session->requests[i].d);
            }
            if (!expected.everFell) RC_ASSERT(sum == session->totals);
        }
    }));
}

TEST(BothAgentsProperty, sharesAddUpButForTheirRounding) {
    EXPECT_TRUE(rc::check("tools have what the requests used", [] {
        const World world;
        for (const SessionPointer& session : world.snapshot.sessions) {
            const ExpectedSession& expected = world.of(session);
            ToolStat sum;
            for (const auto& [label, stat] : session->tools)
                sum.add(stat);
            RC_ASSERT(sum.calls == expected.calls);
            for (const auto& [shared, attributed] :
                 {std::pair(expected.input, sum.attribInput), std::pair(expected.output, sum.attribOutput)}) {
                const std::int64_t missing = shared.tokens - attributed;
                if (session->tool == ToolKind::codex)  // each share is cut
                    RC_ASSERT(missing >= 0 && missing <= shared.shares);
                else  // each share is rounded
                    RC_ASSERT(2 * std::abs(missing) <= shared.shares);
            }
        }
    }));
}

void expectEqual(const Snapshot& a, const Snapshot& b) {
    RC_ASSERT(a.aggregates == b.aggregates);
    RC_ASSERT(a.sessionIDs == b.sessionIDs);
    RC_ASSERT(a.malformedLines == b.malformedLines);
    RC_ASSERT(a.sessions.size() == b.sessions.size());
    for (std::size_t i = 0; i < a.sessions.size(); ++i)
        RC_ASSERT(*a.sessions[i] == *b.sessions[i]);
}

TEST(BothAgentsProperty, aScanInStepsFindsWhatOneScanFinds) {
    EXPECT_TRUE(rc::check("steps give the same snapshot", [] {
        const World world;
        Engine engine = world.engine();
        for (const auto& [name, text] : world.logs) {
            const auto cut = test::between<std::size_t>(0, text.size());
            const std::size_t lineEnd = text.find('\n', cut) + 1;
            world.home.write(name, text.substr(0, lineEnd));
            engine.rescan();
            world.home.append(name, text.substr(lineEnd));
        }
        expectEqual(engine.rescan(), world.snapshot);
        expectEqual(engine.currentSnapshot(), world.snapshot);
    }));
}

// The roll-up

void add(Buckets& buckets, const Buckets& more) {
    for (const auto& [key, bucket] : more)
        for (const auto& [project, totals] : bucket.projects)
            buckets[key].projects[project].add(totals);
}

Sums sumOf(const Buckets& buckets) {
    Sums sums;
    for (const auto& [key, bucket] : buckets)
        sums.totals.add(bucket.total());
    return sums;
}

std::optional<double> anchorOf(const World& world) {
    std::optional<double> anchor;
    for (const auto& [path, session] : world.sessions)
        if (session.resetsAt && (!anchor || static_cast<double>(*session.resetsAt) > *anchor))
            anchor = static_cast<double>(*session.resetsAt);
    return anchor;
}

/// What is in each of the buckets that `keyOf` names.
Buckets bucketsOf(const World& world, const std::function<std::string(Instant)>& keyOf) {
    Buckets buckets;
    for (const auto& [path, session] : world.sessions)
        for (const ExpectedRequest& request : session.requests)
            if (request.ts) buckets[keyOf(*request.ts)].projects[session.project].add(request.d);
    return buckets;
}

std::string cycleKey(double anchor, Instant ts) {
    const double steps = std::floor((ts - anchor) / Aggregates::cycleLength);
    return std::to_string(static_cast<std::int64_t>(anchor + steps * Aggregates::cycleLength));
}

TEST(BothAgentsProperty, theRollUpHasWhatTheLogsHave) {
    EXPECT_TRUE(rc::check("every bucket has its requests", [] {
        const World world;
        const Aggregates& sums = world.snapshot.aggregates;
        Sums all, timed;
        for (const auto& [path, session] : world.sessions) {
            all.add(sumsOf(session, {}));
            timed.add(sumsOf(session, hasTime));
        }
        RC_ASSERT(sums.totals == all.totals);
        RC_ASSERT(sums.sessionsAnalyzed == static_cast<std::int64_t>(world.sessions.size()));
        RC_ASSERT(sums.filesScanned == static_cast<std::int64_t>(world.logs.size()));
        RC_ASSERT(sums.cycleAnchor == anchorOf(world));
        RC_ASSERT(sums.weeks == bucketsOf(world, TSDate::isoWeekKey));
        const auto keyOfCycle = [&](Instant ts) { return cycleKey(*sums.cycleAnchor, ts); };
        RC_ASSERT(sums.cycles == (sums.cycleAnchor ? bucketsOf(world, keyOfCycle) : Buckets()));
        RC_ASSERT(sumOf(sums.weeks).totals == timed.totals);
        Days days;
        for (const auto& [day, bucket] : bucketsOf(world, TSDate::utcDayKey))
            days[day] = bucket.total().totalTokens;
        RC_ASSERT(sums.daily == days);
        RC_ASSERT(std::accumulate(sums.hourlyLocal.begin(), sums.hourlyLocal.end(), std::int64_t{0}) ==
                  timed.totals.totalTokens);
    }));
}

TEST(BothAgentsProperty, theRollUpIsThatOfBothAgentsTogether) {
    EXPECT_TRUE(rc::check("the agents' roll-ups add up", [] {
        const World world;
        Aggregates sum;
        for (const ToolKind tool : {ToolKind::codex, ToolKind::claudeCode}) {
            const Aggregates part = world.snapshot.aggregatesOf(tool);
            sum.totals.add(part.totals);
            sum.sessionsAnalyzed += part.sessionsAnalyzed;
            sum.filesScanned += part.filesScanned;
            add(sum.weeks, part.weeks);
            add(sum.cycles, part.cycles);
            for (const auto& [label, stat] : part.tools)
                sum.tools[label].add(stat);
            for (const auto& [day, tokens] : part.daily)
                sum.daily[day] += tokens;
            for (std::size_t hour = 0; hour < 24; ++hour)
                sum.hourlyLocal[hour] += part.hourlyLocal[hour];
        }
        const Aggregates& all = world.snapshot.aggregates;
        RC_ASSERT(sum.totals == all.totals);
        RC_ASSERT(sum.sessionsAnalyzed == all.sessionsAnalyzed);
        RC_ASSERT(sum.filesScanned == all.filesScanned);
        RC_ASSERT(sum.weeks == all.weeks);
        RC_ASSERT(sum.cycles == all.cycles);
        RC_ASSERT(sum.tools == all.tools);
        RC_ASSERT(sum.daily == all.daily);
        RC_ASSERT(sum.hourlyLocal == all.hourlyLocal);
    }));
}

}  // namespace
}  // namespace ledgerfern
