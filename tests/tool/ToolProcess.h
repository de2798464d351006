#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace ledgerfern {

/// How the program is to be run.
struct ToolRun {
    std::vector<std::string> arguments;
    std::map<std::string, std::string> environment;  ///< All that it sees.
    std::optional<unsigned short> outColumns;        ///< Standard output is a terminal of that width.
    bool errIsTerminal = false;
    std::string outFile;  ///< Standard output goes there.
    bool outIsClosedPipe = false;
};

struct ToolOutcome {
    int status = -1;  ///< Exit status; above 128 a signal.
    std::string out;
    std::string err;
};

/// Runs the program to its end.
ToolOutcome runTool(const ToolRun& run);

}  // namespace ledgerfern
