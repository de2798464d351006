#include <gtest/gtest.h>
#include <rapidcheck.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <numeric>
#include <random>

#include "Analytics/Aggregates.h"
#include "Foundation/Arithmetic.h"
#include "SessionSamples.h"
#include "UsageRecords/TSDate.h"

namespace ledgerfern {
namespace {

UsageTotals randomTokens() {
    UsageTotals tokens;
    for (std::size_t i = 0; i < UsageTotals::fields.size(); ++i)
        tokens.at(i) = *rc::gen::inRange<std::int64_t>(-1000, 1'000'000);
    return tokens;
}

/// Quarters of an hour over some years, after the hours round the epoch that a session doesn't tell apart.
RequestRecord randomRequest() {
    if (*rc::gen::inRange(0, 8) == 0) return requestAt({}, randomTokens());
    const auto quarter = *rc::gen::inRange<std::int64_t>(4, 2000);
    const auto year = *rc::gen::inRange<std::int64_t>(0, 3);
    return requestAt(static_cast<double>(quarter * 900 + year * 31'556'952), randomTokens());
}

SessionResult randomSession(std::int64_t number) {
    std::vector<RequestRecord> records;
    for (int count = *rc::gen::inRange(0, 12); count > 0; --count)
        records.push_back(randomRequest());
    SessionResult result = session(records, *rc::gen::elementOf(std::vector<std::string>{"a", "b", "c"}));
    result.tool = *rc::gen::elementOf(std::vector<ToolKind>{ToolKind::codex, ToolKind::claudeCode});
    result.tools = ToolTable({{"tool:a", {1, number, 2}}, {"tool:" + result.project, {3, 4, number}}});
    if (*rc::gen::inRange(0, 4) != 0) result.lastTs = static_cast<double>(number);  // no two alike
    if (*rc::gen::inRange(0, 2) == 0) result.rateLimit = RateLimitInfo{1.0, {}, number * 1000, {}};
    return result;
}

std::vector<SessionResult> randomSessions() {
    std::vector<SessionResult> sessions;
    for (std::int64_t count = *rc::gen::inRange(0, 8); count > 0; --count)
        sessions.push_back(randomSession(count));
    return sessions;
}

std::optional<double> randomAnchor() {
    if (*rc::gen::inRange(0, 4) == 0) return std::nullopt;
    return static_cast<double>(*rc::gen::inRange<std::int64_t>(-100'000'000, 100'000'000));
}

UsageTotals sumOf(const std::map<std::string, Aggregates::WeekBucket>& buckets) {
    UsageTotals sum;
    for (const auto& [key, bucket] : buckets)
        sum.add(bucket.total());
    return sum;
}

UsageTotals sumOfTimed(const std::vector<SessionResult>& sessions) {
    UsageTotals sum;
    for (const SessionResult& session : sessions)
        for (const RequestRecord& request : session.requests.records())
            if (request.hasTime()) sum.add(request.d);
    return sum;
}

TEST(AggregatesProperty, everyTimedRequestCountsOnceByWeekCycleDayAndHour) {
    EXPECT_TRUE(rc::check("the sums agree", [] {
        const auto sessions = randomSessions();
        const auto anchor = randomAnchor();
        const Aggregates sums(listOf(sessions), 0, anchor);
        const UsageTotals all = sumOfTimed(sessions);
        RC_ASSERT(sumOf(sums.weeks) == all);
        RC_ASSERT(sumOf(sums.cycles) == (anchor ? all : UsageTotals()));
        std::int64_t days = 0;
        for (const auto& [key, total] : sums.daily)
            days += total;
        RC_ASSERT(days == all.totalTokens);
        RC_ASSERT(std::accumulate(sums.hourlyLocal.begin(), sums.hourlyLocal.end(), std::int64_t{0}) ==
                  all.totalTokens);
    }));
}

TEST(AggregatesProperty, theOrderOfSessionsDoesNotMatterWithoutTies) {
    EXPECT_TRUE(rc::check("any order gives the same roll-up", [] {
        auto sessions = randomSessions();
        const auto anchor = randomAnchor();
        // A tool's anchor would depend on it where a later reading names no reset; here all do.
        const Aggregates forward(listOf(sessions), 3, anchor);
        std::reverse(sessions.begin(), sessions.end());
        RC_ASSERT(forward == Aggregates(listOf(sessions), 3, anchor));
        if (sessions.size() > 1) std::swap(sessions.front(), sessions[sessions.size() / 2]);
        RC_ASSERT(forward == Aggregates(listOf(sessions), 3, anchor));
    }));
}

/// The roll-up rule by rule, with only the hour's keys and zone remembered between requests.
Aggregates plainRollUp(const std::vector<SessionResult>& sessions, std::optional<double> anchor) {
    Aggregates sums;
    for (const SessionResult& session : sessions) {
        std::optional<std::int64_t> hour;
        std::string week, day;
        double offset = 0;
        for (const RequestRecord& request : session.requests.records()) {
            if (!request.hasTime()) continue;
            const double t = request.time;
            if (hour != static_cast<std::int64_t>(t / 3600)) {
                hour = static_cast<std::int64_t>(t / 3600);
                week = TSDate::isoWeekKey(t);
                day = TSDate::utcDayKey(t);
                offset = TSDate::localOffset(t);
            }
            sums.weeks[week].projects[session.project].add(request.d);
            addFromOutside(sums.daily[day], request.d.totalTokens);
            const double h = std::fmod((t + offset) / 3600, 24) + 24;
            addFromOutside(sums.hourlyLocal[static_cast<std::size_t>(static_cast<std::int64_t>(h) % 24)],
                           request.d.totalTokens);
            if (!anchor) continue;
            const double base = *anchor - 604800;
            const double start = base + std::floor((t - base) / 604800) * 604800;
            const auto key = std::to_string(static_cast<std::int64_t>(start));
            sums.cycles[key].projects[session.project].add(request.d);
        }
    }
    return sums;
}

bool equalsPlain(const std::vector<SessionResult>& sessions, std::optional<double> anchor) {
    const Aggregates sums(listOf(sessions), 0, anchor);
    const Aggregates plain = plainRollUp(sessions, anchor);
    return sums.weeks == plain.weeks && sums.cycles == plain.cycles && sums.daily == plain.daily &&
           sums.hourlyLocal == plain.hourlyLocal;
}

TEST(AggregatesProperty, rememberingBucketsChangesNothing) {
    EXPECT_TRUE(rc::check("the buckets are those of a roll-up rule by rule",
                          [] { RC_ASSERT(equalsPlain(randomSessions(), randomAnchor())); }));
}

/// Requests of a few hours whose counters are as large as 64 bits allow, so that many sums would leave them.
SessionResult sessionOfLargeNumbers() {
    constexpr std::int64_t most = std::numeric_limits<std::int64_t>::max();
    const std::vector<std::int64_t> numbers = {0,        1,    (1LL << 40) - 1, 1LL << 40, most / 3,
                                               most - 1, most, -most - 1,       -most / 2, -1};
    std::vector<RequestRecord> records;
    for (int count = *rc::gen::inRange(1, 40); count > 0; --count) {
        UsageTotals d;
        for (std::size_t i = 0; i < 6; ++i)
            d.at(i) = *rc::gen::elementOf(numbers);
        records.push_back(requestAt(1'772'409'600.0 + *rc::gen::inRange(0, 4) * 900, d));
    }
    return session(records, "a");
}

TEST(AggregatesProperty, addsNoNumberThatWouldLeave64Bits) {
    EXPECT_TRUE(rc::check("whether a number is added is decided for each", [] {
        std::vector<SessionResult> sessions;
        for (int count = *rc::gen::inRange(1, 4); count > 0; --count)
            sessions.push_back(sessionOfLargeNumbers());
        RC_ASSERT(equalsPlain(sessions, 1'772'600'000.0));
    }));
}

TEST(AggregatesProperty, aBucketThatIsNearlyFullTakesWhatStillFits) {
    constexpr std::int64_t most = std::numeric_limits<std::int64_t>::max();
    const double t = 1'772'409'600.0;
    const SessionResult full = session({requestAt(t, {most - 50, 0, 0, 0, 0, most - 50})}, "a");
    const SessionResult small =
        session({requestAt(t + 1, {40, 0, 0, 0, 0, 40}), requestAt(t + 2, {30, 0, 0, 0, 0, 30}),
                 requestAt(t + 3, {10, 0, 0, 0, 0, 10})},
                "a");
    const Aggregates sums(listOf({full, small}), 0, std::nullopt);
    EXPECT_EQ(sums.weeks.begin()->second.projects.at("a").inputTokens, most);
    EXPECT_EQ(sums.daily.begin()->second, most);
}

/// Instants a few doubles before, at and behind the edges of quarter hours and cycles, in any order.
SessionResult sessionAtEdges(double anchor, unsigned seed) {
    std::mt19937 random(seed);
    std::vector<double> edges = {0};
    if (anchor < 2e11)  // the others lie outside the calendar
        edges = {0, anchor, anchor - 604800, anchor + 604800, std::floor(anchor / 3600) * 3600};
    for (const double day : {-719000.0, -3.0, -1.0, 0.0, 1.0, 2.0, 12345.0, 20513.0, 2932000.0})
        for (int quarter = 0; quarter < 96; ++quarter)
            edges.push_back(day * 86400 + quarter * 900);
    std::vector<RequestRecord> records;
    for (const double edge : edges)
        for (const double aside : {-1.0, -0.75, 0.0, 0.5, 1.0}) {
            double t = edge + aside;
            for (int step = static_cast<int>(random() % 5); step > 0; --step)
                t = std::nextafter(t, random() % 2 == 0 ? -1e300 : 1e300);
            records.push_back(
                requestAt(t, UsageTotals{1, 0, 0, 0, 0, static_cast<std::int64_t>(random() % 1000)}));
        }
    if (seed % 2 == 0) std::shuffle(records.begin(), records.end(), random);
    return session(records);
}

bool everyEdgeEqualsPlain() {
    for (const double anchor : {0.0, 604800.0, 1772409600.0, 1772409600.3, -5.5, 1e12, 1e14 + 0.3})
        for (unsigned seed = 0; seed < 2; ++seed)
            if (!equalsPlain({sessionAtEdges(anchor, seed), sessionAtEdges(anchor, seed + 2)}, anchor))
                return false;
    return true;
}

TEST(AggregatesPropertyDeathTest, rememberingBucketsChangesNothingAtTheEdgesOfHoursAndCycles) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    for (const char* zone :
         {"UTC0", "<+0545>-5:45", "<-0330>3:30", "<+0019>-0:19:32", "<+1030>-10:30<+11>-11,M10.1.0,M4.1.0"})
        EXPECT_EXIT(
            {
                setenv("TZ", zone, 1);
                std::_Exit(everyEdgeEqualsPlain() ? 0 : 1);
            },
            testing::ExitedWithCode(0), "")
            << zone;
}

}  // namespace
}  // namespace ledgerfern
