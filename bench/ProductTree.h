#pragma once

#include <cstddef>
#include <filesystem>

namespace ledgerfern::bench {

/// A tree of logs, and the cache file that belongs to it.
struct ProductTree {
    std::filesystem::path root;
    std::filesystem::path cache;
    unsigned threads = 1;
};

/// The tree of so many logs below `folder`, of both agents, some 300 kB and a hundred requests each, last
/// modified within the last two hundred days. It is written where it isn't there yet, and its cache file
/// isn't made.
ProductTree makeProductTree(const std::filesystem::path& folder, std::size_t files, unsigned threads);

}  // namespace ledgerfern::bench
