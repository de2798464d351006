#include <unistd.h>

#include <csignal>
#include <string_view>
#include <utility>

#include "Commands.h"
#include "Foundation/FileEvents.h"
#include "ReaderWatch.h"
#include "ReportText.h"

namespace ledgerfern {

namespace {

constexpr int interrupted = 128 + SIGINT;

/// The report, and what is needed to bring it up to date.
class LiveReport {
public:
    LiveReport(ScopedScan scoped, const Options& options, Console& console)
        : options_(options), console_(console), scoped_(std::move(scoped)) {}

    /// Takes the place of the one before on a terminal, and follows it elsewhere.
    Written write() {
        const std::string_view start = console_.out.isTerminal() ? clearScreen : isFirst_ ? "" : "\n";
        isFirst_ = false;
        return console_.out.write(std::string(start) +
                                  reportText(*scoped_, console_.width(), paletteFor(options_, console_)));
    }

    /// The scope is the one that was asked for, even if none of its logs is left.
    void refresh() {
        Scan scan = std::move(scoped_->scan);
        rescanWithLimits(scan, options_, console_);
        scoped_.emplace(std::move(scan), options_, pricesFor(options_));
    }

private:
    static constexpr std::string_view clearScreen = "\x1b[H\x1b[2J";

    const Options& options_;
    Console& console_;
    std::optional<ScopedScan> scoped_;  // always present
    bool isFirst_ = true;
};

std::vector<std::string> foldersToWatch(const Options& options, const Scan& scan) {
    return options.namesRoots() ? scan.folders : ToolRoot::existingWatchPaths(ToolRoot::defaults());
}

/// Until writing comes to an end, which gives the last one.
Written follow(LiveReport& report, FileEvents& events, const Console& console) {
    Written written;
    const ReaderWatch reader(console.out.descriptor(), [&] { events.stop(); });
    runDebounced(events, [&] {
        report.refresh();
        written = report.write();
        if (!written) events.stop();
    });
    return written;
}

}  // namespace

int runWatch(const Options& options, Console& console) {
    // At once, also during a scan: what must not be left half done delays the signal.
    std::signal(SIGINT, [](int) { ::_exit(interrupted); });
    Scan scan = unscannedRoots(options, console);
    // Before the scan, so that nothing is missed that changes while it runs.
    const auto events = fileEvents(foldersToWatch(options, scan));
    auto scoped = scanInScope(std::move(scan), options, console);
    if (!scoped) return ExitStatus::badUsage;
    LiveReport report(std::move(*scoped), options, console);
    const Written first = report.write();
    if (!first) return console.end(first);
    if (!events)
        return console.fail(ExitStatus::failed,
                            "there is nothing to watch; run a session in Codex or Claude Code first, or name "
                            "a folder that is there with --codex or --claude");
    return console.end(follow(report, *events, console));
}

}  // namespace ledgerfern
