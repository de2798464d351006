#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "LogTree.h"

namespace ledgerfern::bench {

/// What the reference has seen, so that its work can be checked and isn't optimised away.
struct ReferenceCounts {
    std::uint64_t bytes = 0;
    std::uint64_t lines = 0;
    std::uint64_t parsed = 0;
    std::uint64_t refused = 0;
    std::uint64_t types = 0;    ///< Bytes of the parsed lines' "type" values.
    std::uint64_t weighed = 0;  ///< Characters of all keys and texts, where they are weighed.

    ReferenceCounts& operator+=(const ReferenceCounts& other);
};

/// What the reference does with the lines that it has parsed.
enum class Lines {
    parsed,   ///< Nothing more.
    weighed,  ///< Goes through all values once, and counts the characters of every key and text.
};

/// The least that any scanner of these files has to do, done well: reads every byte once, in blocks of 4 MiB,
/// finds the lines and which of them hold a marker of a record that matters, and parses those once.
/// Independent of the product's own scanner. The time of a whole scan is given as a multiple of this.
///
/// With the lines weighed, it is the least that can share a request's tokens out by the sizes of what it is
/// made of: it tells how much of a scan's time no scanner with that purpose can save.
ReferenceCounts runReference(const std::vector<LogFile>& files, unsigned threads,
                             Lines lines = Lines::parsed);

/// The end of the first marker of the agent's logs that starts in the text, such as `"token_count"`; `npos`
/// where there is none.
std::size_t firstMarkerEnd(std::string_view text, Agent agent);

}  // namespace ledgerfern::bench
