#include "Scope.h"

namespace ledgerfern {

DashboardAnalytics::Selection selectionFor(const Options& options, const Aggregates& aggregates,
                                           std::string_view usual) {
    const std::string scope = options.scope.value_or(std::string(usual));
    DashboardAnalytics::Selection selection;
    selection.tool = options.tool;
    selection.search = options.search;
    selection.allTime = scope == Scope::all;
    if (scope == Scope::cycle)
        selection.cycleKey = aggregates.currentCycleKey();
    else if (!selection.allTime)
        selection.cycleKey = scope;
    return selection;
}

ProjectAnalytics::Selection projectSelectionFor(const Options& options, const Aggregates& aggregates,
                                                std::string_view usual) {
    const DashboardAnalytics::Selection scope = selectionFor(options, aggregates, usual);
    ProjectAnalytics::Selection selection;
    selection.project = options.project.value_or("");
    selection.cycleKey = scope.cycleKey;
    selection.weekKey = options.week;
    selection.allTime = scope.allTime;
    selection.tool = scope.tool;
    return selection;
}

DashboardDerived derived(const Scan& scan, const DashboardAnalytics::Selection& selection,
                         const PriceTable& prices) {
    return DashboardAnalytics::derive(&scan.snapshot, selection, scan.snapshot.sessionIDs,
                                      scan.snapshot.threadNames, prices, scan.now);
}

}  // namespace ledgerfern
