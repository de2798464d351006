#include "Commands.h"
#include "ReportText.h"
#include "Scan.h"

namespace ledgerfern {

int runReport(const Options& options, Console& console) {
    const Scan scan = scanRoots(options, console);
    return console.print(reportText(scan, pricesFor(options), console.width(), paletteFor(options, console)));
}

}  // namespace ledgerfern
