#include "Engine/ForeignDatabase.h"

#include <atomic>
#include <csignal>
#include <thread>
#include <vector>

#include "core/FileFixture.h"
#include "core/OtherProgram.h"

namespace ledgerfern {
namespace {

class ForeignDatabaseTest : public FileFixture {
protected:
    using Values = std::vector<std::int64_t>;

    ForeignDatabaseTest() { makeFolder("agent"); }

    std::string database() const { return path("agent/state.sqlite"); }
    static void run(const std::string& file, const std::string& sql) {
        auto opened = SqliteDatabase::open(file);
        check(opened && opened->execute(sql), "a test database can't be written");
    }
    void create(const std::string& sql) const { run(database(), sql); }
    /// A program that opens the database, runs the statements and keeps it open.
    OtherProgram hold(const std::string& sql) const {
        OtherProgram program([this] { return SqliteDatabase::open(database()); },
                             [sql](auto& opened) { return opened && opened->execute(sql); });
        EXPECT_TRUE(program.isReady());
        return program;
    }

    static bool readValues(SqliteDatabase& db, Values& values) {
        values.clear();
        auto select = db.prepare("SELECT value FROM t ORDER BY rowid");
        if (!select) return false;
        auto step = select->step();
        for (; step == SqliteStatement::Step::row; step = select->step())
            values.push_back(select->integer(0).value_or(-1));
        return step == SqliteStatement::Step::done;
    }
    /// What is read; absent where the database counts as missing. Nothing is left in the temporary folder.
    std::optional<Values> values() const { return valuesOf(database()); }
    std::optional<Values> valuesOf(const std::string& file) const {
        Values result;
        const bool read =
            readForeignDatabase(file, [&](SqliteDatabase& db) { return readValues(db, result); });
        EXPECT_EQ(namesIn(temporary), std::set<std::string>{});
        return read ? std::optional(result) : std::nullopt;
    }

    const std::string temporary = makeFolder("temporary");
    const EnvironmentVariable temporaryVariable{"TMPDIR", temporary};
};

constexpr const char* three = "CREATE TABLE t (value); INSERT INTO t VALUES (1), (2), (3);";
const std::vector<std::int64_t> oneToThree = {1, 2, 3};

TEST_F(ForeignDatabaseTest, anInterruptWaitsUntilTheCopyIsGone) {
    create(three);
    const auto program = hold("PRAGMA journal_mode=WAL; INSERT INTO t VALUES (4)");
    bool isDelayed = false;
    const auto look = [&](SqliteDatabase&) {
        EXPECT_NE(namesIn(temporary), std::set<std::string>{});
        sigset_t mask;
        ::pthread_sigmask(SIG_SETMASK, nullptr, &mask);
        isDelayed = sigismember(&mask, SIGINT) == 1;
        return true;
    };
    EXPECT_TRUE(readForeignDatabase(database(), look));
    EXPECT_TRUE(isDelayed);
    EXPECT_EQ(namesIn(temporary), std::set<std::string>{});
}

TEST_F(ForeignDatabaseTest, readsADatabaseThatNobodyHasOpen) {
    create(three);
    const auto before = everythingIn("agent");
    EXPECT_EQ(values(), oneToThree);
    EXPECT_EQ(everythingIn("agent"), before);
}

TEST_F(ForeignDatabaseTest, readsADatabaseOfWriteAheadKindThatNobodyHasOpen) {
    create(std::string("PRAGMA journal_mode=WAL;") + three);
    ASSERT_EQ(namesIn(path("agent")), std::set<std::string>{"state.sqlite"});
    const auto before = everythingIn("agent");
    EXPECT_EQ(values(), oneToThree);
    EXPECT_EQ(everythingIn("agent"), before);
}

TEST_F(ForeignDatabaseTest, seesWhatOnlyTheWriteAheadLogHolds) {
    const OtherProgram agent =
        hold(std::string("PRAGMA journal_mode=WAL; PRAGMA wal_autocheckpoint=0;") + three);
    ASSERT_EQ(namesIn(path("agent")),
              (std::set<std::string>{"state.sqlite", "state.sqlite-shm", "state.sqlite-wal"}));
    const auto before = everythingIn("agent");
    std::filesystem::copy(database(), path("alone.sqlite"));
    EXPECT_EQ(valuesOf(path("alone.sqlite")), std::nullopt) << "the log alone has the table";
    EXPECT_EQ(values(), oneToThree);
    EXPECT_EQ(everythingIn("agent"), before);
}

TEST_F(ForeignDatabaseTest, seesTheLogOfAProgramThatDied) {
    hold(std::string("PRAGMA journal_mode=WAL; PRAGMA wal_autocheckpoint=0;") + three);
    std::filesystem::remove(database() + "-shm");
    const auto before = everythingIn("agent");
    EXPECT_EQ(values(), oneToThree);
    EXPECT_EQ(everythingIn("agent"), before);
}

TEST_F(ForeignDatabaseTest, showsNothingOfItselfToSomebodyWhoWatches) {
    const OtherProgram agent =
        hold(std::string("PRAGMA journal_mode=WAL; PRAGMA wal_autocheckpoint=0;") + three);
    create("PRAGMA user_version");
    const auto before = namesIn(path("agent"));
    std::atomic<bool> isDone = false;
    std::atomic<int> rounds = 0;
    std::thread watcher([&] {
        for (; !isDone; ++rounds)
            EXPECT_EQ(namesIn(path("agent")), before);
    });
    for (int i = 0; i < 20 || rounds < 20; ++i)
        EXPECT_EQ(values(), oneToThree);
    isDone = true;
    watcher.join();
}

TEST_F(ForeignDatabaseTest, showsNothingOfItselfBesideADatabaseThatNobodyHasOpen) {
    create(std::string("PRAGMA journal_mode=WAL;") + three);
    readForeignDatabase(database(), [&](SqliteDatabase& db) {
        Values values;
        EXPECT_TRUE(readValues(db, values));
        EXPECT_EQ(namesIn(path("agent")), std::set<std::string>{"state.sqlite"});
        return true;
    });
}

TEST_F(ForeignDatabaseTest, keepsItsCopyToItself) {
    const OtherProgram agent = hold(std::string("PRAGMA journal_mode=WAL;") + three);
    int readings = 0;
    EXPECT_TRUE(readForeignDatabase(database(), [&](SqliteDatabase&) {
        const auto folders = namesIn(temporary);
        EXPECT_EQ(folders.size(), 1u);
        const auto status = std::filesystem::status(temporary + "/" + *folders.begin());
        EXPECT_EQ(static_cast<unsigned>(status.permissions()), 0700u);
        ++readings;
        return true;
    }));
    EXPECT_EQ(readings, 1);
    EXPECT_EQ(namesIn(temporary), std::set<std::string>{});
}

TEST_F(ForeignDatabaseTest, removesItsCopyAfterAReadingThatFails) {
    const OtherProgram agent = hold(std::string("PRAGMA journal_mode=WAL;") + three);
    EXPECT_FALSE(readForeignDatabase(database(), [](SqliteDatabase&) { return false; }));
    EXPECT_EQ(namesIn(temporary), std::set<std::string>{});
}

TEST_F(ForeignDatabaseTest, isMissingWhereNoCopyCanBeMade) {
    const OtherProgram agent = hold(std::string("PRAGMA journal_mode=WAL;") + three);
    const EnvironmentVariable nowhere("TMPDIR", path("nowhere"));
    EXPECT_EQ(values(), std::nullopt);
}

TEST_F(ForeignDatabaseTest, isNotKeptWaitingByAWriter) {
    create(three);
    const OtherProgram agent = hold("BEGIN EXCLUSIVE; INSERT INTO t VALUES (4)");
    const auto before = everythingIn("agent");
    EXPECT_EQ(values(), oneToThree);
    EXPECT_EQ(everythingIn("agent"), before);
}

TEST_F(ForeignDatabaseTest, isNotKeptWaitingByAWriterOfALog) {
    create(std::string("PRAGMA journal_mode=WAL;") + three);
    const OtherProgram agent =
        hold("PRAGMA locking_mode=EXCLUSIVE; BEGIN EXCLUSIVE; INSERT INTO t VALUES (4)");
    const auto before = everythingIn("agent");
    EXPECT_EQ(values(), oneToThree);
    EXPECT_EQ(everythingIn("agent"), before);
}

TEST_F(ForeignDatabaseTest, takesBackWhatAWriterHasWrittenAndNotCommitted) {
    std::string many = "CREATE TABLE t (value, filler);";
    Values expected;
    for (int i = 0; i < 300; ++i) {
        many += "INSERT INTO t VALUES (" + std::to_string(i) + ", zeroblob(1000));";
        expected.push_back(i);
    }
    create("BEGIN;" + many + "COMMIT");
    const std::string before = read("agent/state.sqlite");
    const OtherProgram agent =
        hold("PRAGMA cache_size=2; BEGIN; UPDATE t SET value = -1, filler = zeroblob(900)");
    ASSERT_NE(read("agent/state.sqlite"), before) << "the transaction has reached the file";
    const auto all = everythingIn("agent");
    EXPECT_EQ(values(), expected);
    EXPECT_EQ(everythingIn("agent"), all);
}

TEST_F(ForeignDatabaseTest, locksNothing) {
    create(std::string("PRAGMA journal_mode=WAL;") + three);
    readForeignDatabase(database(), [&](SqliteDatabase& db) {
        Values values;
        EXPECT_TRUE(readValues(db, values));
        // To leave the write-ahead log is only possible for a program that has the database to itself.
        const OtherProgram agent = hold("PRAGMA journal_mode=DELETE; BEGIN EXCLUSIVE; DELETE FROM t; COMMIT");
        return true;
    });
    EXPECT_EQ(values(), Values{});
}

TEST_F(ForeignDatabaseTest, readsAgainWhereTheDatabaseChangesMeanwhile) {
    create(std::string("PRAGMA journal_mode=WAL;") + three);
    std::vector<Values> readings;
    std::optional<OtherProgram> agent;
    EXPECT_TRUE(readForeignDatabase(database(), [&](SqliteDatabase& db) {
        const bool read = readValues(db, readings.emplace_back());
        if (!agent) agent.emplace(hold("INSERT INTO t VALUES (4)"));
        return read;
    }));
    EXPECT_EQ(readings, (std::vector<Values>{{1, 2, 3}, {1, 2, 3, 4}}));
}

TEST_F(ForeignDatabaseTest, isMissingWhereTheDatabaseNeverRests) {
    create(three);
    int readings = 0;
    EXPECT_FALSE(readForeignDatabase(database(), [&](SqliteDatabase&) {
        setModified("agent/state.sqlite", ++readings, 0);
        return true;
    }));
    EXPECT_GT(readings, 1);
}

TEST_F(ForeignDatabaseTest, followsALinkToTheDatabaseAndItsLog) {
    const OtherProgram agent =
        hold(std::string("PRAGMA journal_mode=WAL; PRAGMA wal_autocheckpoint=0;") + three);
    link("agent/state.sqlite", "link.sqlite");
    const auto before = names();
    EXPECT_EQ(valuesOf(path("link.sqlite")), oneToThree);
    EXPECT_EQ(names(), before);
}

TEST_F(ForeignDatabaseTest, isMissingWhereThereIsNoDatabase) {
    EXPECT_EQ(values(), std::nullopt);
    makeFolder("agent/folder");
    EXPECT_EQ(valuesOf(path("agent/folder")), std::nullopt);
    const std::string pipe = path("agent/pipe");
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    EXPECT_EQ(valuesOf(pipe), std::nullopt);
    EXPECT_EQ(valuesOf(write("agent/empty", "")), std::nullopt);
    EXPECT_EQ(valuesOf(write("agent/garbage", std::string(9000, 'g'))), std::nullopt);
    link("nowhere", "agent/link");
    EXPECT_EQ(valuesOf(path("agent/link")), std::nullopt);
    EXPECT_EQ(namesIn(path("agent")), (std::set<std::string>{"empty", "folder", "garbage", "link", "pipe"}));
}

TEST_F(ForeignDatabaseTest, survivesEveryPipeAndFolderBesideIt) {
    create(three);
    ASSERT_EQ(::mkfifo((database() + "-wal").c_str(), 0600), 0);
    makeFolder("agent/state.sqlite-journal");
    EXPECT_EQ(values(), oneToThree);
}

/// Ten commits of one row each, all of them in the log alone.
class TornLogTest : public ForeignDatabaseTest {
protected:
    TornLogTest() {
        create("PRAGMA journal_mode=WAL; CREATE TABLE t (value, filler)");
        std::string commits = "PRAGMA wal_autocheckpoint=0;";
        for (int i = 0; i < 10; ++i)
            commits += "INSERT INTO t VALUES (" + std::to_string(i) + ", zeroblob(600));";
        hold(commits);
        log = read("agent/state.sqlite-wal");
        std::filesystem::remove(database() + "-shm");
    }
    std::string log;
};

TEST_F(TornLogTest, givesWholeCommitsWhereverTheLogIsCut) {
    std::size_t last = 0;
    for (std::size_t size = 0; size <= log.size(); size += 331) {
        write("agent/state.sqlite-wal", log.substr(0, size));
        const auto found = values();
        ASSERT_TRUE(found) << size;
        Values expected;
        for (std::size_t i = 0; i < found->size(); ++i)
            expected.push_back(static_cast<std::int64_t>(i));
        EXPECT_EQ(found, expected) << size;
        EXPECT_GE(found->size(), last) << size;
        last = found->size();
    }
    write("agent/state.sqlite-wal", log);
    EXPECT_EQ(values()->size(), 10u);
}

TEST_F(TornLogTest, readsTheDatabaseAloneWhereTheLogIsGarbage) {
    write("agent/state.sqlite-wal", std::string(log.size(), 'g'));
    EXPECT_EQ(values(), Values{});
}

TEST_F(ForeignDatabaseTest, isMissingWhereTheDatabaseIsCut) {
    create(
        "CREATE TABLE t (value, filler);"
        "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 30)"
        "INSERT INTO t SELECT i, zeroblob(500) FROM n");
    const std::string whole = read("agent/state.sqlite");
    for (const bool hasLog : {false, true}) {
        write("agent/state.sqlite", whole);
        if (hasLog) write("agent/state.sqlite-wal", "");
        EXPECT_EQ(values()->size(), 30u);
        for (std::size_t size = 0; size < whole.size(); size += hasLog ? 4096 : 128) {
            write("agent/state.sqlite", whole.substr(0, size));
            EXPECT_EQ(values(), std::nullopt) << size;
        }
    }
}

TEST_F(ForeignDatabaseTest, neverMixesTwoStatesOfABusyDatabase) {
    create(
        "PRAGMA journal_mode=WAL; CREATE TABLE t (value, filler);"
        "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 200)"
        "INSERT INTO t SELECT 0, zeroblob(500) FROM n");
    const OtherProgram agent(
        [this] { return SqliteDatabase::open(database()); },
        [](auto& opened) { return opened && opened->execute("PRAGMA wal_autocheckpoint=20"); },
        [](auto& opened) { return opened->execute("UPDATE t SET value = value + 1"); });
    int readings = 0;
    for (int i = 0; i < 200; ++i) {
        const auto found = values();
        if (!found) continue;
        ++readings;
        ASSERT_EQ(*found, Values(200, found->front()));
    }
    EXPECT_GT(readings, 0);
    RecordProperty("readings", readings);
}

}  // namespace
}  // namespace ledgerfern
