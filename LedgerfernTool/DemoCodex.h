#pragma once

#include <string>
#include <vector>

#include "DemoPlan.h"

/// The logs of OpenAI's Codex.
namespace ledgerfern::DemoCodex {

/// Where the session's log lies, below the home folder.
std::string path(const DemoSession& session);
/// The log, line by line. `parentId` is that of the session that started this one, empty without one.
std::string log(const DemoSession& session, const std::string& parentId);
/// The names that Codex has given to its threads.
std::string threadNames(const std::vector<DemoSession>& sessions);

}  // namespace ledgerfern::DemoCodex
