#include "Analytics/UsageSummary.h"

#include <algorithm>
#include <functional>
#include <map>
#include <string_view>

#include "Analytics/CostEstimator.h"
#include "UsageRecords/TSDate.h"

namespace ledgerfern {

namespace {

using Price = std::optional<ModelPrice>;

/// A row in the making. Sessions come one after the other, so each is counted where it comes first.
struct Sum {
    UsageTotals totals;
    std::int64_t requests = 0;
    std::int64_t sessions = 0;
    std::optional<double> cost;
    bool costIsPartial = false;
    const SessionResult* latestSession = nullptr;

    void add(const SessionResult& session, const UsageTotals& tokens, std::int64_t requestCount) {
        totals.add(tokens);
        requests += requestCount;
        if (latestSession != &session) ++sessions;
        latestSession = &session;
    }
    void addCost(const UsageTotals& tokens, const Price& price) {
        if (price)
            cost = cost.value_or(0) + CostEstimator::cost(tokens, price);
        else
            costIsPartial = true;
    }
    void add(const SessionResult& session, const Sum& share) {
        add(session, share.totals, share.requests);
        if (share.cost) cost = cost.value_or(0) + *share.cost;
        costIsPartial |= share.costIsPartial;
    }
    UsageRow row(std::string_view name) const {
        return {std::string(name), totals.totalTokens, requests, sessions, cost, cost && costIsPartial};
    }
};

using Sums = std::map<std::string, Sum, std::less<>>;

Sum& sumOf(Sums& sums, std::string_view name) {
    const auto found = sums.find(name);
    return found != sums.end() ? found->second : sums.emplace(name, Sum{}).first->second;
}

/// What of the session lies in the range; the whole session where there is none.
Sum shareOf(const SessionResult& session, const std::optional<TimeRange>& range, const Price& price) {
    Sum share;
    if (!range) {
        share.add(session, session.totals, static_cast<std::int64_t>(session.requests.size()));
        share.addCost(session.totals, price);
        return share;
    }
    if (price) share.cost = 0;
    for (const RequestRecord& request : session.requests.records()) {
        if (!range->contains(request.time)) continue;
        share.add(session, request.d, 1);
        share.addCost(request.d, price);
    }
    return share;
}

void addModels(const SessionResult& session, const std::optional<TimeRange>& range, Sums& models) {
    const StringPool& names = session.requests.names();
    for (const RequestRecord& request : session.requests.records())
        if (!range || range->contains(request.time))
            sumOf(models, names.text(request.model).value_or(modelLabel(session))).add(session, request.d, 1);
}

void addPeriods(const SessionResult& session, const std::optional<TimeRange>& range, StackUnit unit,
                const Price& price, Sums& periods) {
    for (const RequestRecord& request : session.requests.records()) {
        if (!request.hasTime() || (range && !range->contains(request.time))) continue;
        Sum& period = sumOf(periods, unit == StackUnit::isoWeek ? TSDate::isoWeekKey(request.time)
                                                                : TSDate::localDayKey(request.time));
        period.add(session, request.d, 1);
        period.addCost(request.d, price);
    }
}

std::vector<UsageRow> rowsOf(const Sums& sums) {
    std::vector<UsageRow> rows;
    for (const auto& [name, sum] : sums)
        rows.push_back(sum.row(name));
    return rows;
}

std::vector<UsageRow> mostTokensFirst(const Sums& sums) {
    std::vector<UsageRow> rows = rowsOf(sums);
    std::stable_sort(rows.begin(), rows.end(),
                     [](const UsageRow& a, const UsageRow& b) { return a.tokens > b.tokens; });
    return rows;
}

/// The cycle of a key and what falls into it.
struct CycleSum {
    TimeRange range;
    std::string key;
    Sum sum;
};

std::vector<CycleSum> emptyCycles(const std::vector<std::string>& keys) {
    std::vector<CycleSum> cycles;
    for (const std::string& key : keys)
        if (const auto range = Aggregates::cycleRange(key)) cycles.push_back({*range, key, {}});
    std::stable_sort(cycles.begin(), cycles.end(),
                     [](const CycleSum& a, const CycleSum& b) { return a.range.start < b.range.start; });
    return cycles;
}

/// The cycle that the instant lies in; absent (null) where there is none.
Sum* cycleAt(std::vector<CycleSum>& cycles, Instant instant) {
    const auto next =
        std::upper_bound(cycles.begin(), cycles.end(), instant,
                         [](Instant time, const CycleSum& cycle) { return time < cycle.range.start; });
    if (next == cycles.begin() || !std::prev(next)->range.contains(instant)) return nullptr;
    return &std::prev(next)->sum;
}

}  // namespace

std::string_view agentName(ToolKind tool) {
    return tool == ToolKind::codex ? "Codex" : "Claude Code";
}

UsageSummary summarise(const SessionList& sessions, const DashboardAnalytics::Scope& scope, StackUnit unit,
                       const PriceTable& prices) {
    UsageSummary summary;
    Sum all;
    Sums projects, models, agents, periods;
    for (const SessionPointer& session : sessions) {
        const Price price = prices.priceFor(session->model);
        if (!price) ++summary.unpricedSessions;
        const auto range = scope.rangeOf(*session);
        const Sum share = shareOf(*session, range, price);
        summary.sessions.push_back(share.row(session->path));
        summary.sessions.back().sessions = 1;
        all.add(*session, share);
        sumOf(projects, session->project).add(*session, share);
        sumOf(agents, agentName(session->tool)).add(*session, share);
        addModels(*session, range, models);
        addPeriods(*session, scope.range, unit, price, periods);
    }
    for (auto& [name, sum] : models)
        sum.addCost(sum.totals, prices.priceFor(name));
    summary.all = all.row("");
    summary.totals = all.totals;
    summary.projects = mostTokensFirst(projects);
    summary.models = mostTokensFirst(models);
    summary.agents = mostTokensFirst(agents);
    summary.periods = rowsOf(periods);
    return summary;
}

std::vector<UsageRow> usageByCycle(const SessionList& sessions, const std::vector<std::string>& keys,
                                   const PriceTable& prices) {
    std::vector<CycleSum> cycles = emptyCycles(keys);
    for (const SessionPointer& session : sessions) {
        const Price price = prices.priceFor(session->model);
        for (const RequestRecord& request : session->requests.records()) {
            Sum* const cycle = request.hasTime() ? cycleAt(cycles, request.time) : nullptr;
            if (!cycle) continue;
            cycle->add(*session, request.d, 1);
            cycle->addCost(request.d, price);
        }
    }
    std::vector<UsageRow> rows;
    for (const CycleSum& cycle : cycles)
        rows.push_back(cycle.sum.row(cycle.key));
    return rows;
}

}  // namespace ledgerfern
