#pragma once

#include <cstdint>

#include "ProductTree.h"

namespace ledgerfern::bench {

/// What one run came to. Each runs in a process of its own.
struct ProductRun {
    double seconds = 0;
    std::uint64_t bytesRead = 0;
    std::uint64_t peak = 0;     ///< Resident memory at its highest, in bytes.
    std::uint64_t resting = 0;  ///< Resident memory afterwards.
    std::uint64_t sessions = 0;
    std::uint64_t requests = 0;
};

/// A new engine's first scan with its snapshot.
enum class FirstScan {
    withoutCache,
    writingCache,  ///< There is no cache file before.
    warm,          ///< The cache answers for every file.
    quick,         ///< Without a cache file, of the files of the last week.
};
ProductRun firstScan(const ProductTree& tree, FirstScan kind);

/// What the scans of an engine that knows the whole tree take, and other work on what it knows. In seconds.
struct KnownTreeRun {
    double rescanOfNothing = 0;  ///< Without the snapshot.
    double rescanOfOneLine = 0;  ///< The same.
    double walkAndStat = 0;      ///< On one thread, of the same tree.
    double snapshot = 0;         ///< Assembly and roll-up.
    double rollUp = 0;
    double derivation = 0;   ///< All time, with stacks and insights.
    double addCounters = 0;  ///< A loop that adds the six counters of as many records of 64 bytes.
};
/// Appends a line to one log, and takes it away again.
KnownTreeRun knownTree(const ProductTree& tree, unsigned rounds);

/// Reads all rows of the cache on one thread and touches every byte of their blobs; then walks the tree.
double readRowsAndWalk(const ProductTree& tree);

}  // namespace ledgerfern::bench
