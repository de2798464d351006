#include "FileCache/FileCacheStore.h"

#include <algorithm>
#include <limits>

#include "core/FileCacheFixture.h"

namespace ledgerfern {
namespace {

constexpr std::uint64_t twoTo63 = std::uint64_t{1} << 63;

using FileCacheStoreTest = FileCacheFixture;

TEST_F(FileCacheStoreTest, beginsWithAnEmptyTable) {
    EXPECT_TRUE(store().isOpen());
    EXPECT_EQ(versions(), Versions());
    EXPECT_EQ(query("SELECT sql FROM sqlite_master WHERE type='table'"),
              std::vector<std::string>{"CREATE TABLE files(\n"
                                       "path TEXT PRIMARY KEY,\n"
                                       "size INTEGER NOT NULL,\n"
                                       "mtime INTEGER NOT NULL,\n"
                                       "consumed INTEGER NOT NULL,\n"
                                       "tool TEXT NOT NULL,\n"
                                       "blob BLOB NOT NULL)"});
    EXPECT_EQ(query("PRAGMA journal_mode"), std::vector<std::string>{"wal"});
    EXPECT_EQ(names(), std::set<std::string>{"filecache.sqlite"})
        << "nothing is left beside a closed database";
}

TEST_F(FileCacheStoreTest, makesItsFolderWithTheParents) {
    const std::string file = path("a/b c/d/cache.sqlite");
    EXPECT_TRUE(FileCacheStore(file).isOpen());
    EXPECT_TRUE(std::filesystem::exists(file));
}

TEST_F(FileCacheStoreTest, liesInTheSupportDirectoryUnlessAPathIsGiven) {
    const EnvironmentVariable home("HOME", folder());
    const FileCacheStore store;
    EXPECT_EQ(store.path(), path("Library/Application Support/Ledgerfern/filecache.sqlite"));
    EXPECT_TRUE(std::filesystem::exists(store.path()));
}

TEST_F(FileCacheStoreTest, keepsRowsAcrossRuns) {
    const CachedFile first = decoded(fullRecord()).value();
    Json record = leastRecord();
    record["path"] = "/logs/t.jsonl";
    record["tool"] = "claude";
    record["wasUsable"] = false;
    const CachedFile second = decoded(record).value();
    {
        FileCacheStore opened = store();
        opened.upsert(first, {1, 2, 3});
        opened.upsert(second, {0, 0, twoTo63 - 1});
    }
    const auto rows = store().loadAll();
    ASSERT_EQ(rows.size(), 2U);
    const CachedRow& row = rows.at("/logs/s.jsonl");
    EXPECT_EQ(*row.file.session, *first.session);
    EXPECT_EQ(row.file.sessionId, "0a1b");
    EXPECT_TRUE(row.file.wasUsable);
    EXPECT_EQ(row.stamp, (FileStamp{1, 2, 3}));
    EXPECT_EQ(*rows.at("/logs/t.jsonl").file.session, *second.session);
    EXPECT_FALSE(rows.at("/logs/t.jsonl").file.wasUsable);
    EXPECT_EQ(rows.at("/logs/t.jsonl").stamp, (FileStamp{0, 0, twoTo63 - 1}));
}

TEST_F(FileCacheStoreTest, writesEachColumn) {
    Json record = leastRecord();
    record["tool"] = "claude";
    const CachedFile file = decoded(record).value();
    store().upsert(file, {7, 8, 9});
    EXPECT_EQ(
        query("SELECT path||'|'||size||'|'||mtime||'|'||consumed||'|'||tool||'|'||typeof(blob) FROM files"),
        std::vector<std::string>{"/logs/s.jsonl|8|9|7|claude|blob"});
    EXPECT_EQ(Json::parse(query("SELECT blob FROM files").at(0)), written(file));
}

TEST_F(FileCacheStoreTest, replacesTheRowOfAFile) {
    FileCacheStore opened = store();
    upsertVersion(opened, "/a", 1);
    upsertVersion(opened, "/b", 2);
    upsertVersion(opened, "/a", 3);
    EXPECT_EQ(versionsIn(opened), (Versions{{"/a", 3}, {"/b", 2}}));
    EXPECT_EQ(query("SELECT count(*) FROM files"), std::vector<std::string>{"2"});
}

TEST_F(FileCacheStoreTest, writesARecordThatAnotherThreadHasEncoded) {
    const CachedFile file = fileOfVersion("/a", 5);
    store().upsert(encode(file).value(), stampOfVersion(5));
    EXPECT_EQ(versions(), (Versions{{"/a", 5}}));
}

TEST_F(FileCacheStoreTest, doesntWriteARecordThatCantBeEncoded) {
    upsertOnce("/a", 1);
    SessionResult result = sessionOfVersion("/a", 2);
    result.started = std::numeric_limits<double>::infinity();
    store().upsert(CachedFile::of(result, "2", true, 0), {2, 2, 2});
    EXPECT_EQ(versions(), (Versions{{"/a", 1}}));
}

TEST_F(FileCacheStoreTest, doesntWriteANumberThatTheDatabaseCantHold) {
    const CachedFile file = fileOfVersion("/a", 5);
    FileCacheStore opened = store();
    for (const FileStamp& stamp :
         {FileStamp{twoTo63, 1, 1}, FileStamp{1, twoTo63, 1}, FileStamp{1, 1, UINT64_MAX}})
        opened.upsert(file, stamp);
    EXPECT_TRUE(opened.loadAll().empty());
}

TEST_F(FileCacheStoreTest, removesRows) {
    FileCacheStore opened = store();
    for (const auto* path : {"/a", "/b", "/c", "/d"})
        upsertVersion(opened, path, 1);
    opened.remove({});
    EXPECT_EQ(versionsIn(opened).size(), 4U);
    opened.remove({"/b", "/never there", "/d"});
    EXPECT_EQ(versionsIn(opened), (Versions{{"/a", 1}, {"/c", 1}}));
}

TEST_F(FileCacheStoreTest, keepsPathsThatArentText) {
    const std::string odd = "/logs/\xFF\xFE caf\xC3\xA9 '\".jsonl";
    FileCacheStore opened = store();
    upsertVersion(opened, odd, 4);
    upsertVersion(opened, "/logs/\xFE\xFE.jsonl", 5);
    EXPECT_EQ(versionsIn(opened), (Versions{{odd, 4}, {"/logs/\xFE\xFE.jsonl", 5}}));
    opened.remove({odd});
    EXPECT_EQ(versionsIn(opened), (Versions{{"/logs/\xFE\xFE.jsonl", 5}}));
}

TEST_F(FileCacheStoreTest, passesOverEarlierVersionsAndLeavesThemThere) {
    store();
    Json record = leastRecord();
    record["v"] = 3;
    insertRow("'/three'", "1,1,1", asBlob(record.dump()));
    record.erase("v");
    insertRow("'/none'", "1,1,1", asBlob(record.dump()));
    record["v"] = 5;
    insertRow("'/five'", "1,1,1", asBlob(record.dump()));
    FileCacheStore opened = store();
    const auto rows = opened.loadAll();
    ASSERT_EQ(rows.size(), 1U);
    EXPECT_EQ(rows.begin()->first, "/five");
    EXPECT_EQ(query("SELECT count(*) FROM files"), std::vector<std::string>{"3"});

    upsertVersion(opened, "/three", 6);
    EXPECT_EQ(versionsIn(opened).at("/three"), 6);
    EXPECT_EQ(query("SELECT count(*) FROM files"), std::vector<std::string>{"3"});
    opened.remove({"/none"});
    EXPECT_EQ(query("SELECT count(*) FROM files"), std::vector<std::string>{"2"});
}

TEST_F(FileCacheStoreTest, knowsThePathsOfRowsThatCantBeRead) {
    upsertOnce("/good", 1);
    insertRow("'/undecodable'", "1,1,1", "x'00'");
    insertRow("'/empty'", "1,1,1", "x''");
    insertRow("'/negative'", "-1,1,1", asBlob(leastRecord().dump()));
    insertRow("NULL", "1,1,1", asBlob(leastRecord().dump()));
    FileCacheStore opened = store();
    EXPECT_EQ(opened.loadAll().size(), 1U);
    auto paths = opened.paths();
    std::sort(paths.begin(), paths.end());
    EXPECT_EQ(paths, (std::vector<std::string>{"/empty", "/good", "/negative", "/undecodable"}));
    opened.remove(paths);
    EXPECT_TRUE(opened.paths().empty());
    opened.close();
    EXPECT_TRUE(opened.paths().empty());
}

TEST_F(FileCacheStoreTest, givesTheSameHoweverManyThreadsDecode) {
    {
        FileCacheStore opened = store();
        opened.upsert(CachedFile::of(session(std::vector<RequestRecord>(20'000), "large"), "", true, 0), {});
        for (std::int64_t i = 0; i < 300; ++i)
            upsertVersion(opened, "/logs/" + std::to_string(i), i);
        for (std::int64_t i = 0; i < 300; i += 7)
            insertRow("'/logs/" + std::to_string(i) + "'", "1,1,1", asBlob("{}"));
    }
    FileCacheStore opened = store();
    const auto alone = opened.loadAll(1);
    EXPECT_EQ(alone.size(), 1U + 300 - 43);
    for (const std::size_t workers : {0U, 2U, 8U}) {
        const auto rows = opened.loadAll(workers);
        ASSERT_EQ(rows.size(), alone.size());
        for (const auto& [path, row] : rows) {
            EXPECT_EQ(*row.file.session, *alone.at(path).file.session);
            EXPECT_EQ(row.stamp, alone.at(path).stamp);
        }
    }
}

TEST_F(FileCacheStoreTest, doesNothingOnceItIsClosed) {
    upsertOnce("/a", 1);
    FileCacheStore opened = store();
    upsertVersion(opened, "/b", 2);
    opened.close();
    EXPECT_FALSE(opened.isOpen());
    EXPECT_EQ(names(), std::set<std::string>{"filecache.sqlite"});
    upsertVersion(opened, "/c", 3);
    opened.remove({"/a"});
    EXPECT_TRUE(opened.loadAll().empty());
    opened.close();
    EXPECT_EQ(versions(), (Versions{{"/a", 1}, {"/b", 2}}));
}

TEST_F(FileCacheStoreTest, doesNothingWhereItCantBeOpened) {
    write("file", "");
    for (const std::string& place : {path("file/below/cache.sqlite"), makeFolder("a folder")}) {
        FileCacheStore inert(place);
        EXPECT_FALSE(inert.isOpen());
        upsertVersion(inert, "/a", 1);
        inert.remove({"/a"});
        EXPECT_TRUE(inert.loadAll().empty());
        inert.close();
    }
    EXPECT_EQ(names(), (std::set<std::string>{"file", "a folder"}));
}

TEST_F(FileCacheStoreTest, showsWhatIsWrittenToEveryConnectionAtOnce) {
    FileCacheStore writer = store();
    FileCacheStore reader = store();
    upsertVersion(writer, "/a", 1);
    EXPECT_EQ(versionsIn(reader), (Versions{{"/a", 1}}));
    upsertVersion(reader, "/b", 2);
    upsertVersion(writer, "/a", 3);
    EXPECT_EQ(versionsIn(writer), (Versions{{"/a", 3}, {"/b", 2}}));
}

}  // namespace
}  // namespace ledgerfern
