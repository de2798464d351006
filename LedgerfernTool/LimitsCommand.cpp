#include "Commands.h"
#include "JsonDocument.h"
#include "LimitTable.h"
#include "PrintableText.h"

namespace ledgerfern {

int runLimits(const Options& options, Console& console) {
    const auto scoped = scanInScope(options, console);
    if (!scoped) return ExitStatus::badUsage;
    const Aggregates& aggregates = scoped->scan.snapshot.aggregates;
    if (options.json)
        return console.print(jsonDocument(*scoped, {{"limits", jsonLimits(aggregates, options.tool)}}));
    const std::size_t width = console.width();
    const auto table = limitTable(aggregates, scoped->scan.now, options.tool);
    if (!table)
        return console.print(wrapped(
            "No rate limit is known" + (options.tool ? " of " + std::string(agentName(*options.tool)) : "") +
                ": no session log holds a reading of one.",
            width, 0));
    return console.print(table->text(width, paletteFor(options, console)));
}

}  // namespace ledgerfern
