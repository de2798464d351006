#pragma once

#include <cstdint>
#include <string_view>
#include <unordered_map>

#include "UsageRecords/SessionResult.h"

namespace ledgerfern {

/// Tokens or requests in a scope, by the sessions' paths. The paths are the sessions' own: whoever keeps the
/// counts keeps the sessions too.
using SessionCounts = std::unordered_map<std::string_view, std::int64_t>;

/// The session's count, or `otherwise` where it has none.
inline std::int64_t countOf(const SessionCounts& counts, const SessionResult& session,
                            std::int64_t otherwise = 0) {
    const auto entry = counts.find(session.path);
    return entry == counts.end() ? otherwise : entry->second;
}

}  // namespace ledgerfern
