#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Analytics/DashboardAnalytics.h"
#include "Analytics/PriceTable.h"
#include "Analytics/Stacks.h"
#include "UsageRecords/SessionResult.h"

namespace ledgerfern {

/// What one session, project, model, agent, day, week or cycle took.
struct UsageRow {
    std::string name;  ///< A session's is its path, a day's, week's or cycle's its key.
    std::int64_t tokens = 0;
    std::int64_t requests = 0;
    std::int64_t sessions = 0;
    std::optional<double> cost;  ///< USD at list prices; absent where none of it has a price.
    bool costIsPartial = false;  ///< A part of it has a price, and the whole would cost more.

    bool operator==(const UsageRow&) const = default;
};

/// "Codex" or "Claude Code".
std::string_view agentName(ToolKind tool);

/// The usage of a scope, summed up. A session's requests cost what its own model costs, as everywhere; those
/// of `models` what the model itself costs.
struct UsageSummary {
    UsageRow all;
    UsageTotals totals;
    std::int64_t unpricedSessions = 0;  ///< Sessions whose model has no price.
    std::vector<UsageRow> sessions;     ///< In the order given.
    std::vector<UsageRow> projects;     ///< Most tokens first, and so are the next two.
    std::vector<UsageRow>
        models;  ///< Requests by the model that served them, else the session's, else "unknown".
    std::vector<UsageRow> agents;   ///< By `agentName`.
    std::vector<UsageRow> periods;  ///< Days or weeks, the earliest first: the bars of the dashboard's chart.
};

/// Sums up what of each session lies in scope, which is what the dashboard counts of it. Days and weeks keep
/// to the scope's own range, and leave out requests without a time. Any thread may call it.
UsageSummary summarise(const SessionList& sessions, const DashboardAnalytics::Scope& scope, StackUnit unit,
                       const PriceTable& prices);

/// The sessions' requests by the cycles of the keys, in the order of time; a cycle without any has its row
/// too. Keys that are no numbers are left out.
std::vector<UsageRow> usageByCycle(const SessionList& sessions, const std::vector<std::string>& keys,
                                   const PriceTable& prices);

}  // namespace ledgerfern
