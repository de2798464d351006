#pragma once

#include <cstdint>
#include <string_view>

namespace ledgerfern {

/// UTF-16 code units of valid UTF-8 text.
std::int64_t utf16Size(std::string_view text);

/// UTF-16 code units of the text between the quotes of a JSON string, with only those characters escaped that
/// must be.
std::int64_t escapedUtf16Size(std::string_view text);

}  // namespace ledgerfern
