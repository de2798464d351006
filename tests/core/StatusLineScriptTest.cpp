#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <vector>

#include "ClaudeLimits/ClaudeStatus.h"
#include "ClaudeLimits/ClaudeStatusLine.h"
#include "Foundation/JsonDocument.h"
#include "core/FileFixture.h"

// The script is run as Claude Code runs it: by a shell, with the command that the settings name.

namespace ledgerfern {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using Names = std::set<std::string>;
using Environment = std::map<std::string, std::string>;

struct Outcome {
    int status = -1;
    std::string out;
    std::string err;
};

class StatusLineScript : public FileFixture {
protected:
    void SetUp() override { connect("{}"); }

    std::string settings() const { return path("settings.json"); }
    std::string support() const { return path("Application Support/Ledgerfern"); }
    std::string supported(const std::string& name) const {
        return read("Application Support/Ledgerfern/" + name);
    }
    /// Installs the script in front of what the settings have.
    void connect(const std::string& settingsText) const {
        ASSERT_TRUE(ClaudeStatusLine::uninstall(settings(), support()));
        write("settings.json", settingsText);
        ASSERT_TRUE(ClaudeStatusLine::install(settings(), support()));
    }
    void connectInFrontOf(const std::string& command) const {
        connect(jsonText({JsonNode::Object{{"statusLine", {JsonNode::Object{{"command", {command}}}}}}}));
    }

    /// The program that takes values out of JSON here.
    std::string extractor() const {
        return ClaudeStatusLine::script(support()).find("plutil") == std::string::npos ? "jq" : "plutil";
    }
    /// A folder that has these programs and no others.
    std::string programs(const std::vector<std::string>& names) const {
        std::string folder = makeFolder("programs");
        for (const std::string& name : names)
            for (const char* place : {"/opt/homebrew/bin/", "/usr/local/bin/", "/usr/bin/", "/bin/"})
                if (fs::exists(place + name) && !fs::is_symlink(folder + "/" + name))
                    fs::create_symlink(place + name, folder + "/" + name);
        return folder;
    }

    Outcome run(const std::string& input, const Environment& environment = {}) const {
        return runShell(ClaudeStatusLine::wrapperCommand(support()), input, environment);
    }
    Outcome runShell(const std::string& command, const std::string& input, Environment environment) const {
        const std::string stdinPath = write("in", input), stdoutPath = path("out"), stderrPath = path("err");
        environment.emplace("PATH", "/opt/homebrew/bin:/usr/local/bin:/usr/bin:/bin");
        const pid_t child = ::fork();
        if (child == 0) {
            redirect(0, stdinPath, O_RDONLY);
            redirect(1, stdoutPath, O_WRONLY | O_CREAT | O_TRUNC);
            redirect(2, stderrPath, O_WRONLY | O_CREAT | O_TRUNC);
            become({"/bin/bash", "-c", command}, environment);
        }
        int status = 0;
        EXPECT_EQ(::waitpid(child, &status, 0), child);
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, read("out"), read("err")};
    }

private:
    static void redirect(int descriptor, const std::string& path, int flags) {
        const int file = ::open(path.c_str(), flags, 0600);
        if (file < 0 || ::dup2(file, descriptor) < 0) ::_exit(126);
    }
    [[noreturn]] static void become(std::vector<std::string> arguments, const Environment& environment) {
        std::vector<std::string> variables;
        for (const auto& [name, value] : environment)
            variables.push_back(name + "=" + value);
        ::execve(arguments[0].c_str(), pointers(arguments).data(), pointers(variables).data());
        ::_exit(127);
    }
    static std::vector<char*> pointers(std::vector<std::string>& texts) {
        std::vector<char*> result;
        for (std::string& text : texts)
            result.push_back(text.data());
        result.push_back(nullptr);
        return result;
    }
};

const std::string full = R"({"model":{"id":"claude-opus-5","display_name":"Opus 5"},"rate_limits":{)"
                         R"("five_hour":{"used_percentage":37.4,"resets_at":1800000000},)"
                         R"("seven_day":{"used_percentage":99.6,"resets_at":1800500000}}})";

TEST_F(StatusLineScript, hasTheTextThatIsAgreedOn) {
    const std::string five =
        extractor() == "jq" ? "jq -r '.rate_limits.five_hour.used_percentage // empty' 2>/dev/null)"
                            : "plutil -extract rate_limits.five_hour.used_percentage raw -o - - 2>/dev/null)";
    const std::string week =
        extractor() == "jq" ? "jq -r '.rate_limits.seven_day.used_percentage // empty' 2>/dev/null)"
                            : "plutil -extract rate_limits.seven_day.used_percentage raw -o - - 2>/dev/null)";
    const std::string model = extractor() == "jq"
                                  ? "jq -r '.model.display_name // empty' 2>/dev/null)"
                                  : "plutil -extract model.display_name raw -o - - 2>/dev/null)";
    const std::string locale = extractor() == "jq" ? "LC_ALL=C " : "";
    EXPECT_EQ(
        ClaudeStatusLine::script("/home/me/Application Support/L"),
        "#!/bin/bash\n"
        "# Ledgerfern: saves Claude Code's status-line JSON (incl. rate limits)\n"
        "# for the menu bar, then runs your original status line unchanged.\n"
        "# Remove from Ledgerfern → Settings → Claude limits.\n"
        "dir=\"/home/me/Application Support/L\"\n"
        "input=$(cat)\n"
        "printf '%s' \"$input\" > \"$dir/claude-status.json.tmp\" && mv -f \"$dir/claude-status.json.tmp\" "
        "\"$dir/claude-status.json\"\n"
        "if [ -s \"$dir/claude-statusline-original\" ]; then\n"
        "  printf '%s' \"$input\" | bash -c \"$(cat \"$dir/claude-statusline-original\")\"\n"
        "else\n"
        "  five=$(printf '%s' \"$input\" | " +
            five +
            "\n"
            "  week=$(printf '%s' \"$input\" | " +
            week +
            "\n"
            "  model=$(printf '%s' \"$input\" | " +
            model +
            "\n"
            "  line=\"${model:-Claude}\"\n"
            "  [ -n \"$five\" ] && line=\"$line · 5h $(" +
            locale +
            "printf '%.0f' \"$five\")%\"\n"
            "  [ -n \"$week\" ] && line=\"$line · 7d $(" +
            locale +
            "printf '%.0f' \"$week\")%\"\n"
            "  printf '%s' \"$line\"\n"
            "fi\n");
}

TEST_F(StatusLineScript, showsModelAndLimitsWithoutAFormerCommand) {
    const Outcome outcome = run(full);
    EXPECT_EQ(outcome.out, "Opus 5 · 5h 37% · 7d 100%");
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(outcome.status, 0);
}

TEST_F(StatusLineScript, leavesOutWhatIsMissing) {
    EXPECT_EQ(run(R"({"model":{"display_name":"Opus 5"}})").out, "Opus 5");
    EXPECT_EQ(run("{}").out, "Claude");
    EXPECT_EQ(run("").out, "Claude");
    EXPECT_EQ(run("no JSON").out, "Claude");
    EXPECT_EQ(run(R"({"rate_limits":{"five_hour":{"used_percentage":0}}})").out, "Claude · 5h 0%");
    EXPECT_EQ(run(R"({"rate_limits":{"five_hour":{},"seven_day":{"used_percentage":7}}})").out,
              "Claude · 7d 7%");
    EXPECT_EQ(run(R"({"rate_limits":null,"model":"x"})").err, "");
}

TEST_F(StatusLineScript, givesTheFormerCommandItsInput) {
    connectInFrontOf("wc -c | tr -d ' '; echo done");
    const Outcome outcome = run(full);
    EXPECT_EQ(outcome.out, std::to_string(full.size()) + "\ndone\n");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(supported("claude-status.json"), full);
}

TEST_F(StatusLineScript, endsAsTheFormerCommandDoes) {
    connectInFrontOf("echo half; echo why >&2; exit 3");
    const Outcome outcome = run(full);
    EXPECT_EQ(outcome.out, "half\n");
    EXPECT_EQ(outcome.err, "why\n");
    EXPECT_EQ(outcome.status, 3);
    EXPECT_EQ(supported("claude-status.json"), full);
}

TEST_F(StatusLineScript, runsACommandThatReadsNothing) {
    connectInFrontOf("true");
    const Outcome outcome = run(std::string(200'000, 'x'));
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(supported("claude-status.json").size(), 200'000u);
}

TEST_F(StatusLineScript, keepsQuotesAndLineBreaksOfTheFormerCommand) {
    const std::string command =
        "a='it'\"'\"'s'\nb=\"\\\"two\\\" words\"\nprintf '%s|' \"$a\" \"$b\" $'\\t' '$HOME'\n";
    connectInFrontOf(command);
    EXPECT_EQ(run(full).out, "it's|\"two\" words|\t|$HOME|");
    EXPECT_EQ(supported("claude-statusline-original"), command);
}

TEST_F(StatusLineScript, showsItsOwnLineForAnEmptyFormerCommand) {
    connectInFrontOf("");
    EXPECT_EQ(run(full).out, "Opus 5 · 5h 37% · 7d 100%");
    fs::remove(support() + "/claude-statusline-original");
    EXPECT_EQ(run(full).out, "Opus 5 · 5h 37% · 7d 100%");
}

TEST_F(StatusLineScript, savesTheInputByteForByteButForLineFeedsAtItsEnd) {
    for (const std::string& input :
         {full, std::string("{\n  \"a\": \"%s %d \\\\ \\n ü😀 $HOME `x` ' \\\"\"\n}"), std::string("-n"),
          std::string("  \t"), std::string(200'000, '7')}) {
        run(input);
        EXPECT_EQ(supported("claude-status.json"), input);
        run(input + "\n\n");
        EXPECT_EQ(supported("claude-status.json"), input);
    }
}

TEST_F(StatusLineScript, leavesNothingBesideTheStatusFile) {
    run(full);
    EXPECT_EQ(namesIn(support()),
              (Names{"claude-status.json", "claude-statusline.sh", "claude-statusline-original"}));
}

TEST_F(StatusLineScript, showsTheLineWhereTheInputCannotBeSaved) {
    makeFolder("Application Support/Ledgerfern/claude-status.json.tmp/inner");
    EXPECT_EQ(run(full).out, "Opus 5 · 5h 37% · 7d 100%");
    connectInFrontOf("cat");
    EXPECT_EQ(run(full).out, full);
}

TEST_F(StatusLineScript, showsALineWithoutTheProgramThatReadsJson) {
    const Environment without = {{"PATH", programs({"bash", "cat", "mv"})}};
    const Outcome outcome = run(full, without);
    EXPECT_EQ(outcome.out, "Claude");
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(supported("claude-status.json"), full);
    connectInFrontOf("cat");
    EXPECT_EQ(run(full, without).out, full);
}

TEST_F(StatusLineScript, needsNoProgramsButFour) {
    EXPECT_EQ(run(full, {{"PATH", programs({"bash", "cat", "mv", extractor()})}}).out,
              "Opus 5 · 5h 37% · 7d 100%");
}

TEST_F(StatusLineScript, readsPercentagesWithAPointWhateverTheLocale) {
    if (extractor() != "jq") GTEST_SKIP() << "the script is as it is on this platform";
    const std::string locales = makeFolder("locales");
    runShell("localedef -i de_DE -f UTF-8 '" + locales + "/de_DE.UTF-8'", "", {});
    const Environment german = {{"LOCPATH", locales}, {"LC_ALL", "de_DE.UTF-8"}};
    if (runShell("printf '%.1f' 1,5", "", german).out != "1,5")
        GTEST_SKIP() << "no locale with a decimal comma can be made";
    const Outcome outcome = run(full, german);
    EXPECT_EQ(outcome.out, "Opus 5 · 5h 37% · 7d 100%");
    EXPECT_EQ(outcome.err, "");
}

TEST_F(StatusLineScript, savesWhatClaudeStatusReads) {
    run(full);
    const auto status = ClaudeStatus::load(support(), 0);
    ASSERT_TRUE(status);
    EXPECT_EQ(status->fiveHour, (RateLimitInfo{37.4, 300, 1'800'000'000, std::nullopt}));
    EXPECT_EQ(status->sevenDay, (RateLimitInfo{99.6, 10080, 1'800'500'000, std::nullopt}));
    EXPECT_GT(status->observedAt, 1e9);
}

}  // namespace
}  // namespace ledgerfern
