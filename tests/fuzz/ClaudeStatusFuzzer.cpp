#include "ClaudeLimits/ClaudeStatus.h"

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "Foundation/Arithmetic.h"
#include "Foundation/Check.h"

namespace {

using namespace ledgerfern;

void checkWindow(const std::optional<RateLimitInfo>& window, std::int64_t minutes) {
    if (!window) return;
    check(window->windowMinutes == minutes && !window->planType, "another window");
    check(window->usedPercent && rounded(*window->usedPercent), "a percentage that can't be shown");
}

/// A window that has reset is empty and resets later; any other stands.
void checkRolled(const std::optional<RateLimitInfo>& before, const std::optional<RateLimitInfo>& after,
                 Instant now) {
    check(before.has_value() == after.has_value(), "a window came or went");
    if (!before) return;
    const bool isOver = before->resetsAt && static_cast<Instant>(*before->resetsAt) <= now;
    if (!isOver) return check(before == after, "a window that hasn't reset is another");
    check(after->usedPercent == 0 && static_cast<Instant>(*after->resetsAt) > now, "a reset went unseen");
    check(static_cast<Instant>(*after->resetsAt) <= now + static_cast<Instant>(*after->windowMinutes) * 60,
          "a boundary was left out");
}

}  // namespace

/// Whatever the status file holds, there is a reading or none; and at any instant it rolls once.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    constexpr Instant told = 1'772'359'320;
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    const auto status = ClaudeStatus::parse(bytes, told);
    if (!status) return 0;
    check(status->observedAt == told && (status->fiveHour || status->sevenDay), "a reading of nothing");
    checkWindow(status->fiveHour, 300);
    checkWindow(status->sevenDay, 10080);
    for (const Instant now : {-62135596800.0, 0.0, 1'772'359'320.5, 1'800'000'000.0, 253402300799.0}) {
        const ClaudeStatus current = status->current(now);
        checkRolled(status->fiveHour, current.fiveHour, now);
        checkRolled(status->sevenDay, current.sevenDay, now);
        check(current.current(now) == current, "a window rolls twice");
    }
    return 0;
}
