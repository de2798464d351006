#pragma once

#include <map>
#include <string>
#include <vector>

#include "FileCache/FileCacheStore.h"
#include "core/CachedSamples.h"
#include "core/FileFixture.h"

namespace ledgerfern {

/// A row of which all parts, the stamp too, are of one version.
inline CachedFile fileOfVersion(const std::string& path, std::int64_t version) {
    return CachedFile::of(sessionOfVersion(path, version), std::to_string(version), true, 0);
}
inline FileStamp stampOfVersion(std::int64_t version) {
    const auto number = static_cast<std::uint64_t>(version);
    return {number, number, number};
}
inline void upsertVersion(FileCacheStore& store, const std::string& path, std::int64_t version) {
    store.upsert(fileOfVersion(path, version), stampOfVersion(version));
}

/// The versions of the rows by path; −1 for a row that isn't of one version.
inline std::map<std::string, std::int64_t> versionsIn(FileCacheStore& store) {
    std::map<std::string, std::int64_t> versions;
    for (const auto& [path, row] : store.loadAll(2)) {
        const std::int64_t version = wholeVersion(*row.file.session).value_or(-1);
        const bool isWhole = row.stamp == stampOfVersion(version) &&
                             row.file.sessionId == std::to_string(version) && row.file.session->path == path;
        versions[path] = isWhole ? version : -1;
    }
    return versions;
}

/// A test with a database of its own.
class FileCacheFixture : public FileFixture {
protected:
    using Versions = std::map<std::string, std::int64_t>;

    std::string database() const { return path("filecache.sqlite"); }
    FileCacheStore store() const { return FileCacheStore(database()); }
    SqliteDatabase connection() const {
        auto opened = SqliteDatabase::open(database());
        check(opened.has_value(), "a test database can't be opened");
        return std::move(*opened);
    }
    void forgetDatabase() const {
        for (const auto* end : {"", "-wal", "-shm", "-journal"})
            std::filesystem::remove(database() + end);
    }
    void run(const std::string& sql) const { check(connection().execute(sql), "a test's statement fails"); }
    /// The first column of each row, as text.
    std::vector<std::string> query(const std::string& sql) const {
        SqliteDatabase db = connection();
        auto statement = db.prepare(sql);
        check(statement.has_value(), "a test's query isn't valid");
        std::vector<std::string> result;
        while (statement->step() == SqliteStatement::Step::row)
            result.emplace_back(statement->text(0).value_or("NULL"));
        return result;
    }

    Versions versions() const {
        FileCacheStore opened = store();
        return versionsIn(opened);
    }
    void upsertOnce(const std::string& path, std::int64_t version) const {
        FileCacheStore opened = store();
        upsertVersion(opened, path, version);
    }
    /// A row as somebody else may have written it; the blob is an SQL expression.
    void insertRow(const std::string& path, const std::string& numbers, const std::string& blob) const {
        run("INSERT OR REPLACE INTO files(path,size,mtime,consumed,tool,blob) VALUES(" + path + "," +
            numbers + ",'codex'," + blob + ")");
    }
    static std::string asBlob(const std::string& bytes) {
        constexpr std::string_view digits = "0123456789abcdef";
        std::string text = "x'";
        for (const char c : bytes) {
            const auto byte = static_cast<unsigned char>(c);
            text += {digits[byte >> 4], digits[byte & 15]};
        }
        return text + "'";
    }
};

}  // namespace ledgerfern
