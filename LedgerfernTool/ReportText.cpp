#include "ReportText.h"

#include <algorithm>
#include <vector>

#include "Analytics/CostEstimator.h"
#include "Analytics/Formats.h"
#include "DumpDerived.h"
#include "InsightText.h"
#include "JsonDocument.h"
#include "LimitTable.h"
#include "PrintableText.h"
#include "Table.h"
#include "UsageRecords/TSDate.h"
#include "UsageTable.h"

namespace ledgerfern {

namespace {

constexpr std::size_t barWidth = 12;
constexpr std::size_t shownNames = 10;
constexpr std::size_t shownPeriods = 14;

/// Today's usage of the agent and the search text, under the day's key.
UsageRow todayOf(const ScopedScan& scoped) {
    DashboardAnalytics::Selection today = scoped.selection;
    today.allTime = false;
    today.cycleKey = std::string(ScopeName::today);
    const auto times = DashboardAnalytics::scopeOf(scoped.scan.snapshot.aggregates, today, scoped.scan.now);
    const SessionList rows = derived(scoped.scan, today, scoped.prices).rows;
    UsageRow row = summarise(rows, times, StackUnit::localDay, scoped.prices).all;
    row.name = TSDate::localDayKey(scoped.scan.now);
    return row;
}

void addNotes(Page& page, const Snapshot& snapshot) {
    if (snapshot.formatWarnings.empty() && snapshot.malformedLines == 0) return;
    page.heading("Notes");
    for (const std::string& warning : snapshot.formatWarnings)
        page.sentence(warning);
    if (snapshot.malformedLines == 1) page.sentence("1 line of the logs isn't valid JSON and was left out.");
    if (snapshot.malformedLines > 1)
        page.sentence(std::to_string(snapshot.malformedLines) +
                      " lines of the logs aren't valid JSON and were left out.");
}

void addLimits(Page& page, const std::vector<KnownLimit>& limits, Instant now) {
    if (const auto table = limitTable(limits, now)) return page.table(*table);
    page.heading("Limits");
    page.sentence("none known");
}

void addToday(Page& page, const ScopedScan& scoped) {
    if (scoped.scope == ScopeName::today) return;  // the scope's own heading tells it
    page.heading("Today");
    const UsageRow today = todayOf(scoped);
    page.sentence(today.requests > 0 ? usageText(today) : "nothing yet");
}

/// Why the models' costs don't add up to the others', where they don't.
void addModelCostNote(Page& page, const UsageSummary& usage) {
    std::optional<double> sum;
    for (const UsageRow& model : usage.models)
        if (model.cost) sum = sum.value_or(0) + *model.cost;
    if (costText(sum) == costText(usage.all.cost)) return;
    page.sentence(
        "By model the costs come to " + costText(sum) +
        ", with each request at its own model's price; elsewhere all of a session is at one model's.");
}

/// Of all sessions, whatever the scope.
Table consumerTable(const std::vector<TopTool>& tools) {
    Table table({{"Top context consumers of all sessions", Align::left, 12},
                 {"", Align::left, std::nullopt, 1},
                 {"tokens", Align::right},
                 {"calls", Align::right, std::nullopt, 2}});
    const std::int64_t largest = tools.empty() ? 1 : std::max<std::int64_t>(tools.front().impact, 1);
    for (const TopTool& tool : tools)
        table.addRow({printableName(tool.label),
                      shareBar(static_cast<double>(tool.impact) / static_cast<double>(largest), barWidth),
                      fmtTokens(tool.impact), std::to_string(tool.calls)});
    return table;
}

void addScope(Page& page, const ScopedScan& scoped, const DashboardDerived& derived) {
    page.heading(scoped.heading());
    if (const auto note = scoped.ownCycleNote()) page.sentence(*note);
    if (derived.isEmpty) return page.sentence(scoped.emptySentence());
    const UsageSummary usage = scoped.summary(derived.rows, scoped.usualUnit());
    page.sentence(usageText(usage.all));
    page.sentence(splitText(usage.totals));
    page.sentence(sessionsText(usage));
    page.table(usageTable("Projects", usage.projects, shownNames, "more"));
    page.table(usageTable("Models", usage.models, shownNames, "more"));
    addModelCostNote(page, usage);
    if (usage.agents.size() > 1) page.table(usageTable("Agents", usage.agents));
    std::vector<UsageRow> latestFirst(usage.periods.rbegin(), usage.periods.rend());
    page.table(usageTable(scoped.selection.allTime ? "Weeks" : "Days", latestFirst, shownPeriods, "earlier"));
    page.table(consumerTable(derived.topTools));
    page.heading("Insights");
    addInsightTitles(page, derived.insights);
}

}  // namespace

std::string reportText(const ScopedScan& scoped, std::size_t width, const Palette& palette) {
    Page page(width, palette);
    const auto nothing = nothingFound(scoped.scan);
    // Claude's may be known without any log.
    const auto limits = knownLimits(scoped.scan, scoped.selection.tool);
    if (!nothing || !limits.empty()) {
        page.heading("Ledgerfern · " + fmtLocalTime(scoped.scan.now));
        addLimits(page, limits, scoped.scan.now);
    }
    if (nothing) {
        page.heading(*nothing, Tone::plain);
    } else {
        addToday(page, scoped);
        addScope(page, scoped, scoped.derived());
    }
    addNotes(page, scoped.scan.snapshot);
    return page.text();
}

std::string reportDocument(const ScopedScan& scoped) {
    const DashboardDerived derived = scoped.derived();
    const UsageSummary usage = scoped.summary(derived.rows, scoped.usualUnit());
    return jsonDocument(
        scoped,
        {{"limits", jsonLimits(knownLimits(scoped.scan, scoped.selection.tool))},
         {"today", [&](JsonWriter& json) { writeUsageRow(json, "key", todayOf(scoped), true); }},
         {"cycle", [&](JsonWriter& json) { writeCycle(json, scoped.cycleKey(), usage.all); }},
         {"projects", usageRows("name", usage.projects)},
         {"models", usageRows("name", usage.models)},
         {"agents", usageRows("name", usage.agents)},
         {"days", usageRows("key", usage.periods)},
         {"consumers", [&](JsonWriter& json) { DumpDerived::writeTopTools(json, derived.topTools); }},
         {"insights", [&](JsonWriter& json) { DumpDerived::writeInsights(json, derived.insights); }}});
}

}  // namespace ledgerfern
