#include "Analytics/Aggregates.h"

#include <algorithm>
#include <cmath>
#include <set>
#include <unordered_map>

#include "Analytics/LocalHour.h"
#include "Foundation/Arithmetic.h"
#include "Foundation/Numbers.h"
#include "UsageRecords/TSDate.h"

// The roll-up goes over every request of every session at each snapshot, and must stay near the cost of
// reading them. Finding a request's buckets by their keys costs many times that. The idea: the buckets are
// nodes of maps, whose addresses last, so each is looked up when a boundary is passed and is remembered for
// the requests that follow. What an hour has in common (its week and day) is found once for all sessions.

namespace ledgerfern {

namespace {

using WeekBucket = Aggregates::WeekBucket;

// The years 1 to 9999, which the calendar keys are made for.
constexpr Instant firstInstant = -62'135'596'800.0;
constexpr Instant endOfInstants = 253'402'300'800.0;

/// The buckets that a whole UTC hour shares.
struct HourBuckets {
    WeekBucket* week = nullptr;
    std::int64_t* day = nullptr;
};

using HourTable = std::unordered_map<std::int64_t, HourBuckets>;
using ToolSums = std::unordered_map<std::string_view, ToolStat>;

std::optional<std::string> cycleKey(double start) {
    const auto seconds = truncated(start);
    if (!seconds) return std::nullopt;
    return std::to_string(*seconds);
}

/// Adds the requests of one session to the buckets.
class RequestRollUp {
public:
    RequestRollUp(Aggregates& sums, HourTable& hours, const std::string& project)
        : sums_(sums), hours_(hours), project_(project) {}

    void add(const RequestRecord& request);

private:
    void addToCycle(const RequestRecord& request);
    void enterHour(Instant ts, std::int64_t index);
    void enterCycle(double start);
    const HourBuckets& bucketsOfHour(Instant ts);

    Aggregates& sums_;
    HourTable& hours_;
    const std::string& project_;

    // The hour of the last request. Its index is cut toward zero, and the zone's offset is taken as it stood
    // at the hour's first request in the session.
    std::optional<std::int64_t> hourIndex_;
    WeekBucket* week_ = nullptr;
    UsageTotals* projectOfWeek_ = nullptr;
    std::int64_t* day_ = nullptr;
    double zoneOffset_ = 0;

    std::optional<double> cycleStart_;
    UsageTotals* projectOfCycle_ = nullptr;  // null where the cycle has no key
};

void RequestRollUp::add(const RequestRecord& request) {
    const Instant ts = request.time;
    if (!(ts >= firstInstant && ts < endOfInstants)) return;
    const auto index = static_cast<std::int64_t>(ts / 3600);
    if (index != hourIndex_) enterHour(ts, index);
    projectOfWeek_->add(request.d);
    if (sums_.cycleAnchor) addToCycle(request);
    addFromOutside(*day_, request.d.totalTokens);
    addFromOutside(sums_.hourlyLocal[localHour(ts, zoneOffset_)], request.d.totalTokens);
}

void RequestRollUp::enterHour(Instant ts, std::int64_t index) {
    const HourBuckets& buckets = bucketsOfHour(ts);
    hourIndex_ = index;
    day_ = buckets.day;
    zoneOffset_ = TSDate::localOffset(ts);
    if (week_ == buckets.week) return;
    week_ = buckets.week;
    projectOfWeek_ = &week_->projects[project_];
}

const HourBuckets& RequestRollUp::bucketsOfHour(Instant ts) {
    // Unlike the session's index, this one keeps the hours before and after the epoch apart.
    HourBuckets& buckets = hours_[static_cast<std::int64_t>(std::floor(ts / 3600))];
    if (!buckets.week) buckets = {&sums_.weeks[TSDate::isoWeekKey(ts)], &sums_.daily[TSDate::utcDayKey(ts)]};
    return buckets;
}

void RequestRollUp::addToCycle(const RequestRecord& request) {
    const double base = *sums_.cycleAnchor - Aggregates::cycleLength;
    const double start =
        base + std::floor((request.time - base) / Aggregates::cycleLength) * Aggregates::cycleLength;
    if (start != cycleStart_) enterCycle(start);
    if (projectOfCycle_) projectOfCycle_->add(request.d);
}

void RequestRollUp::enterCycle(double start) {
    cycleStart_ = start;
    const auto key = cycleKey(start);
    projectOfCycle_ = key ? &sums_.cycles[*key].projects[project_] : nullptr;
}

void takeReading(Aggregates& sums, const SessionResult& session) {
    if (!session.rateLimit || !session.lastTs) return;
    if (!sums.latestRateLimitAsOf || *session.lastTs > *sums.latestRateLimitAsOf) {
        sums.latestRateLimitAsOf = session.lastTs;
        sums.latestRateLimit = session.rateLimit;
    }
    const auto ofTool = sums.latestRateLimitsAsOf.find(session.tool);
    if (ofTool != sums.latestRateLimitsAsOf.end() && !(*session.lastTs > ofTool->second)) return;
    sums.latestRateLimitsAsOf[session.tool] = *session.lastTs;
    sums.latestRateLimitsByTool[session.tool] = *session.rateLimit;
    if (const auto reset = session.rateLimit->resetsAt)
        sums.cycleAnchorsByTool[session.tool] = static_cast<double>(*reset);
}

}  // namespace

UsageTotals WeekBucket::total() const {
    UsageTotals sum;
    for (const auto& [project, totals] : projects)
        sum.add(totals);
    return sum;
}

Aggregates::Aggregates(const SessionList& results, std::int64_t filesScanned_,
                       std::optional<double> cycleAnchor_)
    : filesScanned(filesScanned_), cycleAnchor(cycleAnchor_) {
    HourTable hours;
    ToolSums toolSums;
    for (const SessionPointer& session : results) {
        totals.add(session->totals);
        takeReading(*this, *session);
        for (const auto& [label, stat] : session->tools)
            toolSums[label].add(stat);
        RequestRollUp rollUp(*this, hours, session->project);
        for (const RequestRecord& request : session->requests.records())
            rollUp.add(request);
    }
    tools.insert(toolSums.begin(), toolSums.end());
    sessionsAnalyzed = static_cast<std::int64_t>(results.size());
}

std::optional<double> Aggregates::cycleAnchorFrom(const SessionList& results) {
    std::optional<std::int64_t> latest;
    for (const SessionPointer& session : results)
        if (session->rateLimit) latest = std::max(latest, session->rateLimit->resetsAt);
    if (!latest) return std::nullopt;
    return static_cast<double>(*latest);
}

std::optional<Aggregates::CycleRange> Aggregates::cycleRange(std::string_view key) {
    const auto start = readDouble(key);
    if (!start) return std::nullopt;
    return CycleRange{*start, *start + cycleLength};
}

std::optional<std::string> Aggregates::currentCycleKey() const {
    if (!cycleAnchor) return std::nullopt;
    return cycleKey(*cycleAnchor - cycleLength);
}

std::optional<std::string> Aggregates::currentCycleKey(ToolKind tool) const {
    const auto anchor = cycleAnchorsByTool.find(tool);
    if (anchor == cycleAnchorsByTool.end()) return std::nullopt;
    return cycleKey(anchor->second - cycleLength);
}

std::optional<std::string> Aggregates::currentScopeKey() const {
    if (!cycles.empty()) return currentCycleKey();
    if (weeks.empty()) return std::nullopt;
    return weeks.rbegin()->first;
}

bool Aggregates::toolsUseDifferentAnchors() const {
    std::set<std::int64_t> seconds;
    for (const auto& [tool, anchor] : cycleAnchorsByTool)
        if (const auto whole = truncated(anchor)) seconds.insert(*whole);
    return seconds.size() > 1;
}

}  // namespace ledgerfern
