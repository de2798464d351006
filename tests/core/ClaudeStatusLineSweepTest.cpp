#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <functional>
#include <random>

#include "Foundation/JsonDocument.h"
#include "core/ClaudeStatusLineFixture.h"
#include "core/Kills.h"
#include "core/StepsWithAnEvent.h"

namespace ledgerfern {
namespace {

using testing::IsSubsetOf;

/// Can't put anything in the place of one file.
class FailingAtFile : public WriteSteps {
public:
    explicit FailingAtFile(std::string path) : path_(std::move(path)) {}
    int rename(const std::string& from, const std::string& to) override {
        return to == path_ ? fail(EACCES) : WriteSteps::rename(from, to);
    }

private:
    const std::string path_;
};

/// Writes a byte into a pipe before each step that leaves something on the disk.
class TellingSteps : public WriteSteps {
public:
    explicit TellingSteps(int pipe) : pipe_(pipe) {}
    int create(const std::string& path, mode_t mode) override {
        tell();
        return WriteSteps::create(path, mode);
    }
    ssize_t write(int file, const char* bytes, std::size_t size) override {
        tell();
        return WriteSteps::write(file, bytes, size);
    }
    int rename(const std::string& from, const std::string& to) override {
        tell();
        return WriteSteps::rename(from, to);
    }

private:
    void tell() const {
        if (::write(pipe_, "", 1) != 1) ::_exit(1);
    }

    const int pipe_;
};

/// What an install or an uninstall comes to where something happens in place of one of its steps, each in its
/// turn: the settings are the old file or the complete new one, and the next attempt succeeds.
class ClaudeStatusLineSweep : public ClaudeStatusLineFixture {
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
        EXPECT_EQ(read(script), ClaudeStatusLine::script(support()));
    }
    /// Nothing is there beside what is to stay, no half-written file either.
    void expectNothingElse() const {
        EXPECT_THAT(namesIn(path("claude")),
                    IsSubsetOf({"settings.json", "settings.json.ledgerfern-backup"}));
        EXPECT_THAT(namesIn(support()), IsSubsetOf({"claude-statusline.sh", "claude-statusline-original"}));
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
            expectNothingElse();
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

TEST_F(ClaudeStatusLineSweep, anInstallThatFailsAtTheSettingsKeepsWhatWasDoneBefore) {
    beNotConnected();
    FailingAtFile failing(settings());
    EXPECT_FALSE(ClaudeStatusLine::install(settings(), support(), failing));
    EXPECT_EQ(settingsText(), mine);
    EXPECT_EQ(former(), "mine");
    EXPECT_EQ(read(backup), mine);
    EXPECT_EQ(read(script), ClaudeStatusLine::script(support()));
    expectNothingElse();
}

TEST_F(ClaudeStatusLineSweep, aProcessThatDiesAnywhereLeavesOldSettingsOrNewOnes) {
    EXPECT_EQ(dieAtEachStep([this] { beNotConnected(); }, installing, [this] { expectConnected(); }), 4 * 7);
    EXPECT_EQ(dieAtEachStep([this] { beConnected(); }, uninstalling, [this] { expectNotConnected(); }),
              7 + 1);
}

/// Settings that take a while to write.
class ClaudeStatusLineKills : public ClaudeStatusLineFixture {
protected:
    static constexpr std::size_t stepsOfARound = 4 * 3 + 3;

    static std::string large() {
        const JsonNode::Object line{{"command", {std::string("mine")}}, {"type", {std::string("command")}}};
        return jsonText({JsonNode::Object{{"statusLine", {line}}, {"z", {std::string(1'000'000, 'z')}}}});
    }

    /// Connects and disconnects without end, and tells the steps.
    [[noreturn]] void goOn(int pipe) const {
        TellingSteps steps(pipe);
        while (ClaudeStatusLine::install(settings(), support(), steps) &&
               ClaudeStatusLine::uninstall(settings(), support(), steps)) {
        }
        ::_exit(1);
    }

    /// A process goes on until it is killed, somewhere behind that many steps.
    void liveAndDie(std::size_t steps, std::mt19937& random) const {
        std::array<int, 2> pipe{};
        ASSERT_EQ(::pipe(pipe.data()), 0);
        const pid_t child = ::fork();
        ASSERT_GE(child, 0);
        if (child == 0) goOn(pipe[1]);
        ::close(pipe[1]);
        char byte = 0;
        for (; steps > 0; --steps)
            EXPECT_EQ(::read(pipe[0], &byte, 1), 1);
        spin(random, 200'000);
        ::kill(child, SIGKILL);
        int status = 0;
        EXPECT_EQ(::waitpid(child, &status, 0), child);
        EXPECT_TRUE(WIFSIGNALED(status)) << "it ended by itself";
        ::close(pipe[0]);
    }
};

TEST_F(ClaudeStatusLineKills, aKillLeavesSettingsOldOrNew) {
    std::mt19937 random(7);
    const std::string before = large();
    writeSettings(before);
    ASSERT_TRUE(install());
    const std::string after = settingsText();
    for (int round = 0; round < kills() && !HasFailure(); ++round) {
        SCOPED_TRACE(round);
        for (const char* folder : {"claude", "Application Support"})
            std::filesystem::remove_all(path(folder));
        writeSettings(before);
        liveAndDie(1 + random() % stepsOfARound, random);
        const std::string text = settingsText();
        EXPECT_TRUE(text == before || text == after) << text.size() << " bytes";
        EXPECT_TRUE(readWholeFile(path(backup)).value_or(before) == before);
        EXPECT_TRUE(install());
        EXPECT_TRUE(settingsText() == after);
        EXPECT_EQ(former(), "mine");
        EXPECT_TRUE(uninstall());
        EXPECT_TRUE(settingsText() == before);
    }
}

}  // namespace
}  // namespace ledgerfern
