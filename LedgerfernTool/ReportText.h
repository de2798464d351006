#pragma once

#include <cstddef>
#include <string>

#include "Color.h"
#include "Scan.h"

namespace ledgerfern {

/// The report on a scan, in at most `width` columns.
std::string reportText(const Scan& scan, const PriceTable& prices, std::size_t width, const Palette& palette);

}  // namespace ledgerfern
