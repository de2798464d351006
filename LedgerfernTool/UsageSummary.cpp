#include "UsageSummary.h"

#include <algorithm>
#include <functional>
#include <map>
#include <string_view>

#include "Analytics/CostEstimator.h"
#include "UsageRecords/TSDate.h"

namespace ledgerfern {

namespace {

/// A row in the making. Sessions come one after the other, so each is counted where it comes first.
struct Sum {
    UsageTotals totals;
    std::int64_t requests = 0;
    std::int64_t sessions = 0;
    std::optional<double> cost;
    const SessionResult* latestSession = nullptr;

    void add(const SessionResult& session, const UsageTotals& tokens, std::int64_t requestCount) {
        totals.add(tokens);
        requests += requestCount;
        if (latestSession != &session) ++sessions;
        latestSession = &session;
    }
    void addCost(const UsageTotals& tokens, const std::optional<ModelPrice>& price) {
        if (price) cost = cost.value_or(0) + CostEstimator::cost(tokens, price);
    }
    UsageRow row(std::string_view name) const {
        return {std::string(name), totals.totalTokens, requests, sessions, cost};
    }
};

using Sums = std::map<std::string, Sum, std::less<>>;

Sum& sumOf(Sums& sums, std::string_view name) {
    const auto found = sums.find(name);
    return found != sums.end() ? found->second : sums.emplace(name, Sum{}).first->second;
}

/// Adds the session's requests to their days and models.
void addRequests(const SessionResult& session, const std::optional<ModelPrice>& price, Sums& days,
                 Sums& models) {
    const std::string_view sessionModel = session.model ? std::string_view(*session.model) : "unknown";
    const StringPool& names = session.requests.names();
    for (const RequestRecord& request : session.requests.records()) {
        sumOf(models, names.text(request.model).value_or(sessionModel)).add(session, request.d, 1);
        if (!request.hasTime()) continue;
        Sum& day = sumOf(days, TSDate::localDayKey(request.time));
        day.add(session, request.d, 1);
        day.addCost(request.d, price);
    }
}

void addTotals(const SessionResult& session, const std::optional<ModelPrice>& price, Sum& sum) {
    sum.add(session, session.totals, static_cast<std::int64_t>(session.requests.size()));
    sum.addCost(session.totals, price);
}

std::string_view agentName(ToolKind tool) {
    return tool == ToolKind::codex ? "Codex" : "Claude Code";
}

std::vector<UsageRow> mostTokensFirst(const Sums& sums) {
    std::vector<UsageRow> rows;
    for (const auto& [name, sum] : sums)
        rows.push_back(sum.row(name));
    std::sort(rows.begin(), rows.end(), [](const UsageRow& a, const UsageRow& b) {
        return a.tokens != b.tokens ? a.tokens > b.tokens : a.name < b.name;
    });
    return rows;
}

}  // namespace

UsageSummary summarise(const Snapshot& snapshot, const PriceTable& prices, Instant now) {
    UsageSummary summary;
    Sum all;
    Sums projects, models, agents, days;
    for (const SessionPointer& session : snapshot.sessions) {
        const auto price = prices.priceFor(session->model);
        if (!price) ++summary.unpricedSessions;
        addTotals(*session, price, all);
        addTotals(*session, price, sumOf(projects, session->project));
        addTotals(*session, price, sumOf(agents, agentName(session->tool)));
        addRequests(*session, price, days, models);
    }
    for (auto& [name, sum] : models)
        sum.addCost(sum.totals, prices.priceFor(name));

    const std::string today = TSDate::localDayKey(now);
    const auto todaysSum = days.find(today);
    summary.all = all.row("");
    summary.today = (todaysSum != days.end() ? todaysSum->second : Sum{}).row(today);
    summary.projects = mostTokensFirst(projects);
    summary.models = mostTokensFirst(models);
    summary.agents = mostTokensFirst(agents);
    for (const auto& [day, sum] : days)
        summary.days.push_back(sum.row(day));
    std::reverse(summary.days.begin(), summary.days.end());
    return summary;
}

}  // namespace ledgerfern
