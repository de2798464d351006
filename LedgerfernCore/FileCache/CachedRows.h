#pragma once

#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Foundation/Sqlite.h"

namespace ledgerfern {

/// What the cache knows of a file beside its record. A row answers for a file if `size` and `mtime` are the
/// file's present ones.
struct FileStamp {
    std::uint64_t consumed = 0;  ///< Bytes that the parser had taken. Stored, and never asked for.
    std::uint64_t size = 0;      ///< In bytes.
    std::uint64_t mtime = 0;     ///< Last modification, in milliseconds since the Unix epoch.

    bool operator==(const FileStamp&) const = default;
};

/// Some rows as they lie in the database.
class RowBatch {
public:
    struct Row {
        std::string_view path;
        FileStamp stamp;
        std::string_view blob;  ///< With `JsonReader::padding` readable bytes behind it.
    };

    std::size_t size() const { return rows_.size(); }
    Row operator[](std::size_t index) const;
    /// The number of the first row among those that the reader gave.
    std::size_t first() const { return first_; }

private:
    friend class RowReader;
    struct Place {
        std::size_t path = 0;  ///< Where it begins in `bytes_`; the blob follows it.
        std::size_t blob = 0;
        std::size_t end = 0;
        FileStamp stamp;
    };

    void clear(std::size_t first);
    void add(std::string_view path, const FileStamp& stamp, std::string_view blob);
    bool isFull() const;
    std::size_t used() const { return rows_.empty() ? 0 : rows_.back().end; }

    std::string bytes_;  ///< The rows', and padding behind the last one.
    std::vector<Place> rows_;
    std::size_t first_ = 0;
};

/// Reads the rows that can hold a record: with a path, a blob that isn't empty, and numbers that aren't
/// negative. Several threads may take batches; one at a time is at the database.
class RowReader {
public:
    /// Of a statement whose columns are path, size, mtime, consumed and blob.
    explicit RowReader(SqliteStatement statement) : statement_(std::move(statement)) {}

    /// Replaces what the batch held. False, and an empty batch, where there are no more rows, or they can't
    /// be read any further.
    bool next(RowBatch& batch);

private:
    bool step();
    void take(RowBatch& batch);
    std::optional<std::uint64_t> count(int column);

    std::mutex lock_;
    SqliteStatement statement_;
    std::size_t taken_ = 0;
    bool isAtEnd_ = false;
};

}  // namespace ledgerfern
