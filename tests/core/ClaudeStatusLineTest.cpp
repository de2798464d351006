#include "ClaudeLimits/ClaudeStatusLine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>

#include "Foundation/JsonDocument.h"
#include "core/FileFixture.h"
#include "core/StepsWithAnEvent.h"

namespace ledgerfern {
namespace {

using testing::HasSubstr;

class ClaudeStatusLineTest : public FileFixture {
protected:
    std::string settings() const { return path("claude/settings.json"); }
    std::string support() const { return path("Application Support/Ledgerfern"); }
    std::string wrapper() const { return ClaudeStatusLine::wrapperCommand(support()); }

    void writeSettings(const std::string& text) const { write("claude/settings.json", text); }
    std::string settingsText() const { return read("claude/settings.json"); }
    std::string former() const { return read("Application Support/Ledgerfern/claude-statusline-original"); }
    bool exists(const std::string& name) const { return std::filesystem::exists(path(name)); }

    Result install() const { return ClaudeStatusLine::install(settings(), support()); }
    Result uninstall() const { return ClaudeStatusLine::uninstall(settings(), support()); }
    bool isInstalled() const { return ClaudeStatusLine::isInstalled(settings(), support()); }

    static constexpr const char* backup = "claude/settings.json.ledgerfern-backup";
};

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
    EXPECT_FALSE(exists("Application Support/Ledgerfern/claude-statusline-original"));
    EXPECT_TRUE(exists("Application Support/Ledgerfern/claude-statusline.sh"));
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

TEST_F(ClaudeStatusLineTest, installingTwiceOnlyRefreshesTheScript) {
    writeSettings(R"({"statusLine":{"command":"mine"}})");
    ASSERT_TRUE(install());
    const std::string once = settingsText();
    write("Application Support/Ledgerfern/claude-statusline.sh", "old");
    ASSERT_TRUE(install());
    EXPECT_EQ(settingsText(), once);
    EXPECT_EQ(former(), "mine");
    EXPECT_EQ(read("Application Support/Ledgerfern/claude-statusline.sh"),
              ClaudeStatusLine::script(support()));
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
    writeSettings(R"({"statusLine":{"command":"another"}})");
    EXPECT_FALSE(isInstalled());
    ASSERT_TRUE(uninstall());
    EXPECT_EQ(settingsText(), R"({"statusLine":{"command":"another"}})");
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
        EXPECT_FALSE(exists("Application Support/Ledgerfern/claude-statusline.sh"));
    }
    writeSettings("[]");
    EXPECT_EQ(install().error, settings() + " isn't a JSON object; not changing it.");
    writeSettings("{\n1}");
    EXPECT_THAT(install().error.value_or(""), HasSubstr("isn't valid JSON (line 2, column 1)"));
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

TEST_F(ClaudeStatusLineTest, theScriptMayBeRun) {
    ASSERT_TRUE(install());
    EXPECT_EQ(
        std::filesystem::status(path("Application Support/Ledgerfern/claude-statusline.sh")).permissions(),
        std::filesystem::perms(0755));
}

TEST_F(ClaudeStatusLineTest, aFolderInPlaceOfTheSettingsIsAnError) {
    makeFolder("claude/settings.json");
    EXPECT_FALSE(isInstalled());
    EXPECT_THAT(install().error.value_or(""), HasSubstr("can't read"));
}

/// What an install or an uninstall comes to where something happens in place of one of its steps, each in its
/// turn: the settings are the old file or the complete new one, and the next attempt succeeds.
class ClaudeStatusLineSweep : public ClaudeStatusLineTest {
protected:
    using Work = std::function<Result(WriteSteps&)>;
    using Check = std::function<void()>;

    const Work installing = [this](WriteSteps& steps) {
        return ClaudeStatusLine::install(settings(), support(), steps);
    };
    const Work uninstalling = [this](WriteSteps& steps) {
        return ClaudeStatusLine::uninstall(settings(), support(), steps);
    };
    static constexpr const char* mine = R"({"a":1.0,"statusLine":{"type":"command","command":"mine"}})";

    void beNotConnected() const {
        for (const char* folder : {"claude", "Application Support"})
            std::filesystem::remove_all(path(folder));
        writeSettings(mine);
    }
    void beConnected() const {
        beNotConnected();
        ASSERT_TRUE(install());
    }
    void expectConnected() const {
        EXPECT_TRUE(isInstalled());
        EXPECT_EQ(former(), "mine");
        EXPECT_EQ(read(backup), mine);
        EXPECT_EQ(read("Application Support/Ledgerfern/claude-statusline.sh"),
                  ClaudeStatusLine::script(support()));
    }
    void expectNotConnected() const {
        JsonErrorPlace place;
        EXPECT_EQ(readJsonDocument(settingsText(), place), readJsonDocument(mine, place));
    }

    /// The settings' texts before and after the work.
    std::pair<std::string, std::string> texts(const Work& work) const {
        const std::string before = settingsText();
        WriteSteps steps;
        EXPECT_TRUE(work(steps));
        return {before, settingsText()};
    }

    /// Lets each step of the work fail. Gives how often the whole failed for that.
    int failEachStep(const Check& begin, const Work& work, const Check& expectDone) const {
        int failures = 0;
        begin();
        const auto [before, after] = texts(work);
        bool happened = true;
        for (int step = 1; happened && !HasFailure(); ++step) {
            SCOPED_TRACE(step);
            begin();
            StepsWithAnEvent failing(step, [] { return fail(ENOSPC); });
            const Result result = work(failing);
            happened = failing.happened();
            failures += result ? 0 : 1;
            EXPECT_EQ(settingsText(), result ? after : before);
            WriteSteps again;
            EXPECT_TRUE(work(again));
            expectDone();
        }
        return failures;
    }

    /// Lets a process die at each step of the work. Gives in how many places it died.
    int dieAtEachStep(const Check& begin, const Work& work, const Check& expectDone) const {
        constexpr int died = 42;
        int deaths = 0;
        begin();
        const auto [before, after] = texts(work);
        for (bool isDead = true; isDead && !HasFailure(); deaths += isDead ? 1 : 0) {
            SCOPED_TRACE(deaths + 1);
            begin();
            const pid_t child = ::fork();
            if (child == 0) {
                StepsWithAnEvent deadly(deaths + 1, []() -> int { ::_exit(died); });
                ::_exit(work(deadly) ? 0 : 1);
            }
            int status = 0;
            EXPECT_EQ(::waitpid(child, &status, 0), child);
            isDead = WEXITSTATUS(status) == died;
            EXPECT_TRUE(isDead || status == 0);
            const std::string text = settingsText();
            EXPECT_TRUE(text == after || (isDead && text == before)) << text;
            WriteSteps again;
            EXPECT_TRUE(work(again));
            expectDone();
        }
        return deaths;
    }
};

TEST_F(ClaudeStatusLineSweep, anInstallThatFailsAnywhereLeavesOldSettingsOrNewOnes) {
    const int failures =
        failEachStep([this] { beNotConnected(); }, installing, [this] { expectConnected(); });
    EXPECT_EQ(failures, 4 * 5 + 3) << "five steps a file, and the permissions of all but the settings";
}

TEST_F(ClaudeStatusLineSweep, anUninstallThatFailsAnywhereLeavesOldSettingsOrNewOnes) {
    EXPECT_EQ(failEachStep([this] { beConnected(); }, uninstalling, [this] { expectNotConnected(); }), 5);
}

TEST_F(ClaudeStatusLineSweep, aProcessThatDiesAnywhereLeavesOldSettingsOrNewOnes) {
    EXPECT_EQ(dieAtEachStep([this] { beNotConnected(); }, installing, [this] { expectConnected(); }), 4 * 7);
    EXPECT_EQ(dieAtEachStep([this] { beConnected(); }, uninstalling, [this] { expectNotConnected(); }),
              7 + 1);
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
        write("Application Support/Ledgerfern/claude-statusline-original", bytes);
        ASSERT_TRUE(uninstall());
        EXPECT_EQ(settingsText(), "{}\n");
    }
    ASSERT_TRUE(install());
    std::filesystem::remove(path("Application Support/Ledgerfern/claude-statusline-original"));
    ASSERT_TRUE(uninstall());
    EXPECT_EQ(settingsText(), "{}\n");
}

TEST_F(ClaudeStatusLineTest, theFormerCommandIsForTheUsersEyesAlone) {
    ASSERT_TRUE(install());
    const std::string saved = path("Application Support/Ledgerfern/claude-statusline-original");
    EXPECT_EQ(std::filesystem::status(saved).permissions(), std::filesystem::perms(0600));
}

TEST_F(ClaudeStatusLineTest, theSettingsAreThoseOfTheHomeFolder) {
    const EnvironmentVariable home("HOME", "/home/someone");
    EXPECT_EQ(ClaudeStatusLine::defaultSettingsPath(), "/home/someone/.claude/settings.json");
}

}  // namespace
}  // namespace ledgerfern
