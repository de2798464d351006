#pragma once

#include <string>

#include "DemoPlan.h"

/// The logs of Claude Code.
namespace ledgerfern::DemoClaude {

/// Where the session's log lies, below the home folder. `parentId` is that of the session that started this
/// one, empty without one.
std::string path(const DemoSession& session, const std::string& parentId);
/// The log, line by line.
std::string log(const DemoSession& session, const std::string& parentId);

}  // namespace ledgerfern::DemoClaude
