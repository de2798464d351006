#pragma once

#include <optional>
#include <string>
#include <vector>

#include "DemoPlan.h"

namespace ledgerfern {

/// The application's history as if it had looked at the sessions' logs on each of the last 90 days: an SQLite
/// database, the same for the same sessions. What was before the first session is as what came later.
///
/// The database is made at `path`, where nothing may be yet, and stays there; its bytes are given. Absent
/// where it can't be made.
std::optional<std::string> demoHistory(const std::string& path, const std::vector<DemoSession>& sessions,
                                       const DemoWish& wish);

}  // namespace ledgerfern
