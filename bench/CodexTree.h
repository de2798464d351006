#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <vector>

namespace ledgerfern::bench {

struct TreeShape {
    std::uint64_t bytes = 0;
    std::size_t files = 0;
    std::uint64_t seed = 1;
};

/// Writes rollout files as Codex does, below `root`/YYYY/MM/DD: the kinds of records, their order, their
/// shares of the bytes and the lengths of lines follow those of real logs, the content is invented. The sizes
/// of the files are log-normal. The same shape gives the same bytes. About the size asked for: each file ends
/// with a whole line.
void writeCodexTree(const std::filesystem::path& root, const TreeShape& shape);

/// All files of the tree, by path.
std::vector<std::filesystem::path> treeFiles(const std::filesystem::path& root);

}  // namespace ledgerfern::bench
