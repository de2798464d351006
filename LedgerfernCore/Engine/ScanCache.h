#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "Engine/LiveLog.h"
#include "FileCache/FileCacheStore.h"
#include "Foundation/FileStat.h"

namespace ledgerfern {

/// The file cache as scans see it: its rows are read once, and kept in step with what is written.
///
/// What is `const` may be asked for by several threads at once.
class ScanCache {
public:
    /// What a row says of its file.
    struct Restored {
        SessionPointer session;  ///< Never null.
        bool wasUsable = false;  ///< Whether the session is to be published.
    };
    /// A row that is to be written.
    struct NewRow;

    /// In the support directory where no path is given. Opens nothing.
    explicit ScanCache(std::optional<std::string> path) : path_(std::move(path)) {}

    /// Opens the database and reads its rows, with so many threads, 0 for one each processor. Once open, does
    /// nothing.
    void open(unsigned workers);

    /// Whether a row is of the file as it is now.
    bool answersFor(const std::string& path, const FileStat& stat) const;
    /// Absent where no row is.
    std::optional<Restored> restore(const std::string& path, const FileStat& stat) const;
    /// The row of a file that has just been read. A request without a time gets `now`.
    static NewRow rowOf(LiveLog& log, const std::string& path, const FileStat& stat, Instant now);

    void write(const std::string& path, NewRow row);
    /// Takes the rows of all other files out of the database. `isThere` is asked with paths in
    /// ascending order.
    template <class IsThere>
    void removeUnless(IsThere isThere) {
        std::vector<std::string> gone;
        for (const auto& [path, row] : rows_)
            if (!isThere(path)) gone.push_back(path);
        if (store_) store_->remove(gone);
    }

private:
    /// A row that has been written in this run holds the session as it was parsed, and is brought into its
    /// restored form when that is asked for. The live state shares that session's requests until its file
    /// grows; from then on the row alone holds them, as only it knows what the file was.
    struct Row {
        FileStamp stamp;
        SessionPointer session;  ///< Null where the row can't be read: it answers for no file.
        bool wasUsable = false;
        std::optional<Instant> writtenAt;  ///< Present: the session is as it was parsed.
    };

    const std::optional<std::string> path_;
    std::optional<FileCacheStore> store_;
    std::map<std::string, Row> rows_;  // by path
};

struct ScanCache::NewRow {
    Row row;
    std::optional<EncodedFile> record;  ///< Absent where it can't be written.
};

}  // namespace ledgerfern
