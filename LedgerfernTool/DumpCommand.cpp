#include "Commands.h"
#include "DumpDocument.h"
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

}  // namespace

int runDump(const Options& options, Console& console) {
    constexpr std::size_t block = 1 << 20;
    const Scan scan = scanRoots(options, console);
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
