#pragma once

#include <string>
#include <vector>

#include "Console.h"

namespace ledgerfern {

/// Runs `ledgerfern-cli` with its arguments (without the program's name) and returns the exit status.
int runCommandLine(const std::vector<std::string>& arguments, Console& console);

}  // namespace ledgerfern
