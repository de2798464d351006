#pragma once

#include <functional>
#include <optional>
#include <string>

#include "Analytics/PriceTable.h"
#include "Analytics/Snapshot.h"
#include "DumpDerived.h"
#include "DumpRecords.h"

namespace ledgerfern {

/// The id of the session; its path where the snapshot has none.
std::string sessionIdOf(const Snapshot& snapshot, const SessionResult& session);
/// What documents say of a session besides its record.
DumpRecords::SessionText textOf(const Snapshot& snapshot, const PriceTable& prices,
                                const SessionResult& session);

/// What stands in the document in place of a session of the snapshot.
using SessionSource = std::function<SessionPointer(const SessionPointer&)>;

/// What the document derives from the snapshot.
struct DumpDerivations {
    DashboardDerived dashboard;
    std::optional<DumpDerived::ProjectPage> project;  ///< Absent: the document has none.
};

/// Writes the snapshot as one JSON document with a line feed at its end. Keys and their meaning are stable.
///
/// The document grows in `out`. Behind each session, `flush` may take what is there and empty it; where it
/// gives false, the rest isn't written. Costs are by `prices`.
void writeDump(const Snapshot& snapshot, const DumpDerivations& derivations, const PriceTable& prices,
               const SessionSource& source, std::string& out, const std::function<bool()>& flush);

/// The whole document, with the derivation of all time.
std::string dumpText(const Snapshot& snapshot, const PriceTable& prices);

}  // namespace ledgerfern
