#include "Commands.h"
#include "JsonDocument.h"
#include "PrintableText.h"
#include "UsageTable.h"

namespace ledgerfern {

namespace {

/// Prints the rows as a table or as a document; where there are none, the sentence.
int printRows(const ScopedScan& scoped, const Options& options, Console& console, std::string_view key,
              std::string_view nameKey, std::string_view title, const std::vector<UsageRow>& rows) {
    if (options.json) return console.print(jsonDocument(scoped, {{key, usageRows(nameKey, rows)}}));
    const std::size_t width = console.width();
    if (rows.empty()) return console.print(wrapped(scoped.emptySentence(), width, 0));
    return console.print(usageTable(title, rows).text(width, paletteFor(options, console)));
}

}  // namespace

int runProjects(const Options& options, Console& console) {
    const auto scoped = scanInScope(options, console);
    if (!scoped) return ExitStatus::badUsage;
    const UsageSummary usage = scoped->summary(scoped->derived().rows, scoped->usualUnit());
    return printRows(*scoped, options, console, "projects", "name", "Projects", usage.projects);
}

int runDaily(const Options& options, Console& console) {
    const auto scoped = scanInScope(options, console);
    if (!scoped) return ExitStatus::badUsage;
    const StackUnit unit = options.by.value_or(scoped->usualUnit());
    const UsageSummary usage = scoped->summary(scoped->derived().rows, unit);
    if (usage.periods.empty() && usage.all.sessions > 0 && !options.json)
        return console.print(wrapped("No request in scope has a time.", console.width(), 0));
    return printRows(*scoped, options, console, "days", "key", unit == StackUnit::isoWeek ? "Weeks" : "Days",
                     usage.periods);
}

}  // namespace ledgerfern
