#include "core/ClaudeStatusLineFixture.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include "Foundation/JsonDocument.h"

namespace ledgerfern {
namespace {

using testing::HasSubstr;
using ClaudeStatusLineTest = ClaudeStatusLineFixture;

TEST_F(ClaudeStatusLineTest, theCommandQuotesThePath) {
    EXPECT_EQ(ClaudeStatusLine::wrapperCommand("/a b/L"), "bash \"/a b/L/claude-statusline.sh\"");
}

TEST_F(ClaudeStatusLineTest, withoutSettingsMakesThem) {
    EXPECT_FALSE(isInstalled());
    ASSERT_TRUE(install());
    EXPECT_TRUE(isInstalled());
    EXPECT_EQ(settingsText(), "{\n  \"statusLine\": {\n    \"command\": " +
                                  jsonText({wrapper()}).substr(0, jsonText({wrapper()}).size() - 1) +
                                  ",\n    \"type\": \"command\"\n  }\n}\n");
    EXPECT_FALSE(exists(backup));
    EXPECT_EQ(former(), "");
    ASSERT_TRUE(uninstall());
    EXPECT_EQ(settingsText(), "{}\n");
    EXPECT_FALSE(exists(original));
}

TEST_F(ClaudeStatusLineTest, leavesScriptReadingAndBackupBehind) {
    const std::string status = "Application Support/Ledgerfern/claude-status.json";
    writeSettings("{}");
    ASSERT_TRUE(install());
    write(status, "a reading");
    const std::string runs = read(script);
    ASSERT_TRUE(uninstall());
    EXPECT_EQ(read(script), runs);
    EXPECT_EQ(read(status), "a reading");
    EXPECT_EQ(read(backup), "{}");
    EXPECT_EQ(namesIn(support()), (std::set<std::string>{"claude-statusline.sh", "claude-status.json"}));
}

TEST_F(ClaudeStatusLineTest, anEmptyFileIsAnEmptyObject) {
    writeSettings("");
    ASSERT_TRUE(install());
    EXPECT_TRUE(isInstalled());
    EXPECT_TRUE(exists(backup));
    EXPECT_EQ(read(backup), "");
}

TEST_F(ClaudeStatusLineTest, keepsEverySettingAndTheFormerCommand) {
    const std::string before =
        R"({"z":1.0,"statusLine":{"type":"command","command":"my 'line'\n\"x\"","padding":0},"model":"opus","big":1e30})";
    writeSettings(before);
    ASSERT_TRUE(install());
    EXPECT_EQ(former(), "my 'line'\n\"x\"");
    EXPECT_EQ(read(backup), before);
    EXPECT_THAT(settingsText(), HasSubstr("\"padding\": 0"));
    EXPECT_THAT(settingsText(), HasSubstr("\"z\": 1.0"));
    EXPECT_THAT(settingsText(), HasSubstr("\"big\": 1e30"));
    ASSERT_TRUE(uninstall());
    JsonErrorPlace place;
    EXPECT_EQ(readJsonDocument(settingsText(), place), readJsonDocument(before, place));
    EXPECT_EQ(read(backup), before);
}

TEST_F(ClaudeStatusLineTest, theStatusLineBecomesACommandAndStaysOne) {
    writeSettings(R"({"statusLine":{"type":"static","command":"mine"}})");
    ASSERT_TRUE(install());
    EXPECT_THAT(settingsText(), HasSubstr(R"("type": "command")"));
    writeSettings(R"({"statusLine":{"command":"mine"}})");
    ASSERT_TRUE(install());
    ASSERT_TRUE(uninstall());
    EXPECT_EQ(settingsText(),
              "{\n  \"statusLine\": {\n    \"command\": \"mine\",\n"
              "    \"type\": \"command\"\n  }\n}\n");
}

TEST_F(ClaudeStatusLineTest, halfASurrogatePairStaysAsItStands) {
    writeSettings(R"({"\uDC00":"a\ud83d\n","statusLine":{"command":"mine","\ud800":1}})");
    ASSERT_TRUE(install());
    EXPECT_TRUE(isInstalled());
    ASSERT_TRUE(uninstall());
    EXPECT_EQ(settingsText(), R"({
  "statusLine": {
    "command": "mine",
    "type": "command",
    "\ud800": 1
  },
  "\uDC00": "a\ud83d\n"
}
)");
}

TEST_F(ClaudeStatusLineTest, aCommandThatCannotBeSavedStaysByteForByte) {
    const std::string text = R"({"statusLine":{"command":"echo \ud83d"}})";
    writeSettings(text);
    EXPECT_EQ(install().error, "the status line's command in “" + settings() +
                                   "” holds half of a surrogate pair, which can't be saved; correct it, and "
                                   "try again");
    EXPECT_EQ(settingsText(), text);
    EXPECT_FALSE(exists(script));
    EXPECT_FALSE(exists(backup));
}

TEST_F(ClaudeStatusLineTest, aPathThatSettingsCannotHoldIsRefused) {
    const std::string bad = path("a\xFF/Ledgerfern");
    for (const char* text : {R"({"statusLine":{"command":"mine"}})", R"({})"}) {
        writeSettings(text);
        EXPECT_EQ(ClaudeStatusLine::install(settings(), bad).error,
                  "the path “" + path("a\uFFFD/Ledgerfern") +
                      "” isn't UTF-8, so Claude Code's settings can't hold it; rename its folders, and try "
                      "again");
        EXPECT_FALSE(ClaudeStatusLine::isInstalled(settings(), bad));
        EXPECT_EQ(settingsText(), text);
        EXPECT_EQ(names(), std::set<std::string>{"claude"});
        EXPECT_EQ(namesIn(path("claude")), std::set<std::string>{"settings.json"});
    }
}

TEST_F(ClaudeStatusLineTest, installingTwiceOnlyRefreshesTheScript) {
    writeSettings(R"({"statusLine":{"command":"mine"}})");
    ASSERT_TRUE(install());
    const std::string once = settingsText();
    write(script, "old");
    ASSERT_TRUE(install());
    EXPECT_EQ(settingsText(), once);
    EXPECT_EQ(former(), "mine");
    EXPECT_EQ(read(script), ClaudeStatusLine::script(support()));
}

TEST_F(ClaudeStatusLineTest, theFirstBackupStays) {
    writeSettings(R"({"a":1})");
    ASSERT_TRUE(install());
    ASSERT_TRUE(uninstall());
    writeSettings(R"({"a":2})");
    ASSERT_TRUE(install());
    EXPECT_EQ(read(backup), R"({"a":1})");
}

TEST_F(ClaudeStatusLineTest, aStatusLineWithoutACommandIsTakenOutWhole) {
    writeSettings(R"({"statusLine":{"padding":2},"a":1})");
    ASSERT_TRUE(install());
    EXPECT_EQ(former(), "");
    EXPECT_THAT(settingsText(), HasSubstr("\"padding\": 2"));
    ASSERT_TRUE(uninstall());
    EXPECT_EQ(settingsText(), "{\n  \"a\": 1\n}\n");
}

TEST_F(ClaudeStatusLineTest, aStatusLineThatIsNoObjectIsReplaced) {
    for (const char* line : {"\"text\"", "[1]", "null", "{\"command\":5}"}) {
        writeSettings(std::string(R"({"statusLine":)") + line + "}");
        ASSERT_TRUE(install());
        EXPECT_TRUE(isInstalled()) << line;
        EXPECT_EQ(former(), "") << line;
    }
}

TEST_F(ClaudeStatusLineTest, whatIsNotOursStays) {
    writeSettings(R"({"statusLine":{"command":"mine"}})");
    ASSERT_TRUE(uninstall());
    EXPECT_EQ(settingsText(), R"({"statusLine":{"command":"mine"}})");
    ASSERT_TRUE(install());
    for (const char* text : {R"({"statusLine":"x"})", R"({"statusLine":{"command":5}})",
                             R"({"statusLine":{"command":"another"}})"}) {
        writeSettings(text);
        EXPECT_FALSE(isInstalled());
        ASSERT_TRUE(uninstall());
        EXPECT_EQ(settingsText(), text);
        EXPECT_EQ(former(), "mine");
    }
    ASSERT_TRUE(install());
    EXPECT_EQ(former(), "another");
}

TEST_F(ClaudeStatusLineTest, settingsThatCannotBeUnderstoodStayByteForByte) {
    for (const char* text : {"[]", "1", "{", "{\"a\":}", "\xEF\xBB\xBF{}"}) {
        writeSettings(text);
        EXPECT_FALSE(isInstalled());
        EXPECT_FALSE(install()) << text;
        EXPECT_FALSE(uninstall()) << text;
        EXPECT_EQ(settingsText(), text);
        EXPECT_FALSE(exists(backup));
        EXPECT_FALSE(exists(script));
    }
    writeSettings("[]");
    EXPECT_EQ(install().error, settings() + " isn't a JSON object; not changing it.");
    writeSettings("{\n1}");
    EXPECT_EQ(install().error,
              "“" + settings() +
                  "” isn't valid JSON (line 2, column 1) and stays as it is; correct it, and try again");
}

TEST_F(ClaudeStatusLineTest, aLinkStaysOneAndPermissionsStay) {
    write("elsewhere/real.json", R"({"a":1})");
    std::filesystem::permissions(path("elsewhere/real.json"), std::filesystem::perms(0600));
    makeFolder("claude");
    link("../elsewhere/real.json", "claude/settings.json");
    ASSERT_TRUE(install());
    EXPECT_TRUE(std::filesystem::is_symlink(settings()));
    EXPECT_TRUE(isInstalled());
    EXPECT_EQ(std::filesystem::status(path("elsewhere/real.json")).permissions(),
              std::filesystem::perms(0600));
    EXPECT_EQ(std::filesystem::status(path(backup)).permissions(), std::filesystem::perms(0600));
    EXPECT_FALSE(std::filesystem::is_symlink(path(backup)));
    ASSERT_TRUE(uninstall());
    EXPECT_EQ(read("elsewhere/real.json"), "{\n  \"a\": 1\n}\n");
}

TEST_F(ClaudeStatusLineTest, theScriptMayBeRunWhateverWasThereAndWhateverTheMask) {
    write(script, "old");
    std::filesystem::permissions(path(script), std::filesystem::perms(0600));
    const mode_t mask = ::umask(077);
    EXPECT_TRUE(install());
    ::umask(mask);
    EXPECT_EQ(std::filesystem::status(path(script)).permissions(), std::filesystem::perms(0755));
}

TEST_F(ClaudeStatusLineTest, aFolderInPlaceOfTheSettingsIsAnError) {
    makeFolder("claude/settings.json");
    EXPECT_FALSE(isInstalled());
    EXPECT_THAT(install().error.value_or(""), HasSubstr("can't read"));
}

TEST_F(ClaudeStatusLineTest, aFolderThatCannotBeMadeIsAnErrorThatNamesIt) {
    write("Application Support", "a file");
    writeSettings("{}");
    EXPECT_THAT(install().error.value_or(""), HasSubstr("can't make the folder “" + support() + "”"));
    EXPECT_EQ(settingsText(), "{}");
    std::filesystem::remove(path("Application Support"));
    std::filesystem::remove_all(path("claude"));
    link("nowhere/deep/settings.json", "claude");
    EXPECT_FALSE(install());
    EXPECT_FALSE(isInstalled());
}

TEST_F(ClaudeStatusLineTest, aLinkThatLeadsNowhereGetsItsTarget) {
    makeFolder("claude");
    link("../elsewhere/real.json", "claude/settings.json");
    ASSERT_TRUE(install());
    EXPECT_TRUE(std::filesystem::is_symlink(settings()));
    EXPECT_TRUE(std::filesystem::is_regular_file(path("elsewhere/real.json")));
    EXPECT_FALSE(exists(backup));
    EXPECT_TRUE(isInstalled());
}

TEST_F(ClaudeStatusLineTest, aFormerCommandThatIsNoTextCountsAsNone) {
    for (const char* bytes : {"\xFF", ""}) {
        writeSettings(R"({"statusLine":{"command":"mine"}})");
        ASSERT_TRUE(install());
        write(original, bytes);
        ASSERT_TRUE(uninstall());
        EXPECT_EQ(settingsText(), "{}\n");
    }
    ASSERT_TRUE(install());
    std::filesystem::remove(path(original));
    ASSERT_TRUE(uninstall());
    EXPECT_EQ(settingsText(), "{}\n");
}

TEST_F(ClaudeStatusLineTest, theFormerCommandIsForTheUsersEyesAlone) {
    ASSERT_TRUE(install());
    const std::string saved = path(original);
    EXPECT_EQ(std::filesystem::status(saved).permissions(), std::filesystem::perms(0600));
}

TEST_F(ClaudeStatusLineTest, theSettingsAreThoseOfTheHomeFolder) {
    const EnvironmentVariable home("HOME", "/home/someone");
    EXPECT_EQ(ClaudeStatusLine::defaultSettingsPath(), "/home/someone/.claude/settings.json");
}

}  // namespace
}  // namespace ledgerfern
