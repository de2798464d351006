#pragma once

#include <functional>
#include <vector>

#include "Services/StatusItem.h"

namespace ledgerfern {

class DashboardCommandRouter;

namespace LedgerfernCommands {

/// The program's own entries of the View menu, which stand behind the system's for the sidebar. `refresh` is
/// the user's rescan. `router` must outlive the entries.
std::vector<MenuEntry> viewMenu(const DashboardCommandRouter& router, std::function<void()> refresh);

}  // namespace LedgerfernCommands

}  // namespace ledgerfern
