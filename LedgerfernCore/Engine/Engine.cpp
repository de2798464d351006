#include "Engine/Engine.h"

#include <algorithm>

#include "Engine/ThreadNames.h"
#include "Foundation/DirectoryWalk.h"
#include "Foundation/Memory.h"
#include "Foundation/ParallelFor.h"
#include "Foundation/Paths.h"
#include "Foundation/UnicodeText.h"

namespace ledgerfern {

namespace {

std::vector<ToolRoot> longestFirst(std::vector<ToolRoot> roots) {
    std::stable_sort(roots.begin(), roots.end(), [](const ToolRoot& a, const ToolRoot& b) {
        return characterCount(a.path) > characterCount(b.path);
    });
    return roots;
}

bool isBelow(std::string_view path, std::string_view root) {
    if (!path.starts_with(root)) return false;
    return path.size() == root.size() || path[root.size()] == '/' || root == "/";
}

/// The entry of `map` under `path`, looked for from `place` on. `place` only moves forward: for paths in
/// ascending order, all look-ups together cost one walk through the map.
template <class Map>
typename Map::iterator findForward(Map& map, typename Map::iterator& place, const std::string& path) {
    while (place != map.end() && place->first < path)
        ++place;
    return place != map.end() && place->first == path ? place : map.end();
}

}  // namespace

/// Tells of paths in ascending order whether they are among the files.
class Engine::Presence {
public:
    explicit Presence(const std::vector<DiscoveredFile>& files) : files_(files) {}
    bool operator()(const std::string& path) {
        while (place_ < files_.size() && files_[place_].path < path)
            ++place_;
        return place_ < files_.size() && files_[place_].path == path;
    }

private:
    const std::vector<DiscoveredFile>& files_;
    std::size_t place_ = 0;
};

Engine::Engine(std::vector<ToolRoot> roots, Clock clock, unsigned workers,
               std::optional<std::string> cachePath, const std::optional<Clock>& cacheClock)
    : roots_(longestFirst(std::move(roots))),
      clock_(std::move(clock)),
      cacheClock_(cacheClock.value_or(clock_)),
      workers_(workers),
      cache_(std::move(cachePath)) {
    for (const ToolKind kind : {ToolKind::codex, ToolKind::claudeCode})
        live_[kind];
}

Snapshot Engine::rescan(const ScanOptions& options) {
    return queue_.sync([&] {
        if (options.useCache) cache_.open(workers_);
        skippedOldFiles_ = 0;
        const auto files = discoverFiles();
        loadThreadNamesOnce();
        forgetVanished(files);
        const auto cold = warmPass(files, options);
        const auto kept = select(files, cold, options);
        if (options.useCache) removeVanishedRows(files);
        auto filesPerTool = takeCold(files, kept, options);
        knownFiles_.clear();
        for (const auto& file : files)
            if (knownFiles_.empty() || knownFiles_.back() != file.path) knownFiles_.push_back(file.path);
        return buildSnapshot(std::move(filesPerTool));
    });
}

std::vector<Engine::DiscoveredFile> Engine::discoverFiles() const {
    std::vector<DiscoveredFile> files;
    for (const ToolRoot& root : roots_)
        for (auto& walked : walkLogFiles(root.path))
            files.push_back({std::move(walked.path), root.kind, walked.stat.value_or(FileStat{})});
    std::stable_sort(files.begin(), files.end(),
                     [](const DiscoveredFile& a, const DiscoveredFile& b) { return a.path < b.path; });
    return files;
}

/// Once a name has been found the names stay as they are; until then every scan tries again.
void Engine::loadThreadNamesOnce() {
    if (!threadNames_.empty()) return;
    const auto root = std::find_if(roots_.begin(), roots_.end(),
                                   [](const ToolRoot& r) { return r.kind == ToolKind::codex; });
    if (root != roots_.end()) threadNames_ = loadThreadNames(std::string(parentPath(root->path)));
}

void Engine::forgetVanished(const std::vector<DiscoveredFile>& files) {
    const auto forget = [&](auto& logs) {
        std::erase_if(
            logs, [isThere = Presence(files)](const auto& entry) mutable { return !isThere(entry.first); });
    };
    for (auto& [kind, logs] : live_)
        forget(logs);
    forget(restored_);
}

void Engine::removeVanishedRows(const std::vector<DiscoveredFile>& files) {
    cache_.removeUnless(Presence(files));
}

/// Brings every file that has a state up to date; gives the others.
Engine::FileIndices Engine::warmPass(const std::vector<DiscoveredFile>& files, const ScanOptions& options) {
    FileIndices cold;
    std::map<ToolKind, LiveFiles::iterator> places;
    for (auto& [kind, logs] : live_)
        places[kind] = logs.begin();
    for (std::size_t i = 0; i < files.size(); ++i) {
        LiveFiles& logs = live_[files[i].kind];
        const auto live = findForward(logs, places[files[i].kind], files[i].path);
        if (live == logs.end())
            cold.push_back(i);
        else
            refresh(files[i], live->second, options);
    }
    warmScratch_.reset();
    return cold;
}

/// A file that got shorter was truncated or replaced, and is read anew, even where it seems to be empty: its
/// size is 0 too where that isn't known. There is no other test for a changed file: one that was replaced by
/// a longer one is taken for a grown one.
void Engine::refresh(const DiscoveredFile& file, LivePointer& live, const ScanOptions& options) {
    const bool isShorter = file.stat.size < live->bytesConsumed();
    if (isShorter) live = makeLiveLog(file.kind);
    if (isShorter || file.stat.size != live->bytesConsumed()) {
        if (!warmScratch_) warmScratch_ = std::make_unique<ReadScratch>();
        live->read(file.path, *warmScratch_);
    }
    if (options.finishFiles) live->finish();
}

Engine::FileIndices Engine::select(const std::vector<DiscoveredFile>& files, FileIndices cold,
                                   const ScanOptions& options) {
    const auto isBefore = [&](std::size_t index, const std::optional<Instant>& instant) {
        return instant && static_cast<double>(files[index].stat.mtimeMs) / 1000.0 < *instant;
    };
    std::erase_if(cold, [&](std::size_t index) {
        if (isBefore(index, options.skipFilesModifiedBefore)) {
            ++skippedOldFiles_;
            return true;
        }
        if (!isBefore(index, options.quickCutoff)) return false;
        return !options.useCache || !cache_.answersFor(files[index].path, files[index].stat);
    });
    return cold;
}

/// Takes over the files that have no state, and counts all: those taken now, and those that the previous scan
/// knew. So many at a time that what is to be written doesn't pile up in memory.
Engine::FileCounts Engine::takeCold(const std::vector<DiscoveredFile>& files, const FileIndices& kept,
                                    const ScanOptions& options) {
    FileCounts filesPerTool;
    std::vector<std::string> seen;
    bool hasRead = false;
    for (std::span<const std::size_t> rest = kept; !rest.empty();) {
        const auto some = rest.first(portionOf(files, rest));
        rest = rest.subspan(some.size());
        std::vector<ColdOutcome> outcomes = coldOutcomes(files, some, options);
        for (std::size_t i = 0; i < some.size(); ++i) {
            const DiscoveredFile& file = files[some[i]];
            seen.push_back(file.path);
            ++filesPerTool[file.kind];
            hasRead = hasRead || !outcomes[i].restored;
            merge(file, std::move(outcomes[i]));
        }
    }
    if (hasRead) releaseFreeMemory();
    countRest(seen, filesPerTool);
    return filesPerTool;
}

/// How many files to take at once. One that two roots have found isn't torn apart, lest the row that the one
/// has just written answered for the other.
std::size_t Engine::portionOf(const std::vector<DiscoveredFile>& files, std::span<const std::size_t> rest) {
    constexpr std::size_t filesAtOnce = 1024;
    std::size_t count = std::min(filesAtOnce, rest.size());
    while (count < rest.size() && files[rest[count]].path == files[rest[count - 1]].path)
        ++count;
    return count;
}

/// Restores what the cache answers for, and reads the rest in parallel: the only work that grows with
/// history. The largest go first, so that no worker is left alone with one of them at the end.
std::vector<Engine::ColdOutcome> Engine::coldOutcomes(const std::vector<DiscoveredFile>& files,
                                                      std::span<const std::size_t> kept,
                                                      const ScanOptions& options) const {
    const auto fileOf = [&](std::size_t i) -> const DiscoveredFile& { return files[kept[i]]; };
    std::vector<ColdOutcome> outcomes(kept.size());
    std::vector<std::size_t> unread;
    for (std::size_t i = 0; i < kept.size(); ++i) {
        if (options.useCache) outcomes[i].restored = cache_.restore(fileOf(i).path, fileOf(i).stat);
        if (!outcomes[i].restored) unread.push_back(i);
    }
    std::stable_sort(unread.begin(), unread.end(),
                     [&](std::size_t a, std::size_t b) { return fileOf(a).stat.size > fileOf(b).stat.size; });
    std::vector<std::unique_ptr<ReadScratch>> scratches(workerCount(unread.size(), workers_));
    parallelFor(unread.size(), workers_, [&](std::size_t i, std::size_t worker) {
        outcomes[unread[i]] = readCold(fileOf(unread[i]), options, scratches[worker]);
    });
    return outcomes;
}

/// A file that can't be opened has a fresh state and an empty row, and is tried again by the next scan. One
/// that opened and didn't give all its bytes has no row, lest that answered for what wasn't read.
Engine::ColdOutcome Engine::readCold(const DiscoveredFile& file, const ScanOptions& options,
                                     std::unique_ptr<ReadScratch>& scratch) const {
    if (!scratch) scratch = std::make_unique<ReadScratch>();
    ColdOutcome outcome{std::nullopt, makeLiveLog(file.kind, options.attribCutoff), std::nullopt};
    const bool isOpened = outcome.live->read(file.path, *scratch);
    if (options.finishFiles) outcome.live->finish();
    outcome.live->giveBackRoom();
    static_cast<void>(outcome.live->session(file.path));  // made here, where others are at work too
    const bool isWhole = !isOpened || outcome.live->bytesConsumed() >= file.stat.size;
    if (options.useCache && isWhole)
        outcome.row = ScanCache::rowOf(*outcome.live, file.path, file.stat, cacheClock_());
    return outcome;
}

void Engine::merge(const DiscoveredFile& file, ColdOutcome outcome) {
    if (outcome.restored) {
        if (outcome.restored->wasUsable) restored_[file.path] = std::move(outcome.restored->session);
        return;
    }
    restored_.erase(file.path);
    live_[file.kind].insert_or_assign(file.path, std::move(outcome.live));
    if (outcome.row) cache_.write(file.path, std::move(*outcome.row));
}

/// Counts what the previous scan found and this one didn't read, by the root that it lies in. So a file that
/// has just vanished counts once more.
void Engine::countRest(const std::vector<std::string>& seen, FileCounts& filesPerTool) const {
    auto place = seen.begin();
    for (const std::string& path : knownFiles_) {
        while (place != seen.end() && *place < path)
            ++place;
        if (place != seen.end() && *place == path) continue;
        if (const auto kind = kindForPath(path)) ++filesPerTool[*kind];
    }
}

std::optional<ToolKind> Engine::kindForPath(std::string_view path) const {
    for (const ToolRoot& root : roots_)
        if (isBelow(path, root.path)) return root.kind;
    return std::nullopt;
}

}  // namespace ledgerfern
