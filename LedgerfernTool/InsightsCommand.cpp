#include <map>

#include "Analytics/SessionNaming.h"
#include "Commands.h"
#include "DumpDerived.h"
#include "InsightText.h"
#include "JsonDocument.h"
#include "PrintableText.h"

namespace ledgerfern {

int runInsights(const Options& options, Console& console) {
    const auto scoped = scanInScope(options, console);
    if (!scoped) return ExitStatus::badUsage;
    const DashboardDerived derived = scoped->derived();
    if (options.json)
        return console.print(jsonDocument(*scoped, {{"insights", [&](JsonWriter& json) {
                                                         DumpDerived::writeInsights(json, derived.insights);
                                                     }}}));
    const Snapshot& snapshot = scoped->scan.snapshot;
    std::map<std::string, std::string> names;
    for (const SessionPointer& session : derived.rows)
        names[session->path] =
            printableName(SessionNaming::displayName(*session, snapshot.sessionIDs, snapshot.threadNames));
    const Palette palette = paletteFor(options, console);
    Page page(console.width(), palette);
    if (derived.isEmpty)
        page.sentence(scoped->emptySentence(), 0);
    else
        addInsights(page, derived.insights, [&](const std::string& path) { return names[path]; });
    return console.print(page.text());
}

}  // namespace ledgerfern
