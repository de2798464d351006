#include "Analytics/Snapshot.h"

#include <algorithm>
#include <iterator>

namespace ledgerfern {

SessionList Snapshot::sessionsOf(std::optional<ToolKind> tool) const {
    if (!tool) return sessions;
    SessionList ofTool;
    std::copy_if(sessions.begin(), sessions.end(), std::back_inserter(ofTool),
                 [&](const SessionPointer& session) { return session->tool == *tool; });
    return ofTool;
}

Aggregates Snapshot::aggregatesOf(std::optional<ToolKind> tool) const {
    if (!tool) return aggregates;
    const auto files = filesPerTool.find(*tool);
    return {sessionsOf(tool), files == filesPerTool.end() ? 0 : files->second, aggregates.cycleAnchor};
}

}  // namespace ledgerfern
