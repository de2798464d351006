#pragma once

#include <cstring>
#include <string>
#include <string_view>

/// The byte-level line splitter under both parsers.
namespace ledgerfern::LineScanner {

/// Bytes that a block must have readable behind its end, and that every line given to a consumer has: so a
/// JSON reader may look ahead without a copy. What they hold is of no consequence.
inline constexpr std::size_t padding = 64;

/// Plain search: false for an empty needle.
bool contains(std::string_view haystack, std::string_view needle);

/// Without one carriage return at the end, if there is one.
inline std::string_view withoutCarriageReturn(std::string_view line) {
    if (line.ends_with('\r')) line.remove_suffix(1);
    return line;
}

namespace detail {

inline std::size_t nextLineFeed(std::string_view data, std::size_t from) {
    const void* found =
        from < data.size() ? std::memchr(data.data() + from, '\n', data.size() - from) : nullptr;
    return found ? static_cast<std::size_t>(static_cast<const char*>(found) - data.data())
                 : std::string_view::npos;
}

/// Hands `pending` and what `data` adds to it to `consume` as one line. `pending` is empty by then and keeps
/// its storage, unless `consume` fills it or throws.
template <class Consume>
void consumeJoined(std::string_view data, std::string& pending, Consume&& consume) {
    std::string joined;
    joined.swap(pending);
    joined.append(data);
    const std::size_t length = joined.size();
    joined.append(padding, '\0');
    consume(withoutCarriageReturn(std::string_view(joined).substr(0, length)));
    if (!pending.empty()) return;
    joined.clear();
    pending.swap(joined);
}

}  // namespace detail

/// Cuts a block of bytes into lines. A line ends at a line feed; `consume` gets it as a `std::string_view`
/// without the line feed, and without a carriage return right before it, an empty line as an empty view. The
/// view holds until `consume` returns. `pending` is the unfinished end of the block before, and becomes that
/// of this block; the first line is made of both. A line has no limit on its length.
///
/// What `consume` throws passes through; the rest of the block is lost then. The block must have `padding`
/// readable bytes behind it if `consume` reads behind its line.
template <class Consume>
void scan(std::string_view data, std::string& pending, Consume&& consume) {
    if (data.empty()) return;
    std::size_t start = 0;
    if (!pending.empty()) {
        const std::size_t end = detail::nextLineFeed(data, 0);
        if (end == std::string_view::npos) {
            pending.append(data);
            return;
        }
        detail::consumeJoined(data.substr(0, end), pending, consume);
        start = end + 1;
    }
    for (;;) {
        const std::size_t end = detail::nextLineFeed(data, start);
        if (end == std::string_view::npos) break;
        consume(withoutCarriageReturn(data.substr(start, end - start)));
        start = end + 1;
    }
    pending.append(data.substr(start));
}

}  // namespace ledgerfern::LineScanner
