#pragma once

#include <cstddef>
#include <string>

#include "Analytics/PriceTable.h"
#include "Analytics/Snapshot.h"
#include "Color.h"

namespace ledgerfern {

/// A session's figures, and its last 400 requests in their order, in at most `width` columns.
std::string sessionText(const SessionResult& session, const std::string& name, const PriceTable& prices,
                        std::size_t width, const Palette& palette);

}  // namespace ledgerfern
