#include "Commands.h"
#include "Scan.h"

namespace ledgerfern {

int runParity(const Options& options, Console& console) {
    const Scan scan = scanRoots(options, console);
    return console.print(scan.snapshot.aggregates.parityJSON() + "\n");
}

}  // namespace ledgerfern
