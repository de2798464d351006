#include "Commands.h"
#include "DumpDocument.h"
#include "Quoted.h"
#include "Scan.h"
#include "Scope.h"

namespace ledgerfern {

namespace {

/// Sessions as they are in the snapshot, or completed.
SessionSource sourceFor(const Options& options, Engine& engine) {
    if (!options.full) return [](const SessionPointer& session) { return session; };
    return [&engine](const SessionPointer& session) -> SessionPointer {
        auto full = engine.fullResult(session->path);
        return full ? std::make_shared<const SessionResult>(std::move(*full)) : session;
    };
}

DumpDerivations derivationsOf(const Scan& scan, const Options& options) {
    DumpDerivations derivations{
        derived(scan, selectionFor(options, scan.snapshot.aggregates, ScopeName::all), builtInPrices()),
        std::nullopt};
    if (options.project)
        derivations.project = DumpDerived::projectPage(
            scan.snapshot, projectSelectionFor(options, scan.snapshot.aggregates, ScopeName::all));
    return derivations;
}

/// With Claude's limits where a file of them is named. One that holds none is told on standard error.
Scan scanFor(const Options& options, Console& console) {
    Scan scan = scanRoots(options, console);
    if (!options.statusFile) return scan;
    const auto status = ClaudeStatus::loadFile(*options.statusFile, scan.now);
    if (!status)
        console.warn(inQuotes(*options.statusFile) + " holds no reading of Claude's limits; none is merged");
    mergeClaudeLimits(scan, status);
    return scan;
}

}  // namespace

int runDump(const Options& options, Console& console) {
    constexpr std::size_t block = 1 << 20;
    const Scan scan = scanFor(options, console);
    Written written;
    std::string text;
    const auto send = [&] {
        if (written) written = console.out.write(text);
        text.clear();
    };
    const auto flush = [&] {
        if (text.size() >= block) send();
        return static_cast<bool>(written);
    };
    writeDump(scan.snapshot, derivationsOf(scan, options), builtInPrices(), sourceFor(options, *scan.engine),
              text, flush);
    send();
    return console.end(written);
}

}  // namespace ledgerfern
