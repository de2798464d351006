#include "Analytics/Formats.h"
#include "Commands.h"
#include "JsonDocument.h"
#include "PrintableText.h"
#include "Table.h"
#include "UsageTable.h"

namespace ledgerfern {

namespace {

/// All known cycles with the usage of the agent and the search text.
std::vector<UsageRow> cycleRows(const ScopedScan& scoped) {
    DashboardAnalytics::Selection allTime = scoped.selection;
    allTime.allTime = true;
    allTime.cycleKey = std::nullopt;
    std::vector<std::string> keys;
    for (const auto& [key, bucket] : scoped.scan.snapshot.aggregates.cycles)
        keys.push_back(key);
    return usageByCycle(derived(scoped.scan, allTime, scoped.prices).rows, keys, scoped.prices);
}

Table cycleTable(const std::vector<UsageRow>& rows, const std::string& current) {
    Table table({{"Cycles", Align::left},
                 {"first day", Align::left, std::nullopt, 6},
                 {"last day", Align::left, std::nullopt, 4},
                 {"tokens", Align::right},
                 {"requests", Align::right, std::nullopt, 3},
                 {"sessions", Align::right, std::nullopt, 2},
                 {"cost", Align::right, std::nullopt, 5},
                 {"", Align::left, std::nullopt, 1}});
    for (const UsageRow& row : rows) {
        const auto days = cycleDays(row.name);
        table.addRow({row.name, days ? days->first : "", days ? days->last : "", fmtTokens(row.tokens),
                      std::to_string(row.requests), std::to_string(row.sessions), costText(row),
                      row.name == current ? "now" : ""});
    }
    return table;
}

}  // namespace

int runCycles(const Options& options, Console& console) {
    const auto scoped = scanInScope(options, console);
    if (!scoped) return ExitStatus::badUsage;
    const auto rows = cycleRows(*scoped);
    if (options.json)
        return console.print(jsonDocument(*scoped, {{"cycles", [&](JsonWriter& json) {
                                                         json.beginArray();
                                                         for (const UsageRow& row : rows)
                                                             writeCycle(json, row.name, row);
                                                         json.endArray();
                                                     }}}));
    const std::size_t width = console.width();
    const std::string currentKey = scoped->scan.snapshot.aggregates.currentCycleKey().value_or("");
    if (!rows.empty())
        return console.print(cycleTable(rows, currentKey).text(width, paletteFor(options, console)));
    return console.print(wrapped(nothingFound(scoped->scan)
                                     .value_or("No cycle is known: no session log holds a rate limit with "
                                               "its reset; --scope all counts all there is."),
                                 width, 0));
}

}  // namespace ledgerfern
