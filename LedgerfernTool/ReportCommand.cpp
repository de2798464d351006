#include "Commands.h"
#include "ReportText.h"

namespace ledgerfern {

int runReport(const Options& options, Console& console) {
    const auto scoped = scanInScope(options, console);
    if (!scoped) return ExitStatus::badUsage;
    if (options.json) return console.print(reportDocument(*scoped));
    return console.print(reportText(*scoped, console.width(), paletteFor(options, console)));
}

}  // namespace ledgerfern
