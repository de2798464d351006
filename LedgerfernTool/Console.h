#pragma once

#include <cstddef>
#include <string_view>

#include "Output.h"

namespace ledgerfern {

/// Exit statuses of the program.
namespace ExitStatus {
inline constexpr int ok = 0;
inline constexpr int failed = 1;    ///< What was asked for can't be done.
inline constexpr int badUsage = 2;  ///< It was asked for in a way that isn't understood.
}  // namespace ExitStatus

/// What a command runs against.
struct Console {
    Output& out;
    Output& err;
    bool noColor = false;  ///< The environment asks for none.

    /// Columns that a text for people may take.
    std::size_t width() const;
    /// Writes a result and gives the status to end with. A reader that went away is no failure.
    int print(std::string_view text);
    /// The status to end with after the last of several writings.
    int end(const Written& written);
    /// One line on standard error that something isn't as it was asked for. Bytes that a terminal would obey
    /// are taken out.
    void warn(std::string_view sentence);
    /// The same for what ends the program; gives `status`.
    int fail(int status, std::string_view sentence);
};

}  // namespace ledgerfern
