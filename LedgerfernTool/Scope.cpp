#include "Scope.h"

#include "PrintableText.h"
#include "Quoted.h"
#include "UsageRecords/TSDate.h"
#include "UsageTable.h"

namespace ledgerfern {

namespace {

std::string folderList(const std::vector<std::string>& folders) {
    std::string list;
    for (std::size_t i = 0; i < folders.size(); ++i)
        list += (i == 0 ? "" : i + 1 == folders.size() ? " and " : ", ") + printable(folders[i]);
    return list;
}

CycleDays daysOf(const TimeRange& range) {
    return {TSDate::localDayKey(range.start), TSDate::localDayKey(range.end - 1)};
}

bool isKnownScope(const std::string& scope, const Aggregates& aggregates) {
    return scope == ScopeName::today || scope == ScopeName::cycle || scope == ScopeName::all ||
           aggregates.cycles.contains(scope) || scope == aggregates.currentCycleKey();
}

}  // namespace

DashboardAnalytics::Selection selectionFor(const Options& options, const Aggregates& aggregates,
                                           std::string_view usual) {
    const std::string scope = options.scope.value_or(std::string(usual));
    DashboardAnalytics::Selection selection;
    selection.tool = options.tool;
    selection.search = options.search;
    selection.allTime = scope == ScopeName::all;
    if (scope == ScopeName::cycle)
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

ScopedScan::ScopedScan(Scan found, const Options& options, PriceTable table)
    : scan(std::move(found)),
      prices(std::move(table)),
      scope(options.scope.value_or(std::string(ScopeName::cycle))),
      selection(selectionFor(options, scan.snapshot.aggregates, ScopeName::cycle)),
      times(DashboardAnalytics::scopeOf(scan.snapshot.aggregates, selection, scan.now)) {}

StackUnit ScopedScan::usualUnit() const {
    return selection.allTime ? StackUnit::isoWeek : StackUnit::localDay;
}

std::optional<std::string> ScopedScan::cycleKey() const {
    return scope == ScopeName::today ? std::nullopt : selection.cycleKey;
}

std::string ScopedScan::title() const {
    if (scope == ScopeName::today) return "Today";
    return selection.cycleKey ? "Cycle of " + TSDate::cycleLabel(*selection.cycleKey, scan.now) : "All time";
}

std::string ScopedScan::heading() const {
    const auto key = cycleKey();
    const auto days = key ? cycleDays(*key) : std::nullopt;
    if (!days) return title();
    const bool isOver = Aggregates::cycleRange(*key)->end <= scan.now;
    return title() + " · " + days->first + " to " + days->last + (isOver ? " · over" : "");
}

std::optional<std::string> ScopedScan::ownCycleNote() const {
    std::string note;
    for (const auto& [tool, range] : times.cyclesByTool) {
        if ((selection.tool && tool != *selection.tool) || range == times.range) continue;
        const CycleDays days = daysOf(range);
        note += note.empty() ? "" : "; ";
        note += std::string(agentName(tool)) + " counts by its own cycle, " + days.first + " to " + days.last;
    }
    return note.empty() ? std::nullopt : std::optional(note);
}

/// The days of the cycle that the agent in scope counts by, where that is a cycle.
std::optional<CycleDays> ScopedScan::countedDays() const {
    const auto own = selection.tool ? times.cyclesByTool.find(*selection.tool) : times.cyclesByTool.end();
    if (own != times.cyclesByTool.end()) return daysOf(own->second);
    const auto key = cycleKey();
    return key ? cycleDays(*key) : std::nullopt;
}

std::string ScopedScan::emptySentence(std::optional<std::string_view> project) const {
    if (const auto nothing = nothingFound(scan)) return *nothing;
    std::string sentence = "No usage";
    if (selection.tool) sentence += " of " + std::string(agentName(*selection.tool));
    if (project) sentence += " in " + inQuotes(printable(*project));
    if (scope == ScopeName::today) sentence += " today";
    if (const auto days = countedDays()) sentence += " from " + days->first + " to " + days->last;
    if (!selection.search.empty()) sentence += " in sessions with " + inQuotes(printable(selection.search));
    return sentence +
           (selection.cycleKey ? "; --scope all counts all there is." : ", even with --scope all.");
}

std::optional<ScopedScan> scanInScope(const Options& options, Console& console) {
    return scanInScope(unscannedRoots(options, console), options, console);
}

std::optional<ScopedScan> scanInScope(Scan scan, const Options& options, Console& console) {
    rescanWithLimits(scan, options, console);
    if (!options.scope || isKnownScope(*options.scope, scan.snapshot.aggregates))
        return ScopedScan(std::move(scan), options, pricesFor(options));
    console.warn("--scope " + inQuotes(*options.scope) + " is the key of no known cycle; " +
                 inQuotes("ledgerfern-cli cycles") + " lists those there are");
    return std::nullopt;
}

std::optional<std::string> nothingFound(const Scan& scan) {
    if (!scan.snapshot.sessions.empty()) return std::nullopt;
    const std::int64_t files = scan.snapshot.aggregates.filesScanned;
    const std::string place = " below " + folderList(scan.folders);
    if (files == 0)
        return "No session logs were found" + place +
               "; run a session in Codex or Claude Code, or name another folder with --codex or --claude.";
    return "No usage was found in " + counted(files, "session log") + place + ".";
}

std::optional<CycleDays> cycleDays(std::string_view key) {
    const auto range = Aggregates::cycleRange(key);
    return range ? std::optional(daysOf(*range)) : std::nullopt;
}

}  // namespace ledgerfern
