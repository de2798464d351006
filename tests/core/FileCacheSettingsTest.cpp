#include "core/FaultyFiles.h"
#include "core/FileCacheFixture.h"

// When rows reach the disk: they go into a log, which is flushed when it has 8,000 pages, not for each row.

namespace ledgerfern {
namespace {

class FileCacheSettingsTest : public FileCacheFixture {
protected:
    static constexpr std::uint64_t megabyte = 1 << 20;

    /// As long as the log's limit isn't reached nothing is flushed, then all is.
    void expectThatTheyHold(FileCacheStore& store) const {
        const EncodedFile file{"/logs/0", ToolKind::codex, std::string(megabyte, ' ')};
        store.upsert(file, {});  // makes the log
        const int flushes = files.flushes();
        for (int i = 0; i < 25; ++i)
            store.upsert(file, {});
        EXPECT_EQ(files.flushes(), flushes);
        ASSERT_TRUE(std::filesystem::exists(database() + "-wal"));
        EXPECT_GT(std::filesystem::file_size(database() + "-wal"), 25 * megabyte);
        EXPECT_LT(std::filesystem::file_size(database()), megabyte);
        for (int i = 0; i < 10; ++i)
            store.upsert(file, {});
        EXPECT_GT(files.flushes(), flushes);
        EXPECT_GT(std::filesystem::file_size(database()), megabyte);
    }

    FaultyFiles files;
};

TEST_F(FileCacheSettingsTest, holdFromTheFirstRowOn) {
    FileCacheStore opened = store();
    expectThatTheyHold(opened);
}

TEST_F(FileCacheSettingsTest, holdWhereAnotherHasKeptTheJournalFromBeingSwitched) {
    {
        FileCacheStore opened = store();
        for (const auto* path : {"/a", "/b"})
            upsertVersion(opened, path, 1);
    }
    SqliteDatabase other = connection();
    ASSERT_TRUE(other.execute("PRAGMA journal_mode=DELETE"));
    auto reading = other.prepare("SELECT path FROM files");
    ASSERT_EQ(reading->step(), SqliteStatement::Step::row);
    FileCacheStore opened = store();
    EXPECT_EQ(query("PRAGMA journal_mode"), std::vector<std::string>{"delete"});
    reading.reset();
    ASSERT_TRUE(other.execute("PRAGMA journal_mode=WAL"));
    expectThatTheyHold(opened);
}

}  // namespace
}  // namespace ledgerfern
