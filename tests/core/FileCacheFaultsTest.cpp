#include <chrono>
#include <random>

#include "core/FaultyFiles.h"
#include "core/FileCacheFixture.h"

// What stands in the cache's file may be anything: nothing of it ends the process, and what can't be read is
// as if it weren't there.

namespace ledgerfern {
namespace {

class FileCacheFaultsTest : public FileCacheFixture {
protected:
    /// The version at which a file is written here follows from its path.
    static std::int64_t versionOf(const std::string& path) { return static_cast<std::int64_t>(path.size()); }

    void fill(int rows) const {
        FileCacheStore opened = store();
        for (int i = 0; i < rows; ++i) {
            const std::string path = "/logs/" + std::to_string(i * i);
            upsertVersion(opened, path, versionOf(path));
        }
    }

    /// Opens whatever the file is, and does all that can be done with it.
    std::map<std::string, CachedRow> use() const {
        FileCacheStore opened = store();
        auto rows = opened.loadAll(2);
        upsertVersion(opened, "/logs/new", 1);
        opened.remove({"/logs/0", "/logs/1"});
        opened.loadAll(1);
        return rows;
    }
};

TEST_F(FileCacheFaultsTest, anEmptyFileBecomesADatabase) {
    write("filecache.sqlite", "");
    EXPECT_TRUE(use().empty());
    EXPECT_EQ(versions(), (Versions{{"/logs/new", 1}}));
}

TEST_F(FileCacheFaultsTest, aFileThatIsNoDatabaseStaysAsItIs) {
    for (const std::string& bytes :
         {std::string(10'000, 'x'), std::string(10'000, '\0'), "SQLite format 3" + std::string(5000, '\0')}) {
        write("filecache.sqlite", bytes);
        EXPECT_TRUE(use().empty());
        EXPECT_EQ(read("filecache.sqlite"), bytes);
    }
}

TEST_F(FileCacheFaultsTest, aFolderInThePlaceOfTheFileIsNoCache) {
    makeFolder("filecache.sqlite/inside");
    EXPECT_FALSE(store().isOpen());
    EXPECT_TRUE(use().empty());
}

TEST_F(FileCacheFaultsTest, aTableOfOtherColumnsIsNoCache) {
    for (const std::string table :
         {"TABLE files(path TEXT PRIMARY KEY, blob BLOB)", "TABLE files(path, size, mtime, consumed, text)",
          "VIEW files AS SELECT 1 AS path"}) {
        std::filesystem::remove(database());
        run("CREATE " + table);
        EXPECT_TRUE(use().empty()) << table;
    }
}

TEST_F(FileCacheFaultsTest, aTableWithoutRulesIsReadAsFarAsItGoes) {
    run("CREATE TABLE files(path, size, mtime, consumed, tool, blob)");
    const std::string record = asBlob(leastRecord().dump());
    insertRow("'/good'", "1,2,3", record);
    insertRow("NULL", "1,2,3", record);
    insertRow("'/null'", "NULL,2,3", record);
    insertRow("'/text'", "'12','x',3.9", record);
    insertRow("'/huge'", "1e300,9223372036854775807,3", record);
    insertRow("5", "1,2,3", record);
    insertRow("'/twice'", "1,1,1", record);
    insertRow("'/twice'", "2,2,2", record);
    const auto rows = store().loadAll(2);
    EXPECT_EQ(rows.size(), 5U);
    EXPECT_EQ(rows.at("/good").stamp, (FileStamp{3, 1, 2}));
    EXPECT_EQ(rows.at("/text").stamp, (FileStamp{3, 12, 0}));
    EXPECT_EQ(rows.at("/huge").stamp.size, static_cast<std::uint64_t>(INT64_MAX));
    EXPECT_TRUE(rows.contains("5"));
    EXPECT_EQ(rows.at("/twice").stamp, (FileStamp{2, 2, 2}));
}

TEST_F(FileCacheFaultsTest, aRowThatHoldsNoRecordIsPassedOver) {
    const std::string good = leastRecord().dump();
    const auto with = [](const char* key, const Json& value) {
        Json record = leastRecord();
        record[key] = value;
        return record.dump();
    };
    const std::vector<std::string> records = {"not JSON",
                                              "[]",
                                              "null",
                                              "{}",
                                              good.substr(0, good.size() / 2),
                                              good + good,
                                              std::string(good.size(), '\0'),
                                              std::string(5000, '['),
                                              with("v", 3),
                                              with("v", "4"),
                                              with("reqs", "A"),
                                              with("reqs", base64(bytesOf(std::vector<double>(7, 1e300)))),
                                              with("totals", {{"input_tokens", 1e19}}),
                                              with("path", 5)};
    store();
    for (std::size_t i = 0; i < records.size(); ++i)
        insertRow("'/bad " + std::to_string(i) + "'", "1,1,1", asBlob(records[i]));
    insertRow("'/bad text'", "1,1,1", "'" + good + "'");
    insertRow("'/bad empty'", "1,1,1", "x''");
    insertRow("'/bad number'", "1,1,1", "5");
    insertRow("'/bad size'", "-1,1,1", asBlob(good));
    insertRow("'/bad mtime'", "1,-1,1", asBlob(good));
    insertRow("'/bad consumed'", "1,1,-9223372036854775808", asBlob(good));
    insertRow("NULL", "1,1,1", asBlob(good));
    insertRow("'/good'", "1,1,1", asBlob(good));
    const auto rows = use();
    ASSERT_EQ(rows.size(), 1U);
    EXPECT_EQ(rows.begin()->first, "/good");
    EXPECT_EQ(query("SELECT count(*) FROM files WHERE path LIKE '/bad%' OR path IS NULL").at(0),
              std::to_string(records.size() + 7))
        << "they stay until they are replaced";
}

TEST_F(FileCacheFaultsTest, aDamagedRowLeavesTheOthers) {
    fill(30);
    run("UPDATE files SET blob=x'00' WHERE path='/logs/25'");
    Versions expected;
    for (int i = 0; i < 30; ++i)
        if (i != 5) expected["/logs/" + std::to_string(i * i)] = versionOf("/logs/" + std::to_string(i * i));
    EXPECT_EQ(versions(), expected);
}

/// Rows that are read from a damaged file are whole unless numbers or letters turned into others.
TEST_F(FileCacheFaultsTest, aTruncatedFileGivesTheRowsThatAreStillThere) {
    fill(40);
    const std::string bytes = read("filecache.sqlite");
    ASSERT_GT(bytes.size(), 50'000U);
    std::size_t most = 0;
    for (std::size_t length = 0; length < bytes.size(); length += 1 + bytes.size() / 60) {
        write("filecache.sqlite", bytes.substr(0, length));
        for (const auto& [path, row] : use()) {
            EXPECT_EQ(wholeVersion(*row.file.session), versionOf(path));
            ++most;
        }
    }
    EXPECT_GT(most, 0U);
}

TEST_F(FileCacheFaultsTest, aDamagedFileEndsNothing) {
    const FaultyFiles neverFlushed;
    fill(25);
    const std::string bytes = read("filecache.sqlite");
    std::mt19937 random(5);
    const auto below = [&](std::size_t limit) { return random() % limit; };
    std::size_t found = 0;
    for (int i = 0; i < 500; ++i) {
        std::string damaged = bytes;
        for (std::size_t times = 1 + below(8); times > 0; --times) {
            // A good part of what matters stands at the beginning.
            const std::size_t at = below(3) == 0 ? below(200) : below(damaged.size() - 600);
            if (below(2) == 0)
                damaged[at] = static_cast<char>(random());
            else
                damaged.replace(at, below(600), below(600), below(2) == 0 ? '\0' : '\xFF');
        }
        write("filecache.sqlite", damaged);
        found += use().size();
        std::filesystem::remove(path("filecache.sqlite-wal"));
        std::filesystem::remove(path("filecache.sqlite-shm"));
        std::filesystem::remove(path("filecache.sqlite-journal"));
    }
    EXPECT_GT(found, 500U) << "a good part of the rows is still read";
}

TEST_F(FileCacheFaultsTest, aDamagedLogEndsNothing) {
    const FaultyFiles neverFlushed;
    fill(5);
    std::mt19937 random(6);
    for (int i = 0; i < 40; ++i) {
        std::string log;
        {
            FileCacheStore opened = store();
            for (std::int64_t k = 0; k < 5; ++k)
                upsertVersion(opened, "/logs/x" + std::to_string(k), k);
            log = read("filecache.sqlite-wal");
            std::filesystem::copy_file(database(), path("copy.sqlite"));
        }
        ASSERT_GT(log.size(), 10'000U);
        log[random() % log.size()] ^= static_cast<char>(1 + random() % 255);
        write("copy.sqlite-wal", log);
        FileCacheStore copy(path("copy.sqlite"));
        for (const auto& [path, version] : versionsIn(copy))
            EXPECT_NE(version, -1) << path;
        copy.close();
        std::filesystem::remove(path("copy.sqlite"));
    }
}

TEST_F(FileCacheFaultsTest, aFileThatCantBeWrittenIsStillRead) {
    if (::geteuid() == 0) GTEST_SKIP() << "root may write everywhere";
    fill(3);
    std::filesystem::permissions(database(), std::filesystem::perms::owner_read);
    EXPECT_EQ(use().size(), 3U);
    EXPECT_EQ(versions().size(), 3U);
}

TEST_F(FileCacheFaultsTest, aFolderThatCantBeWrittenIsNoCache) {
    if (::geteuid() == 0) GTEST_SKIP() << "root may write everywhere";
    const std::string closed = makeFolder("closed");
    std::filesystem::permissions(closed,
                                 std::filesystem::perms::owner_read | std::filesystem::perms::owner_exec);
    FileCacheStore inert(closed + "/filecache.sqlite");
    upsertVersion(inert, "/a", 1);
    EXPECT_TRUE(inert.loadAll().empty());
    std::filesystem::permissions(closed, std::filesystem::perms::owner_all);
}

TEST_F(FileCacheFaultsTest, aLockIsWaitedForOnceAndNotForEveryRow) {
    fill(2);
    SqliteDatabase other = connection();
    ASSERT_TRUE(other.execute("BEGIN IMMEDIATE"));
    FileCacheStore opened = store();
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < 100; ++i)
        upsertVersion(opened, "/logs/locked", i);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(30));
    EXPECT_EQ(versionsIn(opened).size(), 2U) << "reading goes on";
    ASSERT_TRUE(other.execute("COMMIT"));
    upsertVersion(opened, "/logs/free", 1);
    EXPECT_EQ(versionsIn(opened).size(), 3U);
}

TEST_F(FileCacheFaultsTest, aDatabaseThatAnotherKeepsToItselfIsNoCache) {
    fill(2);
    {
        SqliteDatabase other = connection();
        ASSERT_TRUE(other.execute("PRAGMA journal_mode=DELETE; BEGIN EXCLUSIVE"));
        EXPECT_TRUE(use().empty());
    }
    EXPECT_EQ(versions().size(), 2U);
}

TEST_F(FileCacheFaultsTest, aReaderDoesntKeepAWriterWaiting) {
    fill(50);
    SqliteDatabase reader = connection();
    auto select = reader.prepare("SELECT path FROM files");
    ASSERT_TRUE(select);
    ASSERT_EQ(select->step(), SqliteStatement::Step::row);
    FileCacheStore opened = store();
    upsertVersion(opened, "/logs/0", 100);
    EXPECT_EQ(versionsIn(opened).at("/logs/0"), 100);
    int rows = 1;
    while (select->step() == SqliteStatement::Step::row)
        ++rows;
    EXPECT_EQ(rows, 50);
}

TEST_F(FileCacheFaultsTest, aWriterDoesntKeepAReaderWaiting) {
    fill(2);
    SqliteDatabase writer = connection();
    ASSERT_TRUE(writer.execute("BEGIN IMMEDIATE; DELETE FROM files"));
    EXPECT_EQ(versions().size(), 2U);
    ASSERT_TRUE(writer.execute("COMMIT"));
    EXPECT_EQ(versions().size(), 0U);
}

}  // namespace
}  // namespace ledgerfern
