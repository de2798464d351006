#pragma once

#include "Analytics/DashboardAnalytics.h"
#include "Analytics/ProjectAnalytics.h"
#include "Options.h"
#include "Scan.h"

namespace ledgerfern {

/// What the options choose; the scope `usual` where they name none. The current cycle is that of the overall
/// anchor; where none is known, everything counts.
DashboardAnalytics::Selection selectionFor(const Options& options, const Aggregates& aggregates,
                                           std::string_view usual);

/// The same for the page of the project that the options name.
ProjectAnalytics::Selection projectSelectionFor(const Options& options, const Aggregates& aggregates,
                                                std::string_view usual);

/// What the selection comes to.
DashboardDerived derived(const Scan& scan, const DashboardAnalytics::Selection& selection,
                         const PriceTable& prices);

}  // namespace ledgerfern
