#include <algorithm>
#include <array>
#include <cmath>
#include <iterator>
#include <string_view>
#include <utility>

#include "Application/AppState.h"
#include "ClaudeLimits/MergedLimits.h"

// What follows from a finished snapshot, in its order: the budget is estimated before the day's row is
// written, and a limit's last value moves on even while notifications are off.

namespace ledgerfern {

namespace {

constexpr int historyLength = 90;  // rows of Codex's history, days of Claude's

std::optional<double> usedPercent(const std::optional<RateLimitInfo>& limit) {
    return limit ? limit->usedPercent : std::nullopt;
}

std::optional<RateLimitInfo> claudeWeekly(const Aggregates& aggregates) {
    const auto found = aggregates.latestRateLimitsByTool.find(ToolKind::claudeCode);
    if (found == aggregates.latestRateLimitsByTool.end()) return std::nullopt;
    return found->second;
}

struct SymbolStep {
    double atLeast;
    std::string_view symbol;
};
constexpr std::array<SymbolStep, 4> symbolSteps = {{{90, "gauge.with.dots.needle.100percent"},
                                                    {67, "gauge.with.dots.needle.67percent"},
                                                    {45, "gauge.with.dots.needle.50percent"},
                                                    {20, "gauge.with.dots.needle.33percent"}}};

std::string_view symbolFor(double percent) {
    for (const auto& [atLeast, symbol] : symbolSteps)
        if (percent >= atLeast) return symbol;
    return "gauge.with.dots.needle.0percent";
}

QString text(std::string_view utf8) {
    return QString::fromUtf8(utf8.data(), static_cast<qsizetype>(utf8.size()));
}

std::vector<Instant> timesOf(const std::vector<SnapshotStore::Reading>& readings) {
    std::vector<Instant> times;
    times.reserve(readings.size());
    for (const auto& reading : readings)
        times.push_back(reading.ts);
    return times;
}

struct ByTime {
    bool operator()(const SnapshotStore::Reading& reading, Instant time) const { return reading.ts < time; }
    bool operator()(Instant time, const SnapshotStore::Reading& reading) const { return time < reading.ts; }
};

}  // namespace

void AppState::apply(PreparedSnapshot prepared) {
    const Instant now = environment_.clock();
    publish(std::move(prepared.snapshot), now);
    const Limits current = limits();
    checkThresholds(current);
    updateStatus(current);
    updateHistory(prepared, current, now);
    Q_EMIT applied();
}

void AppState::publish(Snapshot snapshot, Instant now) {
    MergedLimits merged = withClaudeLimits(std::move(snapshot), claudeStatus_, now);
    const bool isOtherLimit = assign(claudeFiveHour_, std::move(merged.fiveHour));
    snapshot_ = std::make_shared<const Snapshot>(std::move(merged.snapshot));
    if (isOtherLimit) Q_EMIT claudeFiveHourChanged();
    Q_EMIT snapshotChanged();
    std::optional<QString> error;
    if (snapshot_->malformedLines > 0)
        error =
            QString::number(snapshot_->malformedLines) + QStringLiteral(" malformed session lines skipped");
    set(lastError_, std::move(error), &AppState::lastErrorChanged);
}

AppState::Limits AppState::limits() const {
    const Aggregates& aggregates = snapshot_->aggregates;
    return {usedPercent(aggregates.latestRateLimit), usedPercent(claudeWeekly(aggregates)),
            usedPercent(claudeFiveHour_)};
}

void AppState::checkThresholds(const Limits& limits) {
    checkThreshold("codex.7d", "Codex weekly limit", limits.codexWeekly);
    checkThreshold("claude.7d", "Claude weekly limit", limits.claudeWeekly);
    checkThreshold("claude.5h", "Claude 5-hour limit", limits.claudeFiveHour);
}

void AppState::checkThreshold(const std::string& key, const std::string& title, std::optional<double> value) {
    if (!value) return;
    const auto entry = previousUsedPercent_.try_emplace(key, *value).first;
    notifier_.checkThresholds(key, title, entry->second, *value);
    entry->second = *value;
}

void AppState::updateStatus(const Limits& limits) {
    const double worst = std::max(
        {limits.codexWeekly.value_or(0), limits.claudeWeekly.value_or(0), limits.claudeFiveHour.value_or(0)});
    worstPercent_ = worst;
    QString status = QString::number(std::llround(worst)) + QLatin1Char('%');
    if (environment_.isUpdateAvailable()) status += QStringLiteral(" ⤓");
    set(statusText_, std::move(status), &AppState::statusTextChanged);
    set(statusSymbol_, text(symbolFor(worst)), &AppState::statusSymbolChanged);
}

void AppState::updateHistory(const PreparedSnapshot& prepared, const Limits& limits, Instant now) {
    backfill(prepared.readings);
    set(trend_, snapshotStore_.recent(historyLength), &AppState::trendChanged);
    if (limits.claudeWeekly)
        snapshotStore_.recordClaudeIfDue(*limits.claudeWeekly, limits.claudeFiveHour, now);
    set(claudeTrend_, snapshotStore_.recentClaude(historyLength, now), &AppState::claudeTrendChanged);
    set(dailyCostTrend_, snapshotStore_.recentDailyCost(historyLength), &AppState::dailyCostTrendChanged);
    std::optional<qint64> budget;
    if (const auto tokens = snapshotStore_.estimatedWeeklyBudgetTokens()) budget = *tokens;
    set(budgetEstimate_, budget, &AppState::budgetEstimateChanged);
    set(todayCostUSD_, prepared.todayCostUSD, &AppState::todayCostUSDChanged);
    recordDay(prepared.codexRollingTotal, now);
}

/// Readings that the history has taken in this run are left out.
void AppState::backfill(const std::vector<SnapshotStore::Reading>& readings) {
    std::vector<SnapshotStore::Reading> unstored;
    std::set_difference(readings.begin(), readings.end(), storedReadings_.begin(), storedReadings_.end(),
                        std::back_inserter(unstored), ByTime());
    if (snapshotStore_.backfill(unstored)) storedReadings_ = timesOf(readings);
}

void AppState::recordDay(std::int64_t codexRollingTotal, Instant now) {
    const RateLimitInfo limit = snapshot_->aggregates.latestRateLimit.value_or(RateLimitInfo());
    snapshotStore_.recordDailyIfDue({now, limit.usedPercent.value_or(0), limit.resetsAt,
                                     static_cast<double>(codexRollingTotal), limit.planType.value_or(""),
                                     todayCostUSD_});
}

}  // namespace ledgerfern
