#include "Engine/ThreadNames.h"

#include <gmock/gmock.h>

#include <array>
#include <random>
#include <vector>

#include "Foundation/Sqlite.h"
#include "Foundation/UnicodeText.h"
#include "core/FileFixture.h"
#include "core/OtherProgram.h"

namespace ledgerfern {
namespace {

using testing::IsEmpty;

class ThreadNamesTest : public FileFixture {
protected:
    using Cell = std::optional<std::string>;
    struct Row {
        Cell id, path, title, name;
    };

    ThreadNames names() const { return loadThreadNames(folder()); }
    void index(const std::string& lines) const { write("session_index.jsonl", lines); }
    void threads(const std::vector<Row>& rows) const {
        auto db = SqliteDatabase::open(path("state_5.sqlite"));
        check(
            db &&
                db->execute(
                    "CREATE TABLE threads (id TEXT, rollout_path TEXT, title TEXT, name TEXT, more); BEGIN"),
            "a test database can't be written");
        auto insert = db->prepare("INSERT INTO threads VALUES (?, ?, ?, ?, 1)");
        for (const Row& row : rows) {
            int parameter = 0;
            for (const Cell& cell : {row.id, row.path, row.title, row.name})
                cell ? insert->bindText(++parameter, *cell) : insert->bindNull(++parameter);
            check(insert->step() == SqliteStatement::Step::done, "a test row can't be written");
            insert->reset();
        }
        check(db->execute("COMMIT"), "a test database can't be written");
    }
};

TEST_F(ThreadNamesTest, areEmptyWithNeitherSource) {
    EXPECT_THAT(names(), IsEmpty());
    EXPECT_THAT(loadThreadNames(path("missing")), IsEmpty());
}

TEST_F(ThreadNamesTest, standUnderPathAndId) {
    threads({{"id-1", "/logs/1.jsonl", "A title", "A name"}});
    EXPECT_EQ(names(), (ThreadNames{{"/logs/1.jsonl", "A name"}, {"id-1", "A name"}}));
}

TEST_F(ThreadNamesTest, comeFromTheDatabaseFirst) {
    threads({{"id-1", "/logs/1.jsonl", "", "From the database"}});
    index(R"({"id": "id-1", "thread_name": "From the index"})");
    EXPECT_EQ(names(), (ThreadNames{{"/logs/1.jsonl", "From the database"}, {"id-1", "From the database"}}));
}

TEST_F(ThreadNamesTest, comeFromTheIndexWhereTheDatabaseHasNone) {
    threads({{"id-1", "/logs/1.jsonl", "", std::nullopt}, {"id-2", "/logs/2.jsonl", "", ""}});
    index("{\"id\":\"id-1\",\"thread_name\":\"One\"}\n{\"id\":\"id-2\",\"thread_name\":\"Two\"}\n");
    EXPECT_EQ(
        names(),
        (ThreadNames{{"/logs/1.jsonl", "One"}, {"/logs/2.jsonl", "Two"}, {"id-1", "One"}, {"id-2", "Two"}}));
}

TEST_F(ThreadNamesTest, haveNoPathWhereOnlyTheIndexKnowsThem) {
    threads({{"id-1", "/logs/1.jsonl", "", "One"}});
    index(R"({"id": "id-9", "thread_name": "Nine"})");
    EXPECT_EQ(names(), (ThreadNames{{"/logs/1.jsonl", "One"}, {"id-1", "One"}, {"id-9", "Nine"}}));
}

TEST_F(ThreadNamesTest, areNotMadeOfTitles) {
    threads({{"id-1", "/logs/1.jsonl", "Only a title", std::nullopt}});
    EXPECT_THAT(names(), IsEmpty());
}

TEST_F(ThreadNamesTest, areTitlesOnlyWhereIdAndPathCoincide) {
    threads({{"same", "same", "A title\nand more", ""},
             {"id-2", "id-3", "Two", ""},
             {"id-3", "/logs/3.jsonl", "Three", ""}});
    EXPECT_EQ(names(), (ThreadNames{{"same", "A title"}, {"/logs/3.jsonl", "Two"}, {"id-3", "Two"}}));
}

TEST_F(ThreadNamesTest, areLeftOutWhereEmptyAtEverySource) {
    threads({{"id-1", "/logs/1.jsonl", "", ""}, {"same", "same", "\nsecond line", ""}});
    index("{\"id\":\"id-1\",\"thread_name\":\"\"}\n{\"id\":\"id-2\",\"thread_name\":\"\"}");
    EXPECT_THAT(names(), IsEmpty());
}

TEST_F(ThreadNamesTest, skipRowsWithoutIdPathOrTitle) {
    threads({{std::nullopt, "/logs/1.jsonl", "t", "One"},
             {"id-2", std::nullopt, "t", "Two"},
             {"id-3", "/logs/3.jsonl", std::nullopt, "Three"},
             {"id-4", "/logs/4.jsonl", "", "Four"}});
    index("{\"id\":\"id-3\",\"thread_name\":\"Of the index\"}");
    EXPECT_EQ(names(), (ThreadNames{{"/logs/4.jsonl", "Four"}, {"id-4", "Four"}, {"id-3", "Of the index"}}));
}

TEST_F(ThreadNamesTest, keepTheLastRowOfAnId) {
    threads({{"id-1", "/logs/old.jsonl", "", "Old"}, {"id-1", "/logs/new.jsonl", "", "New"}});
    EXPECT_EQ(names(), (ThreadNames{{"/logs/new.jsonl", "New"}, {"id-1", "New"}}));
}

TEST_F(ThreadNamesTest, keepAnEntryThatAPathHasMadeUnderAnId) {
    threads({{"id-1", "id-2", "", "One"}, {"id-2", "/logs/2.jsonl", "", "Two"}});
    EXPECT_EQ(names(), (ThreadNames{{"id-2", "One"}, {"/logs/2.jsonl", "Two"}, {"id-1", "One"}}));
}

TEST_F(ThreadNamesTest, takeTheIndexesLastLineOfAnId) {
    index(
        "{\"id\":\"a\",\"thread_name\":\"First\"}\n{\"id\":\"a\",\"thread_name\":\"Last\"}\n"
        "{\"id\":\"a\",\"thread_name\":\"\"}\n{\"id\":\"b\",\"thread_name\":\"B\"}");
    EXPECT_EQ(names(), (ThreadNames{{"a", "Last"}, {"b", "B"}}));
}

TEST_F(ThreadNamesTest, skipLinesOfTheIndexThatDoNotRead) {
    index(
        "\n\n{\"id\":\"a\",\"thread_name\":\"A\"}\r\n\r\n   \n"
        "not JSON\n{\"id\":\"b\",\"thread_name\":\"B\"\n[\"id\",\"thread_name\"]\n\"text\"\n7\nnull\n"
        "{\"id\":1,\"thread_name\":\"C\"}\n{\"id\":\"d\",\"thread_name\":null}\n{\"id\":\"e\"}\n{}\n"
        "{\"thread_name\":\"F\"}\n{\"id\":\"g\",\"thread_name\":\"\xFF\"}\n"
        "{\"id\":\"h\",\"thread_name\":\"H\"} {\"id\":\"i\",\"thread_name\":\"I\"}\n"
        "\xEF\xBB\xBF{\"id\":\"j\",\"thread_name\":\"J\"}\n"
        "{\"id\":\"\",\"thread_name\":\"no id\"}\n{\"x\":[{}],\"thread_name\":\"K\\u00e4\\n\",\"id\":\"k\"}");
    EXPECT_EQ(names(), (ThreadNames{{"a", "A"}, {"", "no id"}, {"k", "K\u00E4\n"}}));
}

TEST_F(ThreadNamesTest, comeFromTheIndexAloneWhereTheDatabaseDoesNotRead) {
    const std::string line = R"({"id": "a", "thread_name": "A"})";
    const ThreadNames expected = {{"a", "A"}};
    index(line);
    EXPECT_EQ(names(), expected);
    write("state_5.sqlite", std::string(5000, 'g'));
    EXPECT_EQ(names(), expected);
    std::filesystem::remove(path("state_5.sqlite"));
    auto db = SqliteDatabase::open(path("state_5.sqlite"));
    ASSERT_TRUE(db && db->execute("CREATE TABLE threads (id, rollout_path, title)"));
    EXPECT_EQ(names(), expected) << "a column is missing";
    ASSERT_TRUE(db->execute("DROP TABLE threads; CREATE TABLE other (id)"));
    EXPECT_EQ(names(), expected) << "the table is missing";
}

TEST_F(ThreadNamesTest, comeFromTheDatabaseAloneWhereTheIndexDoesNotRead) {
    threads({{"id-1", "/logs/1.jsonl", "", "One"}});
    makeFolder("session_index.jsonl");
    EXPECT_EQ(names(), (ThreadNames{{"/logs/1.jsonl", "One"}, {"id-1", "One"}}));
}

TEST_F(ThreadNamesTest, takeNothingFromADatabaseThatIsTorn) {
    std::vector<Row> rows;
    for (int i = 0; i < 400; ++i) {
        const std::string number = std::to_string(i);
        rows.push_back({"id-" + number, "/logs/" + number, std::string(100, 't'), "Name " + number});
    }
    threads(rows);
    ASSERT_EQ(names().size(), 800u);
    const std::string whole = read("state_5.sqlite");
    // The root of the table's tree stands, and a leaf is gone.
    std::string torn = whole;
    torn.replace(torn.size() - 4096, 4096, std::string(4096, '\xEE'));
    write("state_5.sqlite", torn);
    EXPECT_THAT(names(), IsEmpty());
    write("state_5.sqlite-wal", "the rest of a log");
    EXPECT_THAT(names(), IsEmpty());
    write("state_5.sqlite", whole.substr(0, whole.size() - 4096));
    EXPECT_THAT(names(), IsEmpty());
    write("state_5.sqlite", whole);
    EXPECT_EQ(names().size(), 800u);
}

TEST_F(ThreadNamesTest, repairNamesAndKeepIdsAndPathsAsBytes) {
    threads({{"id\xFF", "/logs/\xFF.jsonl", "", "Name \xC3"}, {"two\xFF", "two\xFF", "Title \xFF", ""}});
    EXPECT_EQ(names(), (ThreadNames{{"/logs/\xFF.jsonl", "Name \uFFFD"},
                                    {"id\xFF", "Name \uFFFD"},
                                    {"two\xFF", "Title \uFFFD"}}));
}

TEST_F(ThreadNamesTest, readNumbersAndBlobsAsText) {
    auto db = SqliteDatabase::open(path("state_5.sqlite"));
    ASSERT_TRUE(db && db->execute("CREATE TABLE threads (id, rollout_path, title, name);"
                                  "INSERT INTO threads VALUES (7, x'2f61', 1.5, 42)"));
    EXPECT_EQ(names(), (ThreadNames{{"7", "42"}, {"/a", "42"}}));
}

TEST_F(ThreadNamesTest, seeWhatTheAgentHasNotYetMovedIntoItsDatabase) {
    threads({{"id-1", "/logs/1.jsonl", "", "One"}});
    index("{\"id\":\"id-3\",\"thread_name\":\"Three\"}");
    const OtherProgram agent([this] { return SqliteDatabase::open(path("state_5.sqlite")); },
                             [](auto& db) {
                                 return db && db->execute(
                                                  "PRAGMA journal_mode=WAL; PRAGMA wal_autocheckpoint=0;"
                                                  "INSERT INTO threads (id, rollout_path, title, name)"
                                                  "VALUES ('id-2', '/logs/2.jsonl', '', 'Two')");
                             });
    ASSERT_TRUE(agent.isReady());
    const auto before = everything();
    EXPECT_EQ(before.size(), 4u) << "the database, its log and its index, and the list";
    EXPECT_EQ(names(), (ThreadNames{{"/logs/1.jsonl", "One"},
                                    {"/logs/2.jsonl", "Two"},
                                    {"id-1", "One"},
                                    {"id-2", "Two"},
                                    {"id-3", "Three"}}));
    EXPECT_EQ(everything(), before);
}

TEST_F(ThreadNamesTest, areReadWithoutATrace) {
    threads({{"id-1", "/logs/1.jsonl", "", "One"}});
    index("{\"id\":\"id-3\",\"thread_name\":\"Three\"}");
    const auto before = everything();
    EXPECT_EQ(names().size(), 3u);
    EXPECT_EQ(everything(), before);
}

TEST_F(ThreadNamesTest, surviveAnyIndex) {
    static const std::vector<std::string> pieces = {"{",
                                                    "}",
                                                    "\"id\"",
                                                    "\"thread_name\"",
                                                    ":",
                                                    ",",
                                                    "\"a\"",
                                                    "\"B\"",
                                                    "\n",
                                                    "[",
                                                    "]",
                                                    "\\",
                                                    "\"",
                                                    "1e999",
                                                    "null",
                                                    "\xFF",
                                                    "\\ud83d",
                                                    "\r",
                                                    " ",
                                                    "{\"id\":\"a\",",
                                                    "\"thread_name\":\"N\"}",
                                                    "{\"id\":\"good\",\"thread_name\":\"Good\"}"};
    std::mt19937 random(20260302);
    for (int i = 0; i < 500; ++i) {
        std::string garbage;
        for (auto count = random() % 60; count > 0; --count)
            garbage += pieces[random() % pieces.size()];
        SCOPED_TRACE(testing::PrintToString(garbage));
        index(garbage + "\n{\"id\":\"sound\",\"thread_name\":\"Sound\"}\n" + garbage);
        const ThreadNames found = names();
        ASSERT_TRUE(found.contains("sound"));
        for (const auto& [id, name] : found)
            ASSERT_TRUE(isValidUtf8(id) && isValidUtf8(name) && !name.empty());
    }
}

TEST_F(ThreadNamesTest, surviveAnyDatabase) {
    std::vector<Row> rows;
    for (int i = 0; i < 60; ++i)
        rows.push_back({"id-" + std::to_string(i), "/logs/" + std::to_string(i), "Title", "Name"});
    threads(rows);
    const std::string whole = read("state_5.sqlite");
    std::mt19937 random(20260303);
    for (int i = 0; i < 300; ++i) {
        std::string damaged = whole;
        for (int n = 0; n < 8; ++n)
            damaged[random() % (i % 2 == 0 ? 200 : damaged.size())] = static_cast<char>(random());
        write("state_5.sqlite", damaged);
        EXPECT_LE(names().size(), 4 * rows.size());
    }
}

TEST(ShortenedTitle, keepsEightyCharacters) {
    const std::string eighty(80, 'x');
    EXPECT_EQ(shortenedTitle(""), "");
    EXPECT_EQ(shortenedTitle("short"), "short");
    EXPECT_EQ(shortenedTitle(eighty), eighty);
    EXPECT_EQ(shortenedTitle(eighty + "y"), eighty + "...");
    EXPECT_EQ(characterCount(shortenedTitle(eighty + eighty)), 83u);
}

TEST(ShortenedTitle, countsCharactersAndNotBytes) {
    std::string eighty;
    for (int i = 0; i < 80; ++i)
        eighty += "\U0001F468\u200D\U0001F469\u200D\U0001F467";
    EXPECT_EQ(shortenedTitle(eighty), eighty);
    EXPECT_EQ(shortenedTitle(eighty + "e\u0301"), eighty + "...");
}

TEST(ShortenedTitle, keepsTheFirstLine) {
    EXPECT_EQ(shortenedTitle("one\ntwo"), "one");
    EXPECT_EQ(shortenedTitle("\ntwo"), "");
    EXPECT_EQ(shortenedTitle(std::string(80, 'x') + "\nmore"), std::string(80, 'x'));
    EXPECT_EQ(shortenedTitle(std::string(81, 'x') + "\nmore"), std::string(80, 'x') + "...");
}

}  // namespace
}  // namespace ledgerfern
