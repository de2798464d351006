#pragma once

#include <iosfwd>
#include <string>
#include <vector>

namespace ledgerfern {

/// Runs `ledgerfern-cli` with its arguments (without the program's name) and returns the exit status.
int runCommandLine(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err);

}  // namespace ledgerfern
