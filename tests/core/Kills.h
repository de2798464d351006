#pragma once

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <random>

#include "Foundation/Numbers.h"

namespace ledgerfern {

/// How many processes a test is to kill.
inline int kills() {
    const char* const wanted = std::getenv("LEDGERFERN_KILLS");
    return wanted == nullptr ? 20 : static_cast<int>(readInteger(wanted).value_or(20));
}

/// Takes some moment, of up to so many turns.
inline void spin(std::mt19937& random, std::size_t mostTurns) {
    std::atomic<std::size_t> turns = random() % mostTurns;
    while (turns > 0)
        --turns;
}

}  // namespace ledgerfern
