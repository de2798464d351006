#include "Analytics/Aggregates.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <set>
#include <span>
#include <unordered_map>

#include "Analytics/LabelNumbers.h"
#include "Foundation/Arithmetic.h"
#include "Foundation/Numbers.h"
#include "UsageRecords/TSDate.h"

// The roll-up goes over every request of every session at each snapshot, and must stay near the cost of
// reading them. Finding a request's buckets costs many times that: a division each, and a search by key. The
// idea: neighbours in a log mostly belong to the same hour and cycle. So the buckets of the last request are
// remembered (they are nodes of maps, whose addresses last), with the stretch of time in which the rules
// below certainly lead to them again; only a request outside it goes through the rules, and the run of those
// inside it is added up before it goes into the buckets. The week and the day of a UTC day's hours are found
// once for all sessions.
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
    const double hours = (ts + zoneOffset) / 3600;
    // The usual case; here no rounding of the sum below could lead to another hour.
    if (hours >= 1000) return static_cast<std::size_t>(hours) % 24;
    return static_cast<std::size_t>(std::fmod(hours, 24) + 24) % 24;
}

/// The buckets that a whole UTC day shares.
struct DayBuckets {
    WeekBucket* week = nullptr;
    std::int64_t* day = nullptr;
};

using DayTable = std::unordered_map<std::int64_t, DayBuckets>;

/// The buckets of a project's last request. Sessions come in the order of their times, so those of a project
/// mostly go on in the same week and cycle.
struct ProjectBuckets {
    WeekBucket* week = nullptr;
    UsageTotals* ofWeek = nullptr;
    std::optional<double> cycleStart;
    UsageTotals* ofCycle = nullptr;  ///< Null where there is no cycle, or it has no key.
};

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

/// Two numbers below it add up to 64 bits at the most.
constexpr std::int64_t roomyLimit = std::int64_t{1} << 62;

bool isRoomy(std::int64_t sum) {
    return sum < roomyLimit;
}
bool isRoomy(const UsageTotals& sums) {
    const auto counters = std::bit_cast<std::array<std::int64_t, 6>>(sums);
    return std::all_of(counters.begin(), counters.end(), [](std::int64_t sum) { return isRoomy(sum); });
}

/// The sum of some requests, made without asking at each number whether it still fits.
struct RunSum {
    explicit RunSum(std::span<const RequestRecord> run) {
        using Pair = std::uint64_t __attribute__((vector_size(16)));
        Pair first{}, second{}, third{}, bits{};
        for (const RequestRecord& request : run) {
            const auto pairs = std::bit_cast<std::array<Pair, 3>>(request.d);
            first += pairs[0];
            second += pairs[1];
            third += pairs[2];
            bits |= pairs[0] | pairs[1] | pairs[2];
        }
        d = std::bit_cast<UsageTotals>(std::array{first, second, third});
        isSmall = (bits[0] | bits[1]) >> 40 == 0 && run.size() >> 20 == 0;
    }

    UsageTotals d;
    bool isSmall = false;  ///< No counter is negative, and each sum is right and below `roomyLimit`.
};

/// Adds the requests of one session to the buckets.
class RequestRollUp {
public:
    RequestRollUp(Aggregates& sums, DayTable& days, const std::string& project, ProjectBuckets& buckets)
        : sums_(sums), days_(days), project_(project), buckets_(buckets) {}

    void add(std::span<const RequestRecord> requests);

private:
    void addRun(std::span<const RequestRecord> run);
    void addToBuckets(const UsageTotals& d);
    bool areRoomy() const;
    void enter(Instant ts);
    void enterHour(Instant ts, std::int64_t index);
    void enterCycle(Instant ts);
    void rememberStretch(Instant ts);
    const DayBuckets& bucketsOfDay(Instant ts);

    Aggregates& sums_;
    DayTable& days_;
    const std::string& project_;
    ProjectBuckets& buckets_;
    TimeRange stretch_;

    // The hour of the last request. Its index is cut toward zero, and the zone's offset is taken as it stood
    // at the hour's first request in the session.
    std::optional<std::int64_t> hourIndex_;
    double zoneOffset_ = 0;
    std::int64_t* day_ = nullptr;
    std::int64_t* localHour_ = nullptr;
};

void RequestRollUp::add(std::span<const RequestRecord> requests) {
    for (std::size_t begin = 0; begin < requests.size();) {
        const Instant ts = requests[begin].time;
        std::size_t end = begin + 1;
        if (ts >= firstInstant && ts < endOfInstants) {
            if (!stretch_.contains(ts)) enter(ts);
            while (end < requests.size() && stretch_.contains(requests[end].time))
                ++end;
            addRun(requests.subspan(begin, end - begin));
        }
        begin = end;
    }
}

/// Adds neighbours that share their buckets. Their sum does, but where a number might leave 64 bits: then it
/// matters which one does.
void RequestRollUp::addRun(std::span<const RequestRecord> run) {
    const RunSum sum(run);
    if (sum.isSmall && areRoomy()) {
        addToBuckets(sum.d);
    } else {
        for (const RequestRecord& request : run)
            addToBuckets(request.d);
    }
}

void RequestRollUp::addToBuckets(const UsageTotals& d) {
    buckets_.ofWeek->add(d);
    if (buckets_.ofCycle) buckets_.ofCycle->add(d);
    addFromOutside(*day_, d.totalTokens);
    addFromOutside(*localHour_, d.totalTokens);
}

/// Whether every bucket of the last request can take a small sum.
bool RequestRollUp::areRoomy() const {
    return isRoomy(*buckets_.ofWeek) && (!buckets_.ofCycle || isRoomy(*buckets_.ofCycle)) && isRoomy(*day_) &&
           isRoomy(*localHour_);
}

void RequestRollUp::enter(Instant ts) {
    const auto index = static_cast<std::int64_t>(ts / 3600);
    if (index != hourIndex_) enterHour(ts, index);
    localHour_ = &sums_.hourlyLocal[localHour(ts, zoneOffset_)];
    if (sums_.cycleAnchor) enterCycle(ts);
    rememberStretch(ts);
}

void RequestRollUp::enterHour(Instant ts, std::int64_t index) {
    const DayBuckets& buckets = bucketsOfDay(ts);
    hourIndex_ = index;
    zoneOffset_ = TSDate::localOffset(ts);
    day_ = buckets.day;
    if (buckets_.week == buckets.week) return;
    buckets_.week = buckets.week;
    buckets_.ofWeek = &buckets.week->projects[project_];
}

const DayBuckets& RequestRollUp::bucketsOfDay(Instant ts) {
    DayBuckets& buckets = days_[static_cast<std::int64_t>(std::floor(std::floor(ts) / 86400))];
    if (!buckets.week) buckets = {&sums_.weeks[TSDate::isoWeekKey(ts)], &sums_.daily[TSDate::utcDayKey(ts)]};
    return buckets;
}

void RequestRollUp::enterCycle(Instant ts) {
    const double base = *sums_.cycleAnchor - Aggregates::cycleLength;
    const double start = base + std::floor((ts - base) / Aggregates::cycleLength) * Aggregates::cycleLength;
    if (start == buckets_.cycleStart) return;
    buckets_.cycleStart = start;
    const auto key = cycleKey(start);
    buckets_.ofCycle = key ? &sums_.cycles[*key].projects[project_] : nullptr;
}

void RequestRollUp::rememberStretch(Instant ts) {
    TimeRange stretch{firstInstant, endOfInstants};
    stretch = narrowed(stretch, std::floor(ts / 3600) * 3600, 3600);
    stretch = narrowed(stretch, std::floor((ts + zoneOffset_) / 3600) * 3600 - zoneOffset_, 3600);
    if (buckets_.cycleStart) stretch = narrowed(stretch, *buckets_.cycleStart, Aggregates::cycleLength);
    // An anchor so far off that its doubles are coarse leaves nothing to rely on, and neither does an instant
    // next to an edge.
    const bool isExact = !buckets_.cycleStart || std::fabs(*sums_.cycleAnchor) < coarseInstants;
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
    DayTable days;
    std::unordered_map<std::string_view, ProjectBuckets> projects;
    ToolSums toolSums;
    for (const SessionPointer& session : results) {
        totals.add(session->totals);
        takeReading(*this, *session);
        toolSums.add(session->tools);
        RequestRollUp(*this, days, session->project, projects[session->project])
            .add(session->requests.records());
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
