#include <gtest/gtest.h>
#include <rapidcheck.h>

#include <algorithm>
#include <cmath>
#include <numeric>

#include "Analytics/Aggregates.h"
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
        // Anchors of tools depend on the order where a later reading names no reset; here all do.
        const Aggregates forward(listOf(sessions), 3, anchor);
        std::reverse(sessions.begin(), sessions.end());
        RC_ASSERT(forward == Aggregates(listOf(sessions), 3, anchor));
        if (sessions.size() > 1) std::swap(sessions.front(), sessions[sessions.size() / 2]);
        RC_ASSERT(forward == Aggregates(listOf(sessions), 3, anchor));
    }));
}

/// The roll-up request by request, with nothing remembered between them.
Aggregates plainRollUp(const std::vector<SessionResult>& sessions, std::optional<double> anchor) {
    Aggregates sums;
    for (const SessionResult& session : sessions)
        for (const RequestRecord& request : session.requests.records()) {
            if (!request.hasTime()) continue;
            sums.weeks[TSDate::isoWeekKey(request.time)].projects[session.project].add(request.d);
            sums.daily[TSDate::utcDayKey(request.time)] += request.d.totalTokens;
            if (!anchor) continue;
            const double base = *anchor - 604800;
            const double start = base + std::floor((request.time - base) / 604800) * 604800;
            const auto key = std::to_string(static_cast<std::int64_t>(start));
            sums.cycles[key].projects[session.project].add(request.d);
        }
    return sums;
}

TEST(AggregatesProperty, rememberingBucketsChangesNothing) {
    EXPECT_TRUE(rc::check("the buckets are those of a roll-up request by request", [] {
        const auto sessions = randomSessions();
        const auto anchor = randomAnchor();
        const Aggregates sums(listOf(sessions), 0, anchor);
        const Aggregates plain = plainRollUp(sessions, anchor);
        RC_ASSERT(sums.weeks == plain.weeks);
        RC_ASSERT(sums.cycles == plain.cycles);
        RC_ASSERT(sums.daily == plain.daily);
    }));
}

}  // namespace
}  // namespace ledgerfern
