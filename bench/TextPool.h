#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "Random.h"

namespace ledgerfern::bench {

/// Text as it stands inside a JSON string, made once, from which any length can be had quickly.
class TextPool {
public:
    /// Source code and terminal output: quotes, backslashes, line feeds, some characters beyond ASCII.
    static TextPool code(Random random);
    /// Sentences.
    static TextPool prose(Random random);
    /// What encrypted content looks like.
    static TextPool base64(Random random);

    /// About `length` bytes from a random place on, in whole pieces, at least one.
    std::string_view take(Random& random, std::size_t length) const;

private:
    void add(std::string_view piece);

    std::string text_;
    std::vector<std::size_t> starts_;  // of the pieces; they may be cut between, not within
};

}  // namespace ledgerfern::bench
