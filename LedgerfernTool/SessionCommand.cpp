#include "Analytics/SessionNaming.h"
#include "Commands.h"
#include "Quoted.h"
#include "Scan.h"
#include "SessionSearch.h"
#include "SessionText.h"

namespace ledgerfern {

int runSession(const Options& options, Console& console) {
    const Scan scan = scanRoots(options, console);
    const auto found = findSession(scan.snapshot, scan.folders, options.operand);
    if (const auto* none = std::get_if<NoSession>(&found))
        return console.fail(ExitStatus::failed, none->sentence);
    const auto session = scan.engine->fullResult(std::get<std::string>(found));
    if (!session)
        return console.fail(ExitStatus::failed, "the log of " + inQuotes(options.operand) + " is gone");
    const std::string name =
        SessionNaming::displayName(*session, scan.snapshot.sessionIDs, scan.snapshot.threadNames);
    return console.print(
        sessionText(*session, name, pricesFor(options), console.width(), paletteFor(options, console)));
}

}  // namespace ledgerfern
