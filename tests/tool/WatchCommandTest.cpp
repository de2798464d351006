#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <fstream>

#include "Foundation/Clock.h"
#include "tool/LogFolder.h"
#include "tool/ToolProcess.h"

namespace ledgerfern {
namespace {

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

/// The bytes that clear a terminal.
const std::string cleared = "\x1b[H\x1b[2J";

class Watch : public testing::Test {
protected:
    ToolRun tool(std::vector<std::string> options = {}) const {
        ToolRun run;
        run.arguments = std::move(options);
        run.arguments.insert(run.arguments.begin(), {"watch", "--scope", "all"});
        run.environment = {{"HOME", home.path()}, {"TZ", "UTC"}};
        return run;
    }
    /// With the roots that a test names, nothing else of the home folder counts.
    std::vector<std::string> named() const { return {"--codex", home.path("logs")}; }

    static std::string logOf(std::int64_t input) {
        RolloutLog log;
        log.meta("2026-03-01T10:00:00Z", "/home/me/web-app").model("gpt-5");
        log.tokens("2026-03-01T10:02:00Z", {input, 0, 0, 0, input});
        return log.text();
    }
    void append(const std::string& name, std::int64_t total) const {
        RolloutLog log;
        log.tokens("2026-03-01T10:05:00Z", {total, 0, 0, 0, total});
        std::ofstream(home.path(name), std::ios::app) << log.text();
    }

    static void interrupt(ToolProcess& process) {
        process.signal(SIGINT);
        const ToolOutcome outcome = process.await();
        EXPECT_EQ(outcome.status, 130);
        EXPECT_FALSE(outcome.wasKilled);
        EXPECT_EQ(outcome.err, "");
    }

    LogFolder home;
};

TEST_F(Watch, reportsAgainOnAPipeAfterEachChange) {
    home.write("logs/2026/a.jsonl", logOf(3000));
    ToolProcess process(tool(named()));
    ASSERT_TRUE(process.awaitOut("3.0K tokens"));
    append("logs/2026/a.jsonl", 7000);
    ASSERT_TRUE(process.awaitOut("7.0K tokens"));
    home.write("logs/2026/03/b.jsonl", logOf(20'000));
    ASSERT_TRUE(process.awaitOut("27.0K tokens"));
    process.signal(SIGINT);
    const ToolOutcome outcome = process.await();
    EXPECT_THAT(outcome.out, StartsWith("Ledgerfern · "));
    EXPECT_THAT(outcome.out, Not(HasSubstr("\x1b")));
    // One report a change, each behind an empty line.
    std::size_t reports = 1;
    for (std::size_t at = 0; (at = outcome.out.find("\n\nLedgerfern · ", at)) != std::string::npos; ++at)
        ++reports;
    EXPECT_EQ(reports, 3u) << outcome.out;
}

TEST_F(Watch, clearsATerminalAndDrawsAgain) {
    home.write("logs/a.jsonl", logOf(3000));
    ToolRun run = tool(named());
    run.outColumns = 60;
    ToolProcess process(run);
    ASSERT_TRUE(process.awaitOut("3.0K tokens"));
    append("logs/a.jsonl", 7000);
    ASSERT_TRUE(process.awaitOut("7.0K tokens"));
    process.signal(SIGINT);
    const ToolOutcome outcome = process.await();
    EXPECT_EQ(outcome.status, 130);
    EXPECT_THAT(outcome.out, StartsWith(cleared));
    const std::size_t second = outcome.out.find(cleared, 1);
    EXPECT_LT(outcome.out.find("3.0K tokens"), second);
    EXPECT_GT(outcome.out.find("7.0K tokens"), second);
    EXPECT_EQ(outcome.out.find(cleared, second + 1), std::string::npos);
}

TEST_F(Watch, endsWith130WhereItIsInterrupted) {
    home.write("logs/a.jsonl", logOf(3000));
    ToolProcess process(tool(named()));
    ASSERT_TRUE(process.awaitOut("3.0K tokens"));
    interrupt(process);
}

TEST_F(Watch, noticesAnAgentThatIsInstalledLater) {
    std::filesystem::create_directories(home.path(".codex"));
    ToolProcess process(tool());
    ASSERT_TRUE(process.awaitOut("No session logs were found"));
    home.write(".codex/sessions/2026/a.jsonl", logOf(3000));
    ASSERT_TRUE(process.awaitOut("3.0K tokens"));
    append(".codex/sessions/2026/a.jsonl", 7000);
    ASSERT_TRUE(process.awaitOut("7.0K tokens"));
    interrupt(process);
}

TEST_F(Watch, followsTheUsualFolderOfEachAgent) {
    home.write(".codex/sessions/a.jsonl", logOf(3000));
    std::filesystem::create_directories(home.path(".claude/projects"));
    ToolProcess process(tool());
    ASSERT_TRUE(process.awaitOut("3.0K tokens"));
    home.write(
        ".claude/projects/p/s.jsonl",
        R"({"type":"assistant","timestamp":"2026-03-01T10:00:00Z","requestId":"r","cwd":"/home/me/app",)"
        R"("message":{"id":"m","model":"claude-opus-5","usage":{"input_tokens":90000,"output_tokens":0}}})"
        "\n");
    ASSERT_TRUE(process.awaitOut("93.0K tokens"));
    interrupt(process);
}

TEST_F(Watch, showsInEachReportWhatClaudeLastTold) {
    const auto now = static_cast<std::int64_t>(systemClock()());
    constexpr std::int64_t day = 86400;
    const auto tell = [&](int percentage) {
        home.write("Library/Application Support/Ledgerfern/claude-status.json",
                   R"({"rate_limits":{"seven_day":{"used_percentage":)" + std::to_string(percentage) +
                       R"(,"resets_at":)" + std::to_string(now + 2 * day) + "}}}");
    };
    RolloutLog log;
    log.meta("2026-03-01T10:00:00Z", "/home/me/web-app").model("gpt-5");
    log.tokens("2026-03-01T10:02:00Z", {3000, 0, 0, 0, 3000},
               R"({"primary":{"used_percent":42,"window_minutes":10080,"resets_at":)" +
                   std::to_string(now + 4 * day) + "}}");
    home.write(".codex/sessions/a.jsonl", log.text());
    tell(81);
    ToolRun run = tool();
    run.arguments[2] = "cycle";
    ToolProcess process(run);
    const auto awaitReport = [&](const std::string& percentage) {
        EXPECT_TRUE(process.awaitOut("  Claude  weekly"));
        EXPECT_TRUE(process.awaitOut(percentage));
        EXPECT_TRUE(process.awaitOut("Claude Code counts by its own cycle"));
        EXPECT_TRUE(process.awaitOut("--scope all"));
        process.dropOut();
    };
    awaitReport("81%");
    append(".codex/sessions/a.jsonl", 7000);
    awaitReport("81%");
    tell(63);
    append(".codex/sessions/a.jsonl", 9000);
    awaitReport("63%");
    interrupt(process);
}

TEST_F(Watch, keepsTheScopeWhenItsLogsAreGone) {
    home.write("logs/a.jsonl", logOf(3000));
    ToolProcess process(tool(named()));
    ASSERT_TRUE(process.awaitOut("3.0K tokens"));
    std::filesystem::remove(home.path("logs/a.jsonl"));
    ASSERT_TRUE(process.awaitOut("No usage was found"));
    home.write("logs/a.jsonl", logOf(9000));
    ASSERT_TRUE(process.awaitOut("9.0K tokens"));
    interrupt(process);
}

TEST_F(Watch, reportsOnceWhereThereIsNothingToWatch) {
    const ToolOutcome usual = runTool(tool());
    EXPECT_EQ(usual.status, 1);
    EXPECT_THAT(usual.out, StartsWith("No session logs were found below"));
    EXPECT_EQ(
        usual.err,
        "ledgerfern-cli: there is nothing to watch; run a session in Codex or Claude Code first, or name "
        "a folder that is there with --codex or --claude\n");
    const ToolOutcome missing = runTool(tool(named()));
    EXPECT_EQ(missing.status, 1);
    EXPECT_THAT(missing.err, StartsWith("ledgerfern-cli: there is no folder “"));
    EXPECT_THAT(missing.err, HasSubstr("ledgerfern-cli: there is nothing to watch; "));
}

TEST_F(Watch, refusesWhatFixesTheInstantOrTheEnd) {
    for (const std::vector<std::string>& options :
         std::vector<std::vector<std::string>>{{"--finish"}, {"--now", "1772359320"}, {"--json"}}) {
        const ToolOutcome outcome = runTool(tool(options));
        EXPECT_EQ(outcome.status, 2);
        EXPECT_EQ(outcome.out, "");
        EXPECT_EQ(outcome.err, "ledgerfern-cli: watch has no option “" + options[0] +
                                   "”; “ledgerfern-cli watch --help” lists those it has\n");
    }
    EXPECT_THAT(runTool(tool({"--help"})).out, Not(HasSubstr("--now")));
}

TEST_F(Watch, refusesACycleThatIsNotKnown) {
    home.write("logs/a.jsonl", logOf(3000));
    ToolRun run = tool(named());
    run.arguments[2] = "604800";
    const ToolOutcome outcome = runTool(run);
    EXPECT_EQ(outcome.status, 2);
    EXPECT_THAT(outcome.err, HasSubstr("ledgerfern-cli cycles"));
}

TEST_F(Watch, endsSilentlyWhereAPipeIsClosed) {
    home.write("logs/a.jsonl", logOf(3000));
    ToolRun run = tool(named());
    run.outIsClosedPipe = true;
    const ToolOutcome outcome = runTool(run);
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, "");
}

TEST_F(Watch, endsSilentlyWhereAPipeIsClosedWhileNothingChanges) {
    home.write("logs/a.jsonl", logOf(3000));
    ToolProcess process(tool(named()));
    ASSERT_TRUE(process.awaitOut("Insights"));
    process.closeOut();
    const ToolOutcome outcome = process.await();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, "");
}

TEST_F(Watch, failsWhereTheDiskIsFull) {
    if (!std::filesystem::exists("/dev/full")) GTEST_SKIP() << "this system has no full device";
    home.write("logs/a.jsonl", logOf(3000));
    ToolRun run = tool(named());
    run.outFile = "/dev/full";
    EXPECT_EQ(runTool(run).status, 1);
}

TEST_F(Watch, readsOnlyWhatWasAppended) {
    const std::string log = logOf(3000);
    home.write("logs/a.jsonl", log);
    ToolProcess process(tool(named()));
    ASSERT_TRUE(process.awaitOut("3.0K tokens"));
    process.dropOut();
    // What has been read isn't read again, so that the project is still known.
    std::fstream file(home.path("logs/a.jsonl"), std::ios::in | std::ios::out);
    file << std::string(log.size() - 1, ' ');
    file.close();
    append("logs/a.jsonl", 7000);
    ASSERT_TRUE(process.awaitOut("7.0K tokens"));
    EXPECT_TRUE(process.awaitOut("  web-app "));
    interrupt(process);
}

}  // namespace
}  // namespace ledgerfern
