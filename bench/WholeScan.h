#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>

namespace ledgerfern::bench {

/// Sums of what a scan has found, to see that it did its work.
struct ScanFigures {
    std::uint64_t sessions = 0;
    std::uint64_t requests = 0;
    std::int64_t tokens = 0;
    std::uint64_t reportBytes = 0;
};

struct WholeScan {
    ScanFigures figures;
    /// Scans once more with the same engine, which reads only what has been appended, and makes a snapshot.
    std::function<void()> again;
    /// Makes a snapshot of what is known, without a look at any file.
    std::function<void()> snapshot;
};

/// All that a cold start of the product does for a tree of logs: an engine without a cache, a scan with
/// `threads` workers, and the text of a report.
WholeScan wholeScan(const std::filesystem::path& tree, unsigned threads);

}  // namespace ledgerfern::bench
