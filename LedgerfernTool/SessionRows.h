#pragma once

#include <string>
#include <vector>

#include "JsonDocument.h"
#include "Table.h"

/// Sessions of a scope, one line each.
namespace ledgerfern {

struct SessionRow {
    SessionPointer session;
    std::string name;
    UsageRow usage;  ///< What of it is in scope.
};

/// The sessions of `rows` with their usage in `summary`, which must be of the same sessions.
std::vector<SessionRow> sessionRows(const ScopedScan& scoped, const SessionList& rows,
                                    const UsageSummary& summary);

/// Sorts best first; names ascend as bytes. Equal ones stay in order by tokens, otherwise they are put in
/// order of their paths. What has no price or no time comes last.
void sortRows(std::vector<SessionRow>& rows, SessionOrder order);

/// Of more than `shown`, one line at the end tells how many more there are. Times are told without the year
/// where all are of the present one. The id is the end of the log's name, which `findSession` understands.
Table sessionTable(const std::vector<SessionRow>& rows, std::size_t shown, bool hasProjects, Instant now);

/// An array of the rows.
std::function<void(JsonWriter&)> jsonSessions(const ScopedScan& scoped, std::vector<SessionRow> rows);

}  // namespace ledgerfern
