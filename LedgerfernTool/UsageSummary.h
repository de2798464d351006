#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Analytics/PriceTable.h"
#include "Analytics/Snapshot.h"

namespace ledgerfern {

/// What one project, model, agent or day took.
struct UsageRow {
    std::string name;
    std::int64_t tokens = 0;
    std::int64_t requests = 0;
    std::int64_t sessions = 0;
    std::optional<double> cost;  ///< USD at list prices; absent where none of it has a price.

    bool operator==(const UsageRow&) const = default;
};

/// All usage of a snapshot, summed up for the report.
struct UsageSummary {
    UsageRow all;                       ///< By the sessions' totals.
    UsageRow today;                     ///< Requests of the local day of the given instant.
    std::int64_t unpricedSessions = 0;  ///< Sessions whose model has no price.
    std::vector<UsageRow> projects;     ///< By the sessions' totals, most tokens first.
    std::vector<UsageRow> models;       ///< Requests by the model that served them, most tokens first.
    std::vector<UsageRow> agents;       ///< By the sessions' totals, most tokens first.
    std::vector<UsageRow>
        days;  ///< Requests by local day, the latest first; those without a time aren't there.
};

/// A request without a model of its own is its session's, and "unknown" where that has none either. A day's
/// requests cost what its session's model costs, as the application counts them; a model's what itself costs.
UsageSummary summarise(const Snapshot& snapshot, const PriceTable& prices, Instant now);

}  // namespace ledgerfern
