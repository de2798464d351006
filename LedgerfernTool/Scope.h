#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "Analytics/DashboardAnalytics.h"
#include "Analytics/ProjectAnalytics.h"
#include "Analytics/UsageSummary.h"
#include "Console.h"
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

/// The first and the last local day of a cycle, as their keys.
struct CycleDays {
    std::string first;
    std::string last;
};

/// A scan as the options of a command for people see it.
struct ScopedScan {
    Scan scan;
    PriceTable prices;
    std::string scope;  ///< As documents tell it: one of `ScopeName`, or a cycle's key.
    DashboardAnalytics::Selection selection;
    DashboardAnalytics::Scope times;

    ScopedScan(Scan found, const Options& options, PriceTable table);

    DashboardDerived derived() const { return ledgerfern::derived(scan, selection, prices); }
    /// Weeks with all time, otherwise days.
    StackUnit usualUnit() const;
    UsageSummary summary(const SessionList& rows, StackUnit unit) const {
        return summarise(rows, times, unit, prices);
    }
    /// Key of the cycle that is in scope; absent where the scope is none.
    std::optional<std::string> cycleKey() const;
    /// "Today", "Cycle of Feb 23" or "All time".
    std::string title() const;
    /// The title, with the first and the last day of a cycle, and whether it is over.
    std::string heading() const;
    /// Says which agents' sessions count by another cycle than the scope's: their own; absent where none do.
    std::optional<std::string> ownCycleNote() const;
    /// One sentence that says that nothing of the project, or nothing at all, is in scope, and what would be.
    std::string emptySentence(std::optional<std::string_view> project = std::nullopt) const;

private:
    std::optional<CycleDays> countedDays() const;
};

/// Scans by the options, what has been scanned before, or all there is. A cycle that isn't known is told on
/// standard error, and then there is no scan.
std::optional<ScopedScan> scanInScope(Scan scan, const Options& options, Console& console);
std::optional<ScopedScan> scanInScope(const Options& options, Console& console);

/// Says that no log or no usage was found at all; absent where there is some.
std::optional<std::string> nothingFound(const Scan& scan);

/// Absent where the key isn't a cycle's.
std::optional<CycleDays> cycleDays(std::string_view key);

}  // namespace ledgerfern
