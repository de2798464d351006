#pragma once

#include <source_location>

namespace ledgerfern {

/// Ends the process with `reason` and the place on standard error. For faults of this program, never for bad
/// input.
[[noreturn]] void fault(const char* reason, std::source_location place = std::source_location::current());

/// A check that is on in release builds too: ends the process by `fault` unless `holds`.
inline void check(bool holds, const char* reason,
                  std::source_location place = std::source_location::current()) {
    if (!holds) [[unlikely]]
        fault(reason, place);
}

}  // namespace ledgerfern
