#pragma once

#include <cstdint>
#include <vector>

namespace ledgerfern {

/// The local time zone as it was when this was made.
///
/// For the years 2020 to 2044, which hold every log, its offsets are kept here, so that nothing in the
/// process that makes the C library read the zone anew can move them. For other years the C library is asked.
class LocalZone {
public:
    LocalZone();

    /// Seconds that local time is ahead of UTC; 0 where the C library knows no local time, which is billions
    /// of years away.
    int offsetAt(std::int64_t seconds) const;

    /// The first second after `from`, up to `to`, that has another offset than `from`. `to` must have
    /// another, and there may be but one change between them.
    std::int64_t changeWithin(std::int64_t from, std::int64_t to) const;

private:
    struct Stretch {
        std::int64_t start;
        int offset;
    };

    /// Each with the offset from its start on; the last one only ends the one before.
    std::vector<Stretch> stretches_;
};

}  // namespace ledgerfern
