#pragma once

#include <cstddef>
#include <string>

#include "Analytics/PriceTable.h"
#include "Analytics/Snapshot.h"
#include "Color.h"

namespace ledgerfern {

/// Index of the first of the last 400 requests.
std::size_t firstShownRequest(const SessionResult& session);

/// A session's figures, and its last 400 requests in their order, in at most `width` columns.
std::string sessionText(const SessionResult& session, const std::string& name, const PriceTable& prices,
                        std::size_t width, const Palette& palette);

}  // namespace ledgerfern
