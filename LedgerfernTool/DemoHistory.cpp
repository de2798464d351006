#include "DemoHistory.h"

#include <algorithm>
#include <filesystem>
#include <functional>
#include <map>
#include <set>
#include <utility>

#include "Analytics/CostEstimator.h"
#include "DemoLimits.h"
#include "Foundation/Files.h"
#include "History/SnapshotStore.h"

// Everything is counted from one list of uses, a request each. The logs go back ten weeks only, so the weeks
// before repeat them: a copy, moved back by whole weeks to where it ends before the first cycle of the logs.

namespace ledgerfern {

namespace {

using DemoTime::Milliseconds;

constexpr Milliseconds historySpan = 90 * DemoTime::day;
constexpr Milliseconds copysAge = 11 * DemoTime::week;
static_assert(copysAge >= demoSpan + DemoTime::week, "the copy would run into the first cycle");

constexpr std::uint64_t historyStream = std::uint64_t{1} << 41;
constexpr std::uint64_t peakStream = std::uint64_t{1} << 42;

/// One request, and what the application knows once it is in a log.
struct Use {
    Milliseconds at = 0;
    ToolKind agent = ToolKind::codex;
    std::size_t session = 0;
    std::int64_t tokens = 0;
    std::int64_t weight = 0;
    double cost = 0;            ///< USD.
    double usedPercent = 0;     ///< Of Codex's weekly limit,
    std::int64_t resetsAt = 0;  ///< and its reset, in seconds since the epoch.
};

Instant seconds(Milliseconds instant) {
    return static_cast<Instant>(instant) / 1000;
}

Milliseconds startOfDay(Milliseconds instant) {
    return instant - instant % DemoTime::day;
}

/// As the agents' parsers count it: only Codex tells what was reasoning.
UsageTotals totalsOf(const DemoRequest& request, ToolKind agent) {
    UsageTotals totals;
    totals.inputTokens = request.input;
    totals.cachedInputTokens = request.cached;
    totals.outputTokens = request.output;
    totals.reasoningOutputTokens = agent == ToolKind::codex ? request.reasoning : 0;
    totals.totalTokens = request.input + request.output;
    return totals;
}

std::vector<Use> usesOf(const std::vector<DemoSession>& sessions) {
    const PriceTable prices(CostEstimator::defaults());
    std::vector<Use> uses;
    for (std::size_t place = 0; place < sessions.size(); ++place) {
        const DemoSession& session = sessions[place];
        const std::string_view model = session.models[session.requests.back().model];
        for (const DemoRequest& request : session.requests) {
            const UsageTotals totals = totalsOf(request, session.agent);
            uses.push_back({request.at, session.agent, place, totals.totalTokens, weightOf(request),
                            CostEstimator::cost(prices, totals, model),
                            static_cast<double>(request.usedPercent), request.resetsAt});
        }
    }
    return uses;
}

/// The uses in the order of their times, the copy first.
std::vector<Use> withCopy(std::vector<Use> uses) {
    const std::size_t count = uses.size();
    for (std::size_t i = 0; i < count; ++i) {
        Use copy = uses[i];
        copy.at -= copysAge;
        copy.resetsAt -= copysAge / DemoTime::second;
        uses.push_back(copy);
    }
    std::stable_sort(uses.begin(), uses.end(), [](const Use& a, const Use& b) { return a.at < b.at; });
    return uses;
}

/// How full the windows of one limit were: each fills with the weight of what was used in it.
class WindowCourse {
public:
    /// What a window is full of at its end, in tenths of a percent: by its number, counted back from the
    /// current one, and how its weight compares to that of the fullest.
    using Peak = std::function<std::int64_t(std::int64_t number, double share)>;

    /// The current window's weight is what was used until `now`.
    WindowCourse(const std::vector<Use>& uses, ToolKind agent, Milliseconds reset, Milliseconds length,
                 Milliseconds now, Peak peak)
        : reset_(reset), length_(length), peak_(std::move(peak)) {
        for (const Use& use : uses) {
            if (use.agent != agent || use.at > now) continue;
            Window& window = windows_[numberOf(use.at)];
            window.total += use.weight;
            window.soFar.emplace_back(use.at, window.total);
            largest_ = std::max(largest_, window.total);
        }
    }

    double percentAt(Milliseconds instant) const {
        const std::int64_t number = numberOf(instant);
        const auto found = windows_.find(number);
        if (found == windows_.end()) return 0;
        const Window& window = found->second;
        const double share = static_cast<double>(window.total) / static_cast<double>(largest_);
        const std::int64_t tenths = peak_(number, share) * window.usedUntil(instant) / window.total;
        return static_cast<double>(tenths) / 10;
    }

private:
    struct Window {
        std::int64_t total = 0;
        std::vector<std::pair<Milliseconds, std::int64_t>> soFar;  ///< The weight up to each use.

        std::int64_t usedUntil(Milliseconds instant) const {
            const auto next =
                std::upper_bound(soFar.begin(), soFar.end(), instant,
                                 [](Milliseconds at, const auto& use) { return at < use.first; });
            return next == soFar.begin() ? 0 : std::prev(next)->second;
        }
    };

    std::int64_t numberOf(Milliseconds instant) const { return (reset_ - 1 - instant) / length_; }

    Milliseconds reset_;
    Milliseconds length_;
    Peak peak_;
    std::map<std::int64_t, Window> windows_;
    std::int64_t largest_ = 0;
};

/// Writes down what the application would have seen.
class Recorder {
public:
    Recorder(const std::string& path, const std::vector<Use>& uses, const DemoWish& wish)
        : store_(path), uses_(uses), wish_(wish), status_(claudeStatus(wish)) {}

    /// False where the database can't be written.
    bool record() {
        const bool isBackfilled = recordDays() && store_.backfill(readings());
        const std::size_t samples = recordSamples();
        return isBackfilled &&
               store_.recentClaude(historySpan / DemoTime::day, seconds(wish_.now)).size() == samples;
    }

private:
    /// The store takes no sample of the time before the epoch.
    Milliseconds firstDay() const { return std::max(wish_.now - historySpan, DemoTime::hour); }

    /// One row each evening, when most of the day's work is done.
    bool recordDays() {
        DemoRandom random(wish_.seed, historyStream);
        std::int64_t rows = 0;
        for (Milliseconds day = startOfDay(firstDay()); day <= wish_.now; day += DemoTime::day) {
            const Milliseconds at = day + random.between(18 * DemoTime::hour, 21 * DemoTime::hour);
            if (at <= firstDay() || at > wish_.now) continue;
            store_.recordDailyIfDue(rowOf(at));
            ++rows;
        }
        return static_cast<std::int64_t>(store_.recent(rows + 1).size()) == rows;
    }

    SnapshotStore::DailyRow rowOf(Milliseconds at) const {
        SnapshotStore::DailyRow row;
        row.ts = seconds(at);
        for (const Use& use : uses_) {
            if (use.at > at) break;
            if (use.at >= startOfDay(at)) row.dailyCostUSD += use.cost;
            if (use.agent != ToolKind::codex) continue;
            if (use.at >= at - DemoTime::week) row.local7dTotal += static_cast<double>(use.tokens);
            row.usedPercent = use.usedPercent;
            row.resetsAt = use.resetsAt;
            row.plan = "pro";
        }
        return row;
    }

    /// The first reading of each session on each day, as its log has it.
    std::vector<SnapshotStore::Reading> readings() const {
        std::vector<SnapshotStore::Reading> readings;
        std::set<std::pair<Milliseconds, std::size_t>> seen;
        for (const Use& use : uses_) {
            if (use.agent != ToolKind::codex || use.at <= firstDay()) continue;
            if (!seen.emplace(startOfDay(use.at), use.session).second) continue;
            readings.push_back({seconds(use.at), use.usedPercent, use.resetsAt});
        }
        return readings;
    }

    /// Claude's limits, an hour after the other while the machine is on. Gives how many there are.
    std::size_t recordSamples() {
        const WindowCourse week(uses_, ToolKind::claudeCode, status_.sevenDays.resetsAt, DemoTime::week,
                                status_.toldAt, [this](std::int64_t number, double) {
                                    if (number == 0) return status_.sevenDays.tenthsOfPercent;
                                    return DemoRandom(wish_.seed,
                                                      peakStream + static_cast<std::uint64_t>(number))
                                        .between(310, 980);
                                });
        const WindowCourse fiveHours(uses_, ToolKind::claudeCode, status_.fiveHours.resetsAt,
                                     5 * DemoTime::hour, status_.toldAt,
                                     [this](std::int64_t number, double share) {
                                         if (number == 0) return status_.fiveHours.tenthsOfPercent;
                                         return static_cast<std::int64_t>(60 + 880 * share);
                                     });
        const std::vector<Milliseconds> times = sampleTimes();
        for (const Milliseconds at : times)
            store_.recordClaudeIfDue(week.percentAt(at), fiveHours.percentAt(at), seconds(at));
        return times.size();
    }

    /// From the morning to late in the evening, and on few weekends.
    std::vector<Milliseconds> sampleTimes() const {
        DemoRandom random(wish_.seed, historyStream + 1);
        std::vector<Milliseconds> times;
        for (Milliseconds day = startOfDay(firstDay()); day <= wish_.now; day += DemoTime::day) {
            const bool isOff = DemoTime::weekdayOf(day) >= 5 && random.chance(60);
            const Milliseconds end = day + random.between(21 * DemoTime::hour, 23 * DemoTime::hour);
            Milliseconds at = day + random.between(6 * DemoTime::hour, 7 * DemoTime::hour);
            for (; at < end; at += DemoTime::hour + random.between(0, 90 * DemoTime::second))
                if (!isOff && at > firstDay() && at <= status_.toldAt) times.push_back(at);
        }
        return times;
    }

    SnapshotStore store_;
    const std::vector<Use>& uses_;
    const DemoWish& wish_;
    const DemoStatus status_;
};

}  // namespace

std::optional<std::string> demoHistory(const std::string& path, const std::vector<DemoSession>& sessions,
                                       const DemoWish& wish) {
    const std::vector<Use> uses = withCopy(usesOf(sessions));
    if (!Recorder(path, uses, wish).record()) return std::nullopt;
    // It is closed now, and what its log held is in it, if that could be written.
    std::error_code ignored;
    if (std::filesystem::exists(path + "-wal", ignored)) return std::nullopt;
    return readWholeFile(path);
}

}  // namespace ledgerfern
