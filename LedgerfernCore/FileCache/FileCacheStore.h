#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "FileCache/CachedFile.h"
#include "FileCache/CachedRows.h"
#include "Foundation/Sqlite.h"

namespace ledgerfern {

/// A row of the cache, decoded.
struct CachedRow {
    CachedFile file;
    FileStamp stamp;
};

/// The finished results of parsed logs, kept across runs of the program: one row a file in an SQLite
/// database.
///
/// Nothing of it is essential, so nothing of it fails: where the database can't be opened, a statement can't
/// be run or a row can't be read, there is that much less in the cache. Several processes may use one
/// database, which has a write-ahead log for it: readers see whole rows, and nobody waits long for another; a
/// row that another process keeps from being written for a second isn't written.
///
/// One thread at a time uses a store; what `loadAll` and `encode` do on others is their own affair.
class FileCacheStore {
public:
    /// Opens the database, "filecache.sqlite" in the support directory unless a path is given; makes it, its
    /// folder and its table where they are missing.
    explicit FileCacheStore(const std::optional<std::string>& path = std::nullopt);

    const std::string& path() const { return path_; }
    /// False where the database couldn't be opened: then there is nothing in the store, and nothing is done.
    bool isOpen() const { return db_.has_value(); }

    /// All rows of the present version that can be read, by path. Decoded by so many threads, 0 for one each
    /// processor.
    std::map<std::string, CachedRow> loadAll(std::size_t workers = 0);
    /// The paths of all rows, those included that can't be read or are of an earlier version.
    std::vector<std::string> paths();
    /// Writes one row, which stands from then on, or replaces the file's row. Not written is a record that
    /// can't be encoded, and one with a number of 2^63 or more in its stamp.
    void upsert(const CachedFile& file, const FileStamp& stamp);
    void upsert(const EncodedFile& file, const FileStamp& stamp);
    void remove(const std::vector<std::string>& paths);
    /// Closes the database, and brings what its log holds into its file unless another process has it open.
    /// A store that goes closes it too.
    void close();

private:
    bool noteLock(bool succeeded);
    bool prepareUpsert();

    std::string path_;
    std::optional<SqliteDatabase> db_;
    std::optional<SqliteStatement> upsert_;
};

}  // namespace ledgerfern
