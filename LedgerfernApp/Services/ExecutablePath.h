#pragma once

#include <string>

namespace ledgerfern {

/// The file of the running program, links resolved; empty where that isn't known. To be asked for at the
/// start: the path of a program that has been replaced since names nothing.
std::string executablePath();

}  // namespace ledgerfern
