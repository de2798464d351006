#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>

namespace ledgerfern {

/// What cache-break tracking leaves behind for a session.
struct SessionInsights {
    std::int64_t cacheBreaks = 0;  ///< Breaks that cost a rebuild; compactions don't count.
    std::map<std::string, std::int64_t>
        breakReasons;                          ///< Every detected break by reason, compactions included.
    std::int64_t rebuiltTokens = 0;            ///< Input that had to be re-sent uncached at those breaks.
    std::optional<std::int64_t> startupInput;  ///< Input of the first observed request of the session.
    std::int64_t peakInput = 0;                ///< Largest input of any observed request.

    bool operator==(const SessionInsights&) const = default;
};

}  // namespace ledgerfern
