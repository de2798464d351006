#include "Commands.h"
#include "JsonDocument.h"
#include "LimitTable.h"
#include "PrintableText.h"

namespace ledgerfern {

namespace {

std::string noneKnown(const Options& options) {
    const std::string logs = ": no session log holds a reading of one";
    if (options.tool == ToolKind::claudeCode)
        return std::string("No rate limit is known of Claude Code: its logs hold none, and ") +
               (options.namesRoots() ? "with --codex or --claude nothing else is read."
                                     : "there is no reading of its status line.");
    if (options.tool)
        return "No rate limit is known of " + std::string(agentName(*options.tool)) + logs + ".";
    return "No rate limit is known" + logs +
           (options.namesRoots() ? "." : ", and there is none of Claude Code's status line.");
}

}  // namespace

int runLimits(const Options& options, Console& console) {
    const auto scoped = scanInScope(options, console);
    if (!scoped) return ExitStatus::badUsage;
    const auto limits = knownLimits(scoped->scan, options.tool);
    if (options.json) return console.print(jsonDocument(*scoped, {{"limits", jsonLimits(limits)}}));
    const std::size_t width = console.width();
    const auto table = limitTable(limits, scoped->scan.now);
    if (!table) return console.print(wrapped(noneKnown(options), width, 0));
    return console.print(table->text(width, paletteFor(options, console)));
}

}  // namespace ledgerfern
