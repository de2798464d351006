#include "Commands.h"
#include "DumpDocument.h"
#include "JsonDocument.h"
#include "Quoted.h"
#include "SessionSearch.h"
#include "SessionText.h"

namespace ledgerfern {

int runSession(const Options& options, Console& console) {
    const auto scoped = scanInScope(options, console);
    if (!scoped) return ExitStatus::badUsage;
    const Snapshot& snapshot = scoped->scan.snapshot;
    const auto found = findSession(snapshot, scoped->scan.folders, options.operand);
    if (const auto* none = std::get_if<NoSession>(&found))
        return console.fail(ExitStatus::failed, none->sentence);
    const auto session = scoped->scan.engine->fullResult(std::get<std::string>(found));
    if (!session)
        return console.fail(ExitStatus::failed, "the log of " + inQuotes(options.operand) + " is gone");
    const auto text = textOf(snapshot, scoped->prices, *session);
    if (options.json)
        return console.print(jsonDocument(
            *scoped,
            {{"session", [&](JsonWriter& json) { DumpRecords::writeSessionRow(json, *session, text); }},
             {"requests", [&](JsonWriter& json) {
                  DumpRecords::writeRequests(json, session->requests, firstShownRequest(*session));
              }}}));
    return console.print(sessionText(*session, text.displayName, scoped->prices, console.width(),
                                     paletteFor(options, console)));
}

}  // namespace ledgerfern
