#pragma once

#include <string_view>
#include <vector>

#include "Console.h"
#include "Options.h"

namespace ledgerfern {

/// One of the program's commands.
struct Command {
    Usage usage;
    std::string_view purpose;
    std::string_view example;
    int (*run)(const Options& options, Console& console);  ///< Gives the exit status.
};

/// In the order in which they are explained; the first runs where none is named.
const std::vector<Command>& commands();
/// Absent (null) where there is none of that name.
const Command* findCommand(std::string_view name);

int runReport(const Options& options, Console& console);
int runSessions(const Options& options, Console& console);
int runProjects(const Options& options, Console& console);
int runProject(const Options& options, Console& console);
int runDaily(const Options& options, Console& console);
int runCycles(const Options& options, Console& console);
int runInsights(const Options& options, Console& console);
int runLimits(const Options& options, Console& console);
int runSession(const Options& options, Console& console);
int runExport(const Options& options, Console& console);
int runParity(const Options& options, Console& console);
int runDump(const Options& options, Console& console);
int runWatch(const Options& options, Console& console);
int runDemo(const Options& options, Console& console);

}  // namespace ledgerfern
