#include "FileCache/FileCacheStore.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <limits>
#include <system_error>

#include "Foundation/Locations.h"
#include "Foundation/ParallelFor.h"

namespace ledgerfern {

namespace {

namespace fs = std::filesystem;
using Step = SqliteStatement::Step;

constexpr const char* createTable =
    "CREATE TABLE IF NOT EXISTS files(\n"
    "path TEXT PRIMARY KEY,\n"
    "size INTEGER NOT NULL,\n"
    "mtime INTEGER NOT NULL,\n"
    "consumed INTEGER NOT NULL,\n"
    "tool TEXT NOT NULL,\n"
    "blob BLOB NOT NULL)";

// Written pages are flushed to the disk when the log goes into the database, which with every row a
// transaction of its own would be too often by default: every 32 MB will do.
constexpr const char* flushWithTheLog = "PRAGMA synchronous=NORMAL";
constexpr const char* keepALongLog = "PRAGMA wal_autocheckpoint=8000";
constexpr const char* writeALog = "PRAGMA journal_mode=WAL";

constexpr std::chrono::milliseconds patience{1000};

std::string defaultPath() {
    return supportDirectory() + "/filecache.sqlite";
}

void createParents(const std::string& path) {
    std::error_code ignored;
    fs::create_directories(fs::path(path).parent_path(), ignored);
}

/// A row with its number, so that rows decoded by several threads can be put in order.
struct NumberedRow {
    std::size_t number;
    std::string path;
    CachedRow row;
};

bool isPresent(const CachedFile& file) {
    return file.v.has_value() && *file.v >= CachedFile::version;
}

void decodeRows(RowReader& reader, std::vector<NumberedRow>& rows) {
    CachedFileDecoder decoder;
    RowBatch batch;
    while (reader.next(batch))
        for (std::size_t i = 0; i < batch.size(); ++i) {
            const RowBatch::Row row = batch[i];
            auto file = decoder.decodePadded(row.blob, row.path);
            if (file && isPresent(*file))
                rows.push_back({batch.first() + i, std::string(row.path), {std::move(*file), row.stamp}});
        }
}

/// Should a path occur twice after all, its last row counts.
std::map<std::string, CachedRow> byPath(std::vector<NumberedRow> rows) {
    std::sort(rows.begin(), rows.end(),
              [](const NumberedRow& a, const NumberedRow& b) { return a.number < b.number; });
    std::map<std::string, CachedRow> result;
    for (NumberedRow& row : rows)
        result.insert_or_assign(std::move(row.path), std::move(row.row));
    return result;
}

/// SQLite has signed integers only.
std::optional<std::int64_t> storable(std::uint64_t number) {
    if (number > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())) return std::nullopt;
    return static_cast<std::int64_t>(number);
}

}  // namespace

FileCacheStore::FileCacheStore(const std::optional<std::string>& path) : path_(path ? *path : defaultPath()) {
    createParents(path_);
    db_ = SqliteDatabase::open(path_);
    if (!db_) return;
    db_->setPatience(patience);
    noteLock(db_->execute(flushWithTheLog));
    db_->execute(keepALongLog);
    // SQLite doesn't always wait here: of several that make the database at once one succeeds, for all.
    db_->execute(writeALog);
    noteLock(db_->execute(createTable));
}

/// Waits for a lock once, not for every row again while it stays.
bool FileCacheStore::noteLock(bool succeeded) {
    const bool isLocked = !succeeded && db_->isLocked();
    db_->setPatience(isLocked ? std::chrono::milliseconds(0) : patience);
    return succeeded;
}

std::map<std::string, CachedRow> FileCacheStore::loadAll(std::size_t workers) {
    if (!db_) return {};
    auto statement = db_->prepare("SELECT path, size, mtime, consumed, blob FROM files;");
    if (!noteLock(statement.has_value())) return {};
    RowReader reader(std::move(*statement));
    std::vector<std::vector<NumberedRow>> decoded(workerCount(SIZE_MAX, workers));
    parallelFor(decoded.size(), decoded.size(),
                [&](std::size_t index, std::size_t) { decodeRows(reader, decoded[index]); });
    std::vector<NumberedRow> rows;
    for (auto& some : decoded)
        std::move(some.begin(), some.end(), std::back_inserter(rows));
    return byPath(std::move(rows));
}

std::vector<std::string> FileCacheStore::paths() {
    if (!db_) return {};
    auto statement = db_->prepare("SELECT path FROM files;");
    if (!noteLock(statement.has_value())) return {};
    std::vector<std::string> paths;
    while (statement->step() == Step::row)
        if (const auto path = statement->text(0)) paths.emplace_back(*path);
    return paths;
}

void FileCacheStore::upsert(const CachedFile& file, const FileStamp& stamp) {
    if (!db_) return;
    if (const auto encoded = encode(file)) upsert(*encoded, stamp);
}

void FileCacheStore::upsert(const EncodedFile& file, const FileStamp& stamp) {
    const auto size = storable(stamp.size);
    const auto mtime = storable(stamp.mtime);
    const auto consumed = storable(stamp.consumed);
    if (!size || !mtime || !consumed || !prepareUpsert()) return;
    upsert_->bindText(1, file.path);
    upsert_->bindInteger(2, *size);
    upsert_->bindInteger(3, *mtime);
    upsert_->bindInteger(4, *consumed);
    upsert_->bindText(5, rawValue(file.tool));
    upsert_->bindBlob(6, file.json);
    noteLock(upsert_->step() == Step::done);
    upsert_->reset();
}

/// Once, not for every row.
bool FileCacheStore::prepareUpsert() {
    if (!db_ || upsert_) return upsert_.has_value();
    upsert_ =
        db_->prepare("INSERT OR REPLACE INTO files(path,size,mtime,consumed,tool,blob) VALUES(?,?,?,?,?,?);");
    return noteLock(upsert_.has_value());
}

void FileCacheStore::remove(const std::vector<std::string>& paths) {
    if (!db_ || paths.empty()) return;
    auto statement = db_->prepare("DELETE FROM files WHERE path=?;");
    if (!noteLock(statement.has_value())) return;
    for (const std::string& path : paths) {
        statement->bindText(1, path);
        noteLock(statement->step() == Step::done);
        statement->reset();
    }
}

void FileCacheStore::close() {
    upsert_.reset();
    db_.reset();
}

}  // namespace ledgerfern
