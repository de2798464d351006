#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>
#include <string_view>

namespace ledgerfern {

/// Takes the first piece off a text whose pieces stand between separators, and what separates it. Empty
/// pieces are dropped; absent where no piece is left.
inline std::optional<std::string_view> takePiece(std::string_view& text, char separator) {
    const std::size_t start = text.find_first_not_of(separator);
    if (start == std::string_view::npos) {
        text = {};
        return std::nullopt;
    }
    const std::size_t end = std::min(text.find(separator, start), text.size());
    const std::string_view piece = text.substr(start, end - start);
    text.remove_prefix(end);
    return piece;
}

/// All pieces of a text, counted; the first `Kept` of them are at hand. Views of the text.
template <std::size_t Kept>
struct Pieces {
    std::array<std::string_view, Kept> kept;
    std::size_t count = 0;

    Pieces(std::string_view text, char separator) {
        while (const auto piece = takePiece(text, separator)) {
            if (count < Kept) kept[count] = *piece;
            ++count;
        }
    }
};

}  // namespace ledgerfern
