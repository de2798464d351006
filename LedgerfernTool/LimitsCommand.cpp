#include "Commands.h"
#include "LimitTable.h"
#include "PrintableText.h"
#include "Scan.h"

namespace ledgerfern {

int runLimits(const Options& options, Console& console) {
    const Scan scan = scanRoots(options, console);
    const std::size_t width = console.width();
    const auto table = limitTable(scan.snapshot.aggregates, scan.now);
    if (!table)
        return console.print(
            wrapped("No rate limit is known: no session log holds a reading of one.", width, 0));
    return console.print(table->text(width, paletteFor(options, console)));
}

}  // namespace ledgerfern
