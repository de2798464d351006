#include "Foundation/JsonFilePreferences.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <thread>

#include "Foundation/Check.h"

namespace ledgerfern {
namespace {

namespace fs = std::filesystem;
using Json = nlohmann::json;

class JsonFilePreferencesTest : public testing::Test {
public:
    JsonFilePreferencesTest() {
        std::string pattern = (fs::temp_directory_path() / "preferences-XXXXXX").string();
        home = ::mkdtemp(pattern.data());
        file = home / "support" / "preferences.json";
    }
    ~JsonFilePreferencesTest() override { fs::remove_all(home); }

    void write(const std::string& text) const {
        fs::create_directories(file.parent_path());
        std::ofstream(file, std::ios::binary) << text;
    }
    static std::string contentOf(const fs::path& path) {
        std::ifstream stream(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
    }
    std::vector<std::string> names() const {
        std::vector<std::string> found;
        for (const auto& entry : fs::directory_iterator(file.parent_path()))
            found.push_back(entry.path().filename());
        std::sort(found.begin(), found.end());
        return found;
    }

    fs::path home;
    fs::path file;
};

using Strings = std::vector<std::string>;

/// While this lives, no file of this process grows beyond so many bytes.
class SmallFiles {
public:
    explicit SmallFiles(rlim_t bytes) : handler_(std::signal(SIGXFSZ, SIG_IGN)) {
        check(::getrlimit(RLIMIT_FSIZE, &before_) == 0, "limits can't be read");
        const rlimit small{bytes, before_.rlim_max};
        check(::setrlimit(RLIMIT_FSIZE, &small) == 0, "limits can't be set");
    }
    ~SmallFiles() {
        ::setrlimit(RLIMIT_FSIZE, &before_);
        std::signal(SIGXFSZ, handler_);
    }
    SmallFiles(const SmallFiles&) = delete;
    SmallFiles& operator=(const SmallFiles&) = delete;

private:
    rlimit before_{};
    void (*handler_)(int);
};

TEST_F(JsonFilePreferencesTest, readsNothingWhereThereIsNoFileAndMakesNone) {
    const JsonFilePreferences preferences(file);
    EXPECT_EQ(preferences.bytes("a"), std::nullopt);
    EXPECT_EQ(preferences.strings("a"), std::nullopt);
    EXPECT_FALSE(fs::exists(file.parent_path()));
}

TEST_F(JsonFilePreferencesTest, keepsBytesAndStringsForTheNextRun) {
    {
        JsonFilePreferences preferences(file);
        EXPECT_TRUE(preferences.setBytes("prices", R"({"a": 1})"));
        EXPECT_TRUE(preferences.setStrings("keys", {"b", "", "ü"}));
        EXPECT_TRUE(preferences.setBytes("empty", ""));
        EXPECT_TRUE(preferences.setStrings("none", {}));
    }
    const JsonFilePreferences preferences(file);
    EXPECT_EQ(preferences.bytes("prices"), R"({"a": 1})");
    EXPECT_EQ(preferences.strings("keys"), (Strings{"b", "", "ü"}));
    EXPECT_EQ(preferences.bytes("empty"), "");
    EXPECT_EQ(preferences.strings("none"), Strings());
    EXPECT_EQ(names(), Strings{"preferences.json"});
}

TEST_F(JsonFilePreferencesTest, keepsBytesThatAreNoText) {
    JsonFilePreferences preferences(file);
    const std::string all = [] {
        std::string bytes;
        for (int byte = 0; byte < 256; ++byte)
            bytes += static_cast<char>(byte);
        return bytes;
    }();
    EXPECT_TRUE(preferences.setBytes("a", all));
    EXPECT_EQ(preferences.bytes("a"), all);
    EXPECT_TRUE(preferences.setBytes("a", std::string("\0\"\\", 3)));
    EXPECT_EQ(preferences.bytes("a"), std::string("\0\"\\", 3));
}

TEST_F(JsonFilePreferencesTest, takesAValueOfAnotherFormAsAbsent) {
    write(
        R"({"number": 1, "list": ["a", 1], "hex": {"hex": "0g"}, "odd": {"hex": "123"}, "other": {"x": "00"},
              "text": "t", "null": null})");
    const JsonFilePreferences preferences(file);
    for (const char* key : {"number", "list", "hex", "odd", "other", "null", "missing"}) {
        EXPECT_EQ(preferences.bytes(key), std::nullopt) << key;
        EXPECT_EQ(preferences.strings(key), std::nullopt) << key;
    }
    EXPECT_EQ(preferences.bytes("text"), "t");
    EXPECT_EQ(preferences.strings("text"), std::nullopt);
}

TEST_F(JsonFilePreferencesTest, keepsWhatItDoesNotKnow) {
    write(R"({"z": {"deep": [1, 2.5, null]}, "mine": "old", "a": true})");
    JsonFilePreferences preferences(file);
    EXPECT_TRUE(preferences.setBytes("mine", "new"));
    EXPECT_EQ(Json::parse(contentOf(file)),
              Json::parse(R"({"z": {"deep": [1, 2.5, null]}, "mine": "new", "a": true})"));
    EXPECT_LT(contentOf(file).find("\"z\""), contentOf(file).find("\"a\""));  // in their order
}

TEST_F(JsonFilePreferencesTest, seesWhatAnotherOneWrote) {
    JsonFilePreferences one(file);
    JsonFilePreferences other(file);
    EXPECT_TRUE(one.setBytes("a", "1"));
    EXPECT_TRUE(other.setBytes("b", "2"));
    EXPECT_EQ(one.bytes("b"), "2");
    EXPECT_EQ(other.bytes("a"), "1");
}

TEST_F(JsonFilePreferencesTest, keepsADamagedFileAsideBeforeTheFirstWrite) {
    for (const char* damaged : {"", "{\"a\": \"1\"", "[]", "\"x\"", "\xff"}) {
        fs::remove_all(file.parent_path());
        write(damaged);
        JsonFilePreferences preferences(file);
        EXPECT_EQ(preferences.bytes("a"), std::nullopt);
        EXPECT_EQ(contentOf(file), damaged);
        EXPECT_TRUE(preferences.setBytes("b", "2"));
        EXPECT_EQ(preferences.bytes("b"), "2");
        EXPECT_EQ(contentOf(file.string() + ".damaged"), damaged);
        EXPECT_EQ(names(), (Strings{"preferences.json", "preferences.json.damaged"}));
    }
}

TEST_F(JsonFilePreferencesTest, keepsEveryDamagedFile) {
    JsonFilePreferences preferences(file);
    for (const char* damaged : {"one", "two", "three"}) {
        write(damaged);
        EXPECT_TRUE(preferences.setBytes("a", "1"));
    }
    EXPECT_EQ(contentOf(file.string() + ".damaged"), "one");
    EXPECT_EQ(contentOf(file.string() + ".damaged-2"), "two");
    EXPECT_EQ(contentOf(file.string() + ".damaged-3"), "three");
}

TEST_F(JsonFilePreferencesTest, keepsAFolderInTheFilesPlaceAside) {
    fs::create_directories(file / "inside");
    JsonFilePreferences preferences(file);
    EXPECT_EQ(preferences.bytes("a"), std::nullopt);
    EXPECT_TRUE(preferences.setBytes("a", "1"));
    EXPECT_EQ(preferences.bytes("a"), "1");
    EXPECT_TRUE(fs::exists(fs::path(file.string() + ".damaged") / "inside"));
}

TEST_F(JsonFilePreferencesTest, changesNothingWhereItCannotWrite) {
    std::ofstream(home / "support") << "a file where the folder should be";
    JsonFilePreferences preferences(file);
    EXPECT_FALSE(preferences.setBytes("a", "1"));
    EXPECT_EQ(preferences.bytes("a"), std::nullopt);
    EXPECT_EQ(contentOf(home / "support"), "a file where the folder should be");
}

TEST_F(JsonFilePreferencesTest, leavesADamagedFileWhereItIsIfItsSuccessorCanNotBeWritten) {
    write("x");
    JsonFilePreferences preferences(file);
    {
        const SmallFiles few(4);
        EXPECT_FALSE(preferences.setBytes("a", "1"));
    }
    EXPECT_EQ(contentOf(file), "x");
    EXPECT_EQ(names(), (Strings{"preferences.json"}));
    EXPECT_TRUE(preferences.setBytes("a", "1"));
}

TEST_F(JsonFilePreferencesTest, leavesAFileAloneThatCanNotBeRead) {
    fs::create_directories(file.parent_path());
    fs::create_symlink(file, file);
    JsonFilePreferences preferences(file);
    EXPECT_EQ(preferences.bytes("a"), std::nullopt);
    EXPECT_FALSE(preferences.setBytes("a", "1"));
    EXPECT_EQ(fs::read_symlink(file), file);
    EXPECT_EQ(names(), (Strings{"preferences.json"}));
}

TEST_F(JsonFilePreferencesTest, refusesStringsThatAreNoText) {
    JsonFilePreferences preferences(file);
    EXPECT_TRUE(preferences.setStrings("a", {"x"}));
    EXPECT_FALSE(preferences.setStrings("a", {"\xff"}));
    EXPECT_EQ(preferences.strings("a"), Strings{"x"});
}

TEST_F(JsonFilePreferencesTest, servesSeveralThreads) {
    JsonFilePreferences preferences(file);
    const auto work = [&](const std::string& key) {
        for (int i = 0; i < 20; ++i) {
            EXPECT_TRUE(preferences.setBytes(key, std::to_string(i)));
            EXPECT_EQ(preferences.bytes(key), std::to_string(i));
        }
    };
    std::thread one(work, "one"), two(work, "two"), three(work, "three");
    one.join();
    two.join();
    three.join();
    for (const char* key : {"one", "two", "three"})
        EXPECT_EQ(preferences.bytes(key), "19");
    EXPECT_EQ(names(), Strings{"preferences.json"});
}

}  // namespace
}  // namespace ledgerfern
