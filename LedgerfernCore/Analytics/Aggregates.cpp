#include "Analytics/Aggregates.h"

#include <algorithm>
#include <cmath>
#include <set>
#include <unordered_map>

#include "Analytics/LabelNumbers.h"
#include "Foundation/Arithmetic.h"
#include "Foundation/Numbers.h"
#include "UsageRecords/TSDate.h"

// The roll-up goes over every request of every session at each snapshot, and must stay near the cost of
// reading them. Finding a request's buckets costs many times that: a division each, and a search by key. The
// idea: neighbours in a log mostly belong to the same hour and cycle. So the buckets of the last request are
// remembered (they are nodes of maps, whose addresses last), with the stretch of time in which the rules
// below certainly lead to them again; only a request outside it goes through the rules. What a UTC hour has
// in common, its week and its day, is found once for all sessions.
//
// The rules calculate in doubles, which may round over the edge of an hour or a cycle. All roundings are far
// below a second, so the stretch ends a second before each edge.

namespace ledgerfern {

namespace {

using WeekBucket = Aggregates::WeekBucket;

// The years 1 to 9999, which the calendar keys are made for.
constexpr Instant firstInstant = -62'135'596'800.0;
constexpr Instant endOfInstants = 253'402'300'800.0;
// From here on sums and differences of instants may be off by a good part of a second.
constexpr Instant coarseInstants = 1e12;

/// The local hour of the day, 0 to 23, where local time is `zoneOffset` seconds ahead of UTC.
std::size_t localHour(Instant ts, double zoneOffset) {
    // The remainder has the sign of the time.
    const double hour = std::fmod((ts + zoneOffset) / 3600, 24) + 24;
    return static_cast<std::size_t>(hour) % 24;
}

/// The buckets that a whole UTC hour shares.
struct HourBuckets {
    WeekBucket* week = nullptr;
    std::int64_t* day = nullptr;
};

using HourTable = std::unordered_map<std::int64_t, HourBuckets>;

/// The tools' sums, by the number of the label.
struct ToolSums {
    LabelNumbers labels;
    std::vector<ToolStat> stats;

    void add(const ToolTable& tools) {
        labels.beginSession();
        for (const auto& [label, stat] : tools) {
            const std::size_t number = labels.numberOf(label);
            if (number == stats.size()) stats.emplace_back();
            stats[number].add(stat);
        }
    }
};

std::optional<std::string> cycleKey(double start) {
    const auto seconds = truncated(start);
    if (!seconds) return std::nullopt;
    return std::to_string(*seconds);
}

/// What of the range also lies in the `length` seconds from `start`, a second away from their ends.
TimeRange narrowed(const TimeRange& range, Instant start, double length) {
    return {std::max(range.start, start + 1), std::min(range.end, start + length - 1)};
}

/// Adds the requests of one session to the buckets.
class RequestRollUp {
public:
    RequestRollUp(Aggregates& sums, HourTable& hours, const std::string& project)
        : sums_(sums), hours_(hours), project_(project) {}

    void add(const RequestRecord& request);

private:
    void enter(Instant ts);
    void enterHour(Instant ts, std::int64_t index);
    void enterCycle(Instant ts);
    void rememberStretch(Instant ts);
    const HourBuckets& bucketsOfHour(Instant ts);

    Aggregates& sums_;
    HourTable& hours_;
    const std::string& project_;
    TimeRange stretch_;

    // The hour of the last request. Its index is cut toward zero, and the zone's offset is taken as it stood
    // at the hour's first request in the session.
    std::optional<std::int64_t> hourIndex_;
    double zoneOffset_ = 0;
    WeekBucket* week_ = nullptr;
    UsageTotals* projectOfWeek_ = nullptr;
    std::int64_t* day_ = nullptr;
    std::int64_t* localHour_ = nullptr;

    std::optional<double> cycleStart_;
    UsageTotals* projectOfCycle_ = nullptr;  // null where there is no cycle, or it has no key
};

void RequestRollUp::add(const RequestRecord& request) {
    if (!stretch_.contains(request.time)) [[unlikely]] {
        if (!(request.time >= firstInstant && request.time < endOfInstants)) return;
        enter(request.time);
    }
    projectOfWeek_->add(request.d);
    if (projectOfCycle_) projectOfCycle_->add(request.d);
    addFromOutside(*day_, request.d.totalTokens);
    addFromOutside(*localHour_, request.d.totalTokens);
}

void RequestRollUp::enter(Instant ts) {
    const auto index = static_cast<std::int64_t>(ts / 3600);
    if (index != hourIndex_) enterHour(ts, index);
    localHour_ = &sums_.hourlyLocal[localHour(ts, zoneOffset_)];
    if (sums_.cycleAnchor) enterCycle(ts);
    rememberStretch(ts);
}

void RequestRollUp::enterHour(Instant ts, std::int64_t index) {
    const HourBuckets& buckets = bucketsOfHour(ts);
    hourIndex_ = index;
    zoneOffset_ = TSDate::localOffset(ts);
    day_ = buckets.day;
    if (week_ == buckets.week) return;
    week_ = buckets.week;
    projectOfWeek_ = &week_->projects[project_];
}

const HourBuckets& RequestRollUp::bucketsOfHour(Instant ts) {
    // Unlike the session's index, this one keeps the hours before and after the epoch apart.
    HourBuckets& buckets = hours_[static_cast<std::int64_t>(std::floor(std::floor(ts) / 3600))];
    if (!buckets.week) buckets = {&sums_.weeks[TSDate::isoWeekKey(ts)], &sums_.daily[TSDate::utcDayKey(ts)]};
    return buckets;
}

void RequestRollUp::enterCycle(Instant ts) {
    const double base = *sums_.cycleAnchor - Aggregates::cycleLength;
    const double start = base + std::floor((ts - base) / Aggregates::cycleLength) * Aggregates::cycleLength;
    if (start == cycleStart_) return;
    cycleStart_ = start;
    const auto key = cycleKey(start);
    projectOfCycle_ = key ? &sums_.cycles[*key].projects[project_] : nullptr;
}

void RequestRollUp::rememberStretch(Instant ts) {
    TimeRange stretch{firstInstant, endOfInstants};
    stretch = narrowed(stretch, std::floor(ts / 3600) * 3600, 3600);
    stretch = narrowed(stretch, std::floor((ts + zoneOffset_) / 3600) * 3600 - zoneOffset_, 3600);
    if (cycleStart_) stretch = narrowed(stretch, *cycleStart_, Aggregates::cycleLength);
    // An anchor so far off that its doubles are coarse leaves nothing to rely on, and neither does an instant
    // next to an edge.
    const bool isExact = !cycleStart_ || std::fabs(*sums_.cycleAnchor) < coarseInstants;
    stretch_ = isExact && stretch.contains(ts) ? stretch : TimeRange();
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
    for (const auto& [project, tokens] : projects)
        sum.add(tokens);
    return sum;
}

Aggregates::Aggregates(const SessionList& results, std::int64_t fileCount, std::optional<double> anchor)
    : filesScanned(fileCount), cycleAnchor(anchor) {
    HourTable hours;
    ToolSums toolSums;
    for (const SessionPointer& session : results) {
        totals.add(session->totals);
        takeReading(*this, *session);
        toolSums.add(session->tools);
        RequestRollUp rollUp(*this, hours, session->project);
        for (const RequestRecord& request : session->requests.records())
            rollUp.add(request);
    }
    for (std::size_t i = 0; i < toolSums.stats.size(); ++i)
        tools.emplace(toolSums.labels.texts()[i], toolSums.stats[i]);
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
