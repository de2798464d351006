#pragma once

#include <string>
#include <string_view>

namespace ledgerfern {

/// A text within a sentence for the user.
inline std::string inQuotes(std::string_view text) {
    return "“" + std::string(text) + "”";
}

}  // namespace ledgerfern
