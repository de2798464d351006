#include "Foundation/Sqlite.h"

#include <unistd.h>

#include <cmath>
#include <limits>
#include <thread>
#include <vector>

#include "core/FileFixture.h"

namespace ledgerfern {
namespace {

using Step = SqliteStatement::Step;

class SqliteTest : public FileFixture {
protected:
    SqliteDatabase database() const {
        auto opened = SqliteDatabase::open(path("test.sqlite"));
        check(opened.has_value(), "a test database can't be opened");
        return std::move(*opened);
    }
    /// The number of rows of the table that each of these tests makes, if it is there.
    static std::optional<std::int64_t> rows(std::optional<SqliteDatabase> database) {
        auto statement = database ? database->prepare("SELECT count(*) FROM t") : std::nullopt;
        if (!statement || statement->step() != Step::row) return std::nullopt;
        return statement->integer(0);
    }
};

TEST_F(SqliteTest, bindsAndReadsEveryType) {
    SqliteDatabase db = database();
    ASSERT_TRUE(db.execute("CREATE TABLE t (a, b, c, d, e)"));
    const std::string text("t\0\xFFx", 4);
    const std::string blob("\0b\0", 3);
    auto insert = db.prepare("INSERT INTO t VALUES (?, ?, ?, ?, ?)");
    ASSERT_TRUE(insert);
    insert->bindText(1, text);
    insert->bindInteger(2, std::numeric_limits<std::int64_t>::min());
    insert->bindDouble(3, 0.1);
    insert->bindBlob(4, blob);
    insert->bindNull(5);
    EXPECT_EQ(insert->step(), Step::done);

    auto select = db.prepare("SELECT * FROM t");
    ASSERT_TRUE(select);
    ASSERT_EQ(select->step(), Step::row);
    EXPECT_EQ(select->text(0), text);
    EXPECT_EQ(select->integer(1), std::numeric_limits<std::int64_t>::min());
    EXPECT_EQ(select->real(2), 0.1);
    EXPECT_EQ(select->blob(3), blob);
    EXPECT_EQ(select->step(), Step::done);
}

TEST_F(SqliteTest, givesNothingForNull) {
    SqliteDatabase db = database();
    auto select = db.prepare("SELECT NULL");
    ASSERT_TRUE(select);
    ASSERT_EQ(select->step(), Step::row);
    EXPECT_EQ(select->text(0), std::nullopt);
    EXPECT_EQ(select->blob(0), std::nullopt);
    EXPECT_EQ(select->integer(0), std::nullopt);
    EXPECT_EQ(select->real(0), std::nullopt);
}

TEST_F(SqliteTest, tellsEmptyFromNull) {
    SqliteDatabase db = database();
    auto select = db.prepare("SELECT ?, ?, typeof(?1), typeof(?2)");
    ASSERT_TRUE(select);
    select->bindText(1, std::string_view());
    select->bindBlob(2, std::string_view());
    ASSERT_EQ(select->step(), Step::row);
    EXPECT_EQ(select->text(0), "");
    EXPECT_EQ(select->blob(1), "");
    EXPECT_EQ(select->text(2), "text");
    EXPECT_EQ(select->text(3), "blob");
}

TEST_F(SqliteTest, convertsAsSqliteDoes) {
    SqliteDatabase db = database();
    auto select = db.prepare("SELECT 42, '7x', 2.5");
    ASSERT_TRUE(select);
    ASSERT_EQ(select->step(), Step::row);
    EXPECT_EQ(select->text(0), "42");
    EXPECT_EQ(select->integer(1), 7);
    EXPECT_EQ(select->integer(2), 2);
}

TEST_F(SqliteTest, runsAStatementAgainAfterAReset) {
    SqliteDatabase db = database();
    auto select = db.prepare("SELECT ? + 1");
    ASSERT_TRUE(select);
    for (const std::int64_t value : {1, 5}) {
        select->bindInteger(1, value);
        ASSERT_EQ(select->step(), Step::row);
        EXPECT_EQ(select->integer(0), value + 1);
        select->reset();
    }
    ASSERT_EQ(select->step(), Step::row);
    EXPECT_EQ(select->integer(0), 6) << "a binding stays";
}

TEST_F(SqliteTest, copiesWhatIsBound) {
    SqliteDatabase db = database();
    auto select = db.prepare("SELECT ?, ?");
    ASSERT_TRUE(select);
    {
        std::string gone(1000, 'x');
        select->bindText(1, gone);
        select->bindBlob(2, gone);
        gone.assign(1000, 'y');
    }
    ASSERT_EQ(select->step(), Step::row);
    EXPECT_EQ(select->text(0), std::string(1000, 'x'));
    EXPECT_EQ(select->blob(1), std::string(1000, 'x'));
}

TEST_F(SqliteTest, storesADoubleThatIsNoNumberAsNull) {
    SqliteDatabase db = database();
    auto select = db.prepare("SELECT ?");
    ASSERT_TRUE(select);
    select->bindDouble(1, std::nan(""));
    ASSERT_EQ(select->step(), Step::row);
    EXPECT_EQ(select->real(0), std::nullopt);
}

TEST_F(SqliteTest, reportsErrors) {
    SqliteDatabase db = database();
    EXPECT_FALSE(db.execute("CREATE NONSENSE"));
    EXPECT_FALSE(db.prepare("SELECT * FROM missing"));
    EXPECT_FALSE(db.prepare(""));
    ASSERT_TRUE(db.execute("CREATE TABLE t (a UNIQUE); INSERT INTO t VALUES (1)"));
    auto insert = db.prepare("INSERT INTO t VALUES (1)");
    ASSERT_TRUE(insert);
    EXPECT_EQ(insert->step(), Step::error);
}

TEST_F(SqliteTest, aBindingTooLargeMakesTheStepAnError) {
    SqliteDatabase db = database();
    auto select = db.prepare("SELECT length(?)");
    ASSERT_TRUE(select);
    const std::string view = "x";
    select->bindText(1, std::string_view(view.data(), std::size_t{1} << 40));  // refused before it is read
    EXPECT_EQ(select->step(), Step::error);
    select->reset();
    select->bindText(1, view);
    ASSERT_EQ(select->step(), Step::row);
    EXPECT_EQ(select->integer(0), 1);
}

TEST_F(SqliteTest, opensOnlyWhatCanBeOpened) {
    EXPECT_FALSE(SqliteDatabase::openReadOnly(path("missing")));
    EXPECT_FALSE(SqliteDatabase::openImmutable(path("missing")));
    EXPECT_FALSE(SqliteDatabase::open(path("no/folder")));
    EXPECT_FALSE(SqliteDatabase::open(folder()));
    EXPECT_EQ(names(), std::set<std::string>{});
}

TEST_F(SqliteTest, seesAFileThatIsNoDatabaseAtTheFirstStatement) {
    write("garbage", std::string(5000, 'g'));
    auto db = SqliteDatabase::openReadOnly(path("garbage"));
    EXPECT_EQ(rows(std::move(db)), std::nullopt);
}

TEST_F(SqliteTest, doesNotWriteToWhatIsReadOnly) {
    ASSERT_TRUE(database().execute("CREATE TABLE t (a)"));
    for (auto open : {SqliteDatabase::openReadOnly, SqliteDatabase::openImmutable}) {
        auto db = open(path("test.sqlite"));
        ASSERT_TRUE(db);
        EXPECT_FALSE(db->execute("INSERT INTO t VALUES (1)"));
        EXPECT_EQ(rows(std::move(db)), 0);
    }
}

TEST_F(SqliteTest, takesEveryPathForAPath) {
    for (const std::string name : {"a?mode=memory", "b#c", "d%41", "file:e?mode=memory", ":memory:", "f g",
                                   "h\"'\\i", "\xC3\xBC", "double//slash"}) {
        makeFolder("double");
        ASSERT_TRUE(
            SqliteDatabase::open(path(name))->execute("CREATE TABLE t (a); INSERT INTO t VALUES (1)"));
        EXPECT_TRUE(std::filesystem::exists(path(name))) << name;
        EXPECT_EQ(rows(SqliteDatabase::openReadOnly(path(name))), 1) << name;
        EXPECT_EQ(rows(SqliteDatabase::openImmutable(path(name))), 1) << name;
        EXPECT_EQ(rows(SqliteDatabase::openImmutable("/" + path(name))), 1) << name;
    }
}

TEST_F(SqliteTest, takesARelativePathForAPathToo) {
    const auto makesAFileOf = [](const std::string& name) {
        auto db = SqliteDatabase::open(name);
        return db && db->execute("CREATE TABLE t (a)") && std::filesystem::exists(name) &&
               rows(SqliteDatabase::openImmutable(name)) == 0;
    };
    for (const std::string name : {":memory:", "file:x?mode=memory", "plain"})
        EXPECT_EXIT(::_exit(::chdir(folder().c_str()) == 0 && makesAFileOf(name) ? 0 : 1),
                    testing::ExitedWithCode(0), "")
            << name;
}

TEST_F(SqliteTest, leavesNoTraceWhereNobodyWrites) {
    ASSERT_TRUE(database().execute("PRAGMA journal_mode=WAL; CREATE TABLE t (a)"));
    const auto before = everything();
    {
        auto db = SqliteDatabase::openImmutable(path("test.sqlite"));
        ASSERT_TRUE(db);
        auto select = db->prepare("SELECT count(*) FROM t");
        ASSERT_TRUE(select);
        EXPECT_EQ(select->step(), Step::row);
        EXPECT_EQ(everything(), before) << "while it is open";
    }
    EXPECT_EQ(everything(), before);
}

TEST_F(SqliteTest, keepsTheDatabaseForAStatementThatOutlivesIt) {
    std::optional<SqliteStatement> select;
    {
        SqliteDatabase db = database();
        select = db.prepare("SELECT 1");
    }
    ASSERT_TRUE(select);
    EXPECT_EQ(select->step(), Step::row);
}

TEST_F(SqliteTest, tellsAsWhatAValueIsStored) {
    using Type = SqliteStatement::Type;
    SqliteDatabase db = database();
    auto select = db.prepare("SELECT NULL, 1, 0.5, 'a', x'00', ''");
    ASSERT_TRUE(select);
    ASSERT_EQ(select->step(), Step::row);
    const std::vector<Type> expected = {Type::null, Type::integer, Type::real,
                                        Type::text, Type::blob,    Type::text};
    for (int column = 0; column < 6; ++column)
        EXPECT_EQ(select->type(column), expected[static_cast<std::size_t>(column)]) << column;
}

TEST_F(SqliteTest, tellsALockFromAnotherFailure) {
    SqliteDatabase db = database();
    SqliteDatabase other = database();
    ASSERT_TRUE(db.execute("CREATE TABLE t (a)"));
    ASSERT_TRUE(other.execute("BEGIN EXCLUSIVE"));
    EXPECT_FALSE(db.execute("INSERT INTO t VALUES (1)"));
    EXPECT_TRUE(db.isLocked());
    ASSERT_TRUE(other.execute("COMMIT"));
    EXPECT_FALSE(db.execute("INSERT INTO missing VALUES (1)"));
    EXPECT_FALSE(db.isLocked());
}

TEST_F(SqliteTest, waitsForALockAsLongAsItHasPatience) {
    SqliteDatabase db = database();
    ASSERT_TRUE(db.execute("CREATE TABLE t (a)"));
    db.setPatience(std::chrono::minutes(5));
    SqliteDatabase other = database();
    ASSERT_TRUE(other.execute("BEGIN EXCLUSIVE"));
    std::thread ending([&] { EXPECT_TRUE(other.execute("COMMIT")); });
    EXPECT_TRUE(db.execute("INSERT INTO t VALUES (1)"));
    ending.join();
}

using SqliteDeathTest = SqliteTest;

TEST_F(SqliteDeathTest, aParameterOrColumnThatIsNotThereIsAFault) {
    SqliteDatabase db = database();
    auto select = db.prepare("SELECT ?");
    ASSERT_TRUE(select);
    EXPECT_DEATH(select->bindInteger(2, 1), "parameter");
    ASSERT_EQ(select->step(), Step::row);
    EXPECT_DEATH(select->text(1), "column");
}

}  // namespace
}  // namespace ledgerfern
