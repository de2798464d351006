#include <algorithm>

#include "Commands.h"
#include "PrintableText.h"
#include "SessionRows.h"

namespace ledgerfern {

int runSessions(const Options& options, Console& console) {
    const auto scoped = scanInScope(options, console);
    if (!scoped) return ExitStatus::badUsage;
    const SessionList sessions = scoped->derived().rows;
    auto rows = sessionRows(*scoped, sessions, scoped->summary(sessions, scoped->usualUnit()));
    sortRows(rows, options.sort);
    const std::size_t shown = std::min(options.limit.value_or(rows.size()), rows.size());
    if (options.json) {
        rows.resize(shown);
        return console.print(jsonDocument(*scoped, {{"sessions", jsonSessions(*scoped, std::move(rows))}}));
    }
    const std::size_t width = console.width();
    if (rows.empty()) return console.print(wrapped(scoped->emptySentence(), width, 0));
    return console.print(
        sessionTable(rows, shown, true, scoped->scan.now).text(width, paletteFor(options, console)));
}

}  // namespace ledgerfern
