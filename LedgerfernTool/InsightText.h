#pragma once

#include <functional>
#include <string>

#include "Analytics/InsightRules.h"
#include "UsageTable.h"

namespace ledgerfern {

/// The insights' titles, or a sentence that says that there is none.
void addInsightTitles(Page& page, const std::vector<Insight>& insights);

/// The name for people of the session with that path.
using SessionNames = std::function<std::string(const std::string& path)>;

/// The insights in full, or the same sentence.
void addInsights(Page& page, const std::vector<Insight>& insights, const SessionNames& sessionName);

}  // namespace ledgerfern
