#pragma once

#include <functional>

namespace ledgerfern {

/// The present instant in seconds since the Unix epoch. Everything that depends on "now" asks one of these,
/// so that a test or an option can fix it.
using Clock = std::function<double()>;

/// The system's clock.
Clock systemClock();
/// A clock that always says `now`.
Clock fixedClock(double now);

}  // namespace ledgerfern
