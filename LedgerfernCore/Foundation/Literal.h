#pragma once

#include <cstddef>
#include <cstring>
#include <optional>
#include <string_view>

namespace ledgerfern {

/// Whether a text is a literal. The literal's length is known when this is compiled, so a few instructions do
/// where `==` makes a call: lines of logs are told apart by such comparisons, and there are millions of them.
template <std::size_t size>
bool equals(std::string_view text, const char (&literal)[size]) {
    return text.size() == size - 1 && std::memcmp(text.data(), literal, size - 1) == 0;
}
/// An absent text is no literal.
template <std::size_t size>
bool equals(const std::optional<std::string_view>& text, const char (&literal)[size]) {
    return text && equals(*text, literal);
}

}  // namespace ledgerfern
