#pragma once

#include <map>
#include <string>

#include "Analytics/SessionCounts.h"
#include "UsageRecords/SessionResult.h"

/// The sessions of a scope as whole documents, for spreadsheets and scripts. Both are UTF-8; where a name of
/// the logs isn't, each bad byte is U+FFFD. `ids` and `names` are those of `SessionNaming::displayName`. Any
/// thread may call both functions.
namespace ledgerfern {

namespace CSVExport {

inline constexpr const char* defaultFileName = "ledgerfern-sessions.csv";

/// One line a session, the latest first, below a line of headings. The numbers are whole sessions', except
/// the requests, which are those of `rowReqs`, or all where it lacks the session. `rowTokens` isn't used.
///
/// The times are local, as `fmtLocalTime` writes them, in the zone that `TSDate` keeps for the life of the
/// process; one that is absent, or outside the years 1 to 9999, is empty.
std::string sessionsCSV(const SessionList& rows, const SessionCounts& rowTokens, const SessionCounts& rowReqs,
                        const std::map<std::string, std::string>& ids,
                        const std::map<std::string, std::string>& names);

}  // namespace CSVExport

namespace JSONExport {

inline constexpr const char* defaultFileName = "ledgerfern-export.json";

/// One object a session, in the order of the rows, with whole sessions' numbers. `allTime` is noted down as
/// it stands, and `now` as the instant of the export. No line feed at the end.
std::string sessionsJSON(const SessionList& rows, bool allTime, const std::map<std::string, std::string>& ids,
                         const std::map<std::string, std::string>& names, Instant now);

}  // namespace JSONExport

}  // namespace ledgerfern
