#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <vector>

namespace ledgerfern::bench {

enum class Agent { codex, claude };

/// Both agents' logs, half of the bytes each, where `agent` is absent.
struct TreeShape {
    std::optional<Agent> agent;
    std::uint64_t bytes = 0;
    std::size_t files = 0;
    std::uint64_t seed = 1;
    double textScale = 1;  ///< Of the texts' lengths; less makes more requests of the same bytes.
};

struct LogFile {
    std::filesystem::path path;
    Agent agent;
};

/// Where the agent's logs lie in a tree.
std::filesystem::path rootOf(const std::filesystem::path& tree, Agent agent);

/// Writes logs as the agents do, below their roots: the kinds of records, their order, their shares of the
/// bytes and the lengths of lines follow those of real logs, the content is invented. The sizes of the files
/// are log-normal. The same shape gives the same bytes. About the size asked for: each file ends with a whole
/// line.
void writeTree(const std::filesystem::path& tree, const TreeShape& shape);

/// All logs of the tree, by agent and path.
std::vector<LogFile> treeFiles(const std::filesystem::path& tree);

}  // namespace ledgerfern::bench
