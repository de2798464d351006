#pragma once

#include <optional>
#include <string>

namespace ledgerfern {

/// How something that the user asked for, and that can fail, has ended.
struct [[nodiscard]] Result {
    /// One sentence for the user that names the thing; absent where all went well.
    std::optional<std::string> error;

    explicit operator bool() const { return !error.has_value(); }
};

}  // namespace ledgerfern
