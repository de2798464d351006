#pragma once

#include <cstddef>
#include <string>

#include "Commands.h"

namespace ledgerfern {

/// The program's commands with an example each, and the options that all of them know.
std::string programHelp(std::size_t width);
/// One command's options, and its example.
std::string commandHelp(const Command& command, std::size_t width);

}  // namespace ledgerfern
