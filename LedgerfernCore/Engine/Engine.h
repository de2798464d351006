#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "Analytics/Snapshot.h"
#include "Engine/LiveLog.h"
#include "Engine/ScanCache.h"
#include "Engine/ToolRoot.h"
#include "Foundation/Clock.h"
#include "Foundation/FileStat.h"
#include "Foundation/SerialQueue.h"
#include "Parsing/ReadScratch.h"

namespace ledgerfern {

/// What a scan is to do. Instants are seconds since the Unix epoch, compared with modification times,
/// strictly.
struct ScanOptions {
    /// Treat every file as finished: end it at its present end, an unfinished last line included.
    bool finishFiles = false;
    /// Take what hasn't changed since from the file cache, and write there what is read for the first time.
    bool useCache = false;
    /// Files last modified before this are taken only if the cache answers for them, and are otherwise left
    /// out, uncounted.
    std::optional<Instant> quickCutoff;
    /// Files last modified before this are left out and counted in `skippedOldFiles`.
    std::optional<Instant> skipFilesModifiedBefore;
    /// Codex requests before this are counted, but their tokens aren't attributed. For files read for the
    /// first time.
    std::optional<Instant> attribCutoff;
};

/// The one object through which numbers are got: finds every session log below its roots, keeps a parser
/// state for each in memory, so that a later scan reads only what was appended, restores from the file cache
/// what hasn't changed since an earlier run, and publishes whole snapshots.
///
/// Every operation but `skippedOldFiles` blocks its caller until it is through: they run one at a time, in
/// the order in which they were asked for, from whatever threads. Nothing here fails: what can't be read is
/// absent.
class Engine {
public:
    /// `workers` is the number of threads that read new files, 0 for one each processor. `cachePath` is the
    /// file cache's; absent, it lies in the support directory. `cacheClock` tells when a row's record is
    /// built, on those threads; absent, `clock` does. Touches no file.
    explicit Engine(std::vector<ToolRoot> roots = ToolRoot::defaults(), Clock clock = systemClock(),
                    unsigned workers = 0, std::optional<std::string> cachePath = std::nullopt,
                    const std::optional<Clock>& cacheClock = std::nullopt);

    Snapshot rescan(const ScanOptions& options = {});
    /// A snapshot of what is known, without a look at any file.
    Snapshot currentSnapshot();
    /// The complete record of one session, with the open request and the unfinished last line that a snapshot
    /// lacks. Absent for a path that the latest scan didn't find.
    std::optional<SessionResult> fullResult(const std::string& path);
    /// How many files the latest scan left out by `skipFilesModifiedBefore`. Any thread, at once.
    std::int64_t skippedOldFiles() const { return skippedOldFiles_; }

private:
    struct DiscoveredFile {
        std::string path;
        ToolKind kind;
        FileStat stat;
    };
    using LivePointer = std::unique_ptr<LiveLog>;
    using LiveFiles = std::map<std::string, LivePointer>;  // by path
    using FileIndices = std::vector<std::size_t>;
    using FileCounts = std::map<ToolKind, std::int64_t>;
    /// What became of a file without a state.
    struct ColdOutcome {
        std::optional<ScanCache::Restored> restored;  ///< Absent: it was read.
        LivePointer live;
        std::optional<ScanCache::NewRow> row;  ///< To be written.
    };

    // The scan: Engine.cpp. Everything below runs on the queue.
    std::vector<DiscoveredFile> discoverFiles() const;
    void loadThreadNamesOnce();
    class Presence;
    void forgetVanished(const std::vector<DiscoveredFile>& files);
    void removeVanishedRows(const std::vector<DiscoveredFile>& files);
    FileIndices warmPass(const std::vector<DiscoveredFile>& files, const ScanOptions& options);
    void refresh(const DiscoveredFile& file, LivePointer& live, const ScanOptions& options);
    FileIndices select(const std::vector<DiscoveredFile>& files, FileIndices cold,
                       const ScanOptions& options);
    FileCounts takeCold(const std::vector<DiscoveredFile>& files, const FileIndices& kept,
                        const ScanOptions& options);
    static std::size_t portionOf(const std::vector<DiscoveredFile>& files, std::span<const std::size_t> rest);
    std::vector<ColdOutcome> coldOutcomes(const std::vector<DiscoveredFile>& files,
                                          std::span<const std::size_t> kept,
                                          const ScanOptions& options) const;
    ColdOutcome readCold(const DiscoveredFile& file, const ScanOptions& options,
                         std::unique_ptr<ReadScratch>& scratch) const;
    void merge(const DiscoveredFile& file, ColdOutcome outcome);
    void countRest(const std::vector<std::string>& seen, FileCounts& filesPerTool) const;
    std::optional<ToolKind> kindForPath(std::string_view path) const;

    // The snapshot: SnapshotAssembly.cpp
    Snapshot buildSnapshot(FileCounts filesPerTool);
    void publishSessions(Snapshot& snapshot);

    const std::vector<ToolRoot> roots_;  // longest path first, so that the deepest root has the first say
    const Clock clock_, cacheClock_;
    const unsigned workers_;
    SerialQueue queue_{"ledgerfern.engine"};
    std::map<ToolKind, LiveFiles> live_;              // of every kind, Codex first
    std::map<std::string, SessionPointer> restored_;  // from the cache, of files without a live state
    ScanCache cache_;
    std::vector<std::string> knownFiles_;  // what the previous scan found, sorted, each path once
    std::map<std::string, std::string> threadNames_;
    std::unique_ptr<ReadScratch> warmScratch_;
    std::atomic<std::int64_t> skippedOldFiles_{0};
};

}  // namespace ledgerfern
