#include "Engine/ScanCache.h"

namespace ledgerfern {

void ScanCache::open(unsigned workers) {
    if (store_) return;
    store_.emplace(path_);
    for (auto& [path, row] : store_->loadAll(workers))
        rows_.emplace_hint(rows_.end(), path,
                           Row{row.stamp, row.file.toSessionResult(), row.file.wasUsable, std::nullopt});
    for (std::string& path : store_->paths())
        rows_.try_emplace(std::move(path));
}

bool ScanCache::answersFor(const std::string& path, const FileStat& stat) const {
    const auto found = rows_.find(path);
    if (found == rows_.end() || !found->second.session) return false;
    return found->second.stamp.size == stat.size && found->second.stamp.mtime == stat.mtimeMs;
}

std::optional<ScanCache::Restored> ScanCache::restore(const std::string& path, const FileStat& stat) const {
    if (!answersFor(path, stat)) return std::nullopt;
    const Row& row = rows_.at(path);
    if (!row.writtenAt) return Restored{row.session, row.wasUsable};
    const CachedFile file = CachedFile::of(*row.session, std::nullopt, row.wasUsable, *row.writtenAt);
    return Restored{file.toSessionResult(), row.wasUsable};
}

ScanCache::NewRow ScanCache::rowOf(LiveLog& log, const std::string& path, const FileStat& stat, Instant now) {
    const SessionPointer session = log.result(path);
    const bool wasUsable = log.isUsable();
    const FileStamp stamp{log.bytesConsumed(), stat.size, stat.mtimeMs};
    return {{stamp, session, wasUsable, now},
            encode(CachedFile::of(*session, log.ownSessionID(path), wasUsable, now))};
}

void ScanCache::write(const std::string& path, NewRow row) {
    if (store_ && row.record) store_->upsert(*row.record, row.row.stamp);
    rows_.insert_or_assign(path, std::move(row.row));
}

}  // namespace ledgerfern
