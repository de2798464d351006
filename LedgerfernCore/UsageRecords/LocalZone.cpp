#include "UsageRecords/LocalZone.h"

#include <time.h>

#include <algorithm>

namespace ledgerfern {

namespace {

constexpr std::int64_t firstKept = 1577836800;  // 2020-01-01
constexpr std::int64_t endOfKept = 2366841600;  // 2045-01-01
constexpr std::int64_t step = 7 * 86400LL;      // no zone changes its offset twice in a week of these years

int libraryOffset(std::int64_t seconds) {
    const time_t time = seconds;
    tm fields{};
    return localtime_r(&time, &fields) == nullptr ? 0 : static_cast<int>(fields.tm_gmtoff);
}

}  // namespace

LocalZone::LocalZone() {
    tzset();
    std::vector<Stretch> stretches = {{firstKept, libraryOffset(firstKept)}};
    for (std::int64_t from = firstKept; from < endOfKept; from += step) {
        const std::int64_t to = std::min(from + step, endOfKept);
        const int offset = libraryOffset(to);
        if (offset != stretches.back().offset) stretches.push_back({changeWithin(from, to), offset});
    }
    stretches.push_back({endOfKept, libraryOffset(endOfKept)});
    stretches_ = std::move(stretches);
}

int LocalZone::offsetAt(std::int64_t seconds) const {
    if (stretches_.empty() || seconds < stretches_.front().start || seconds >= stretches_.back().start)
        return libraryOffset(seconds);
    const auto next =
        std::upper_bound(stretches_.begin(), stretches_.end(), seconds,
                         [](std::int64_t at, const Stretch& stretch) { return at < stretch.start; });
    return std::prev(next)->offset;
}

std::int64_t LocalZone::changeWithin(std::int64_t from, std::int64_t to) const {
    const int offset = offsetAt(from);
    while (to - from > 1) {
        const std::int64_t middle = from + (to - from) / 2;
        (offsetAt(middle) == offset ? from : to) = middle;
    }
    return to;
}

}  // namespace ledgerfern
