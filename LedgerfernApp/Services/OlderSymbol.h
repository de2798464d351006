#pragma once

#include <string_view>

namespace ledgerfern {

/// What stands in for one of the status item's gauges where the desktop's symbol set is older than that name:
/// a coarser gauge. Empty for any other name.
std::string_view olderSymbol(std::string_view name);

}  // namespace ledgerfern
