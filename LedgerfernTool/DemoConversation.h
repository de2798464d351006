#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "DemoRandom.h"
#include "DemoTime.h"

namespace ledgerfern {

/// How a conversation goes. Sizes are in tokens.
struct DemoPace {
    std::int64_t requests = 30;
    std::int64_t startup = 15'000;       ///< The first prompt.
    std::int64_t growth = 600;           ///< What a request adds to the prompt, about.
    std::int64_t compactedAt = 165'000;  ///< A prompt past this is cut down.
    std::int64_t cachePercent = 100;     ///< How much of the previous prompt the cache still has, as a rule.
    std::int64_t mostOutput = 900;
    std::size_t models = 1;  ///< The user changes between so many.
    bool hasUser = true;     ///< Somebody speaks in between, with pauses; otherwise it runs through.
};

/// One request, and where it stands in its conversation.
struct DemoRequest {
    DemoTime::Milliseconds at = 0;
    std::size_t model = 0;
    std::int64_t input = 0;   ///< The whole prompt.
    std::int64_t cached = 0;  ///< Of it, what the cache had.
    std::int64_t output = 0;
    std::int64_t reasoning = 0;    ///< Of the output.
    bool opensTurn = false;        ///< The user has spoken just before.
    bool closesTurn = false;       ///< The agent has nothing more to do.
    bool compacted = false;        ///< The prompt was cut down just before.
    std::int64_t usedPercent = 0;  ///< Of the weekly limit, behind it.
    std::int64_t resetsAt = 0;     ///< Of the weekly limit, in seconds since the epoch.
};

/// The requests of one conversation that starts at 0.
std::vector<DemoRequest> converse(const DemoPace& pace, DemoRandom& random);

}  // namespace ledgerfern
