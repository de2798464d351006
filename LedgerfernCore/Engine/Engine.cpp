#include "Engine/Engine.h"

#include <algorithm>
#include <numeric>

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

Engine::Engine(std::vector<ToolRoot> roots, Clock clock, unsigned workers)
    : roots_(longestFirst(std::move(roots))), clock_(std::move(clock)), workers_(workers) {
    for (const ToolKind kind : {ToolKind::codex, ToolKind::claudeCode})
        live_[kind];
}

Snapshot Engine::rescan(const ScanOptions& options) {
    return queue_.sync([&] {
        skippedOldFiles_ = 0;
        const auto files = discoverFiles();
        loadThreadNamesOnce();
        forgetVanished(files);
        const auto cold = warmPass(files, options);
        const auto kept = select(files, cold, options);
        auto filesPerTool = merge(files, kept, readCold(files, kept, options));
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
    for (auto& [kind, logs] : live_) {
        auto file = files.begin();
        std::erase_if(logs, [&](const auto& entry) {
            while (file != files.end() && file->path < entry.first)
                ++file;
            return file == files.end() || file->path != entry.first;
        });
    }
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
        return isBefore(index, options.quickCutoff);
    });
    return cold;
}

/// Reads files from their first byte, in parallel: the only work that grows with history. The largest go
/// first, so that no worker is left alone with one of them at the end.
std::vector<Engine::LivePointer> Engine::readCold(const std::vector<DiscoveredFile>& files,
                                                  const FileIndices& kept, const ScanOptions& options) {
    std::vector<LivePointer> outcomes(kept.size());
    if (kept.empty()) return outcomes;
    std::vector<std::size_t> order(kept.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::stable_sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) {
        return files[kept[a]].stat.size > files[kept[b]].stat.size;
    });
    {
        std::vector<std::unique_ptr<ReadScratch>> scratches(workerCount(kept.size(), workers_));
        parallelFor(kept.size(), workers_, [&](std::size_t i, std::size_t worker) {
            const DiscoveredFile& file = files[kept[order[i]]];
            if (!scratches[worker]) scratches[worker] = std::make_unique<ReadScratch>();
            LivePointer& live = outcomes[order[i]];
            live = makeLiveLog(file.kind, options.attribCutoff);
            // A file that can't be opened has a fresh state, and is tried again by the next scan.
            live->read(file.path, *scratches[worker]);
            if (options.finishFiles) live->finish();
            live->giveBackRoom();
        });
    }
    releaseFreeMemory();
    return outcomes;
}

/// Takes over what was read, and counts the files: those read now, and those that the previous scan knew.
Engine::FileCounts Engine::merge(const std::vector<DiscoveredFile>& files, const FileIndices& kept,
                                 std::vector<LivePointer> outcomes) {
    FileCounts filesPerTool;
    std::vector<std::string> seen;
    for (std::size_t i = 0; i < kept.size(); ++i) {
        const DiscoveredFile& file = files[kept[i]];
        seen.push_back(file.path);
        ++filesPerTool[file.kind];
        live_[file.kind].insert_or_assign(file.path, std::move(outcomes[i]));
    }
    countRest(seen, filesPerTool);
    return filesPerTool;
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
