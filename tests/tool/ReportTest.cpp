#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "CommandLine.h"
#include "Foundation/UnicodeText.h"
#include "ReportText.h"
#include "Scan.h"
#include "tool/LogFolder.h"
#include "tool/TextOutput.h"

namespace ledgerfern {
namespace {

using testing::HasSubstr;
using testing::Not;

constexpr const char* now = "1772359320";  // 1 March 2026, 10:02 UTC

std::string report(const LogFolder& folder, std::optional<std::size_t> columns = std::nullopt,
                   std::vector<std::string> arguments = {}) {
    TextConsole text(columns);
    arguments.insert(arguments.begin(), {"--codex", folder.path("sessions"), "--now", now});
    EXPECT_EQ(runCommandLine(arguments, text.console), 0);
    EXPECT_EQ(text.err.text(), "");
    return text.out.text();
}

/// Two projects: today 1 million tokens of web-app at gpt-5, yesterday 500 tokens of scripts without a model.
void writeTwoProjects(const LogFolder& folder) {
    RolloutLog today;
    today.meta("2026-03-01T10:00:00Z", "/home/me/web-app").model("gpt-5");
    today.tokens(
        "2026-03-01T10:01:00Z", {990000, 390000, 10000, 0, 1000000},
        R"({"primary":{"used_percent":96,"window_minutes":10080,"resets_at":1772409600},"plan_type":"plus"})");
    folder.write("sessions/a.jsonl", today.text());
    RolloutLog yesterday;
    yesterday.meta("2026-02-28T09:00:00Z", "/home/me/scripts")
        .tokens("2026-02-28T09:00:00Z", {400, 0, 100, 0, 500});
    folder.write("sessions/b.jsonl", yesterday.text());
}

TEST(Report, tellsLimitsTodayAndTheCycleInEveryWay) {
    const LogFolder folder;
    writeTwoProjects(folder);
    // 600,000 × 1.25 + 390,000 × 0.125 + 10,000 × 10 = 898,750 millionths
    EXPECT_EQ(
        report(folder, 100, {"--color", "never"}),
        "Ledgerfern · 2026-03-01 10:02\n"
        "\n"
        "Limits   window                used  resets                            plan  as of\n"
        "  Codex  weekly  ███████████▌   96%  in 13 h 58 min  2026-03-02 00:00  plus  2026-03-01 10:01\n"
        "\n"
        "Today\n"
        "  1.0M tokens · 1 request · 90¢ at list prices\n"
        "\n"
        "Cycle of Feb 23 · 2026-02-23 to 2026-03-01\n"
        "  1.0M tokens · 2 requests · ≥90¢ at list prices\n"
        "  990.4K input (39% from the cache) · 10.1K output · 0 reasoning\n"
        "  2 sessions · 1 without a known price\n"
        "\n"
        "Projects                 tokens  requests  sessions  cost\n"
        "  web-app  ████████████    1.0M         1         1   90¢\n"
        "  scripts  ▏                500         1         1     —\n"
        "\n"
        "Models                   tokens  requests  sessions  cost\n"
        "  gpt-5    ████████████    1.0M         1         1   90¢\n"
        "  unknown  ▏                500         1         1     —\n"
        "\n"
        "Days                        tokens  requests  sessions  cost\n"
        "  2026-03-01  ████████████    1.0M         1         1   90¢\n"
        "  2026-02-28  ▏                500         1         1     —\n"
        "\n"
        "Insights\n"
        "  Nothing to fix: no cache rebuild streaks, heavy startup overhead, or dominant context consumers "
        "in\n"
        "  this scope.\n");
}

TEST(Report, coloursHeadingsAndNearLimitsOnATerminal) {
    const LogFolder folder;
    writeTwoProjects(folder);
    const std::string text = report(folder, 100);
    EXPECT_THAT(text, HasSubstr("\x1b[1mLedgerfern · 2026-03-01 10:02\x1b[0m"));
    EXPECT_THAT(text, HasSubstr("\x1b[31m96%\x1b[0m"));
    EXPECT_THAT(report(folder), Not(HasSubstr("\x1b")));
    EXPECT_THAT(report(folder, std::nullopt, {"--color=always"}), HasSubstr("\x1b[1m"));
}

TEST(Report, saysInOneSentenceThatThereIsNothing) {
    const LogFolder folder;
    std::filesystem::create_directories(folder.path("sessions"));
    EXPECT_EQ(
        report(folder, 400),
        "No session logs were found below " + folder.path("sessions") +
            "; run a session in Codex or Claude Code, or name another folder with --codex or --claude.\n");
}

TEST(Report, saysWhereLogsHoldNoUsage) {
    const LogFolder folder;
    folder.write("sessions/a.jsonl", "");
    EXPECT_EQ(report(folder, 400),
              "No usage was found in 1 session log below " + folder.path("sessions") + ".\n");
}

TEST(Report, tellsMalformedLinesAndFormatWarnings) {
    const LogFolder folder;
    writeTwoProjects(folder);
    RolloutLog changed;
    changed.meta("2026-03-01T10:00:00Z", "/p").raw("{\"event_msg\"\n");
    for (int i = 0; i < 10; ++i)
        changed.user("hello");
    folder.write("sessions/c.jsonl", changed.text());
    EXPECT_THAT(
        report(folder, 200, {"--color", "never"}),
        HasSubstr(
            "\nNotes\n"
            "  1 recent Codex session have activity but no token counts Ledgerfern can read — Codex may "
            "have changed its log format.\n"
            "  1 line of the logs isn't valid JSON and was left out.\n"));
}

TEST(Report, showsTenProjectsOfManyAndFourteenDays) {
    const LogFolder folder;
    for (int i = 0; i < 200; ++i) {
        RolloutLog log;
        const std::string day = std::to_string(10 + i % 20);
        log.meta("", "/p/project-" + std::to_string(i));
        log.tokens("2026-01-" + day + "T10:00:00Z", {1000 + i, 0, 0, 0, 1000 + i});
        folder.write("sessions/" + std::to_string(i) + ".jsonl", log.text());
    }
    const std::string text = report(folder);
    EXPECT_THAT(text, HasSubstr("  project-199 "));
    EXPECT_THAT(text, HasSubstr("  project-190 "));
    EXPECT_THAT(text, Not(HasSubstr("  project-189 ")));
    EXPECT_THAT(text, HasSubstr("  … and 190 more\n"));
    EXPECT_THAT(text, HasSubstr("  2026-01-16 "));
    EXPECT_THAT(text, Not(HasSubstr("  2026-01-15 ")));
    EXPECT_THAT(text, HasSubstr("  … and 6 earlier\n"));
}

TEST(Report, countsAFolderOnceHoweverItIsGiven) {
    const LogFolder folder;
    writeTwoProjects(folder);
    const std::string root = folder.path("sessions");
    const std::string once = report(folder);
    EXPECT_THAT(once, HasSubstr("  2 sessions "));
    for (const std::string& other :
         {root, root + "/", root + "/./", root + "/a/..", folder.path() + "//sessions"})
        EXPECT_EQ(report(folder, std::nullopt, {"--codex", other}), once) << other;
}

TEST(Report, tellsOnceThatAFolderIsNotThere) {
    const LogFolder folder;
    TextConsole text;
    const std::string root = folder.path("nowhere");
    EXPECT_EQ(runCommandLine({"--codex", root, "--codex", root + "/"}, text.console), 0);
    EXPECT_EQ(text.err.text(), "ledgerfern-cli: there is no folder “" + root + "”; it adds no logs\n");
}

TEST(Report, fitsEveryTerminal) {
    const LogFolder folder;
    writeTwoProjects(folder);
    for (const char* name :
         {"a-project-with-a-name-that-is-longer-than-any-screen-is-wide-and-goes-on-and-on",
          "日本語のとても長いプロジェクト名日本語のとても長いプロジェクト名", "👩‍💻👩‍💻",
          "مشروع طويل جدا"}) {
        RolloutLog log;
        log.meta("2026-03-01T10:00:00Z", std::string("/p/") + name)
            .tokens("2026-03-01T10:00:00Z", {1, 0, 1, 0, 2});
        folder.write("sessions/" + std::to_string(std::string_view(name).size()) + ".jsonl", log.text());
    }
    for (const std::size_t columns : {40u, 60u, 80u, 120u, 200u}) {
        std::istringstream lines(report(folder, columns, {"--color", "never"}));
        for (std::string line; std::getline(lines, line);)
            EXPECT_LE(displayWidth(line), columns) << line;
    }
}

TEST(Report, showsADashForANameThatCannotBeSeen) {
    const LogFolder folder;
    RolloutLog log;
    log.meta("2026-03-01T10:00:00Z", "/p/\u200B").model(" \u2060");
    log.tokens("2026-03-01T10:00:00Z", {1, 0, 1, 0, 2});
    folder.write("sessions/a.jsonl", log.text());
    const std::string text = report(folder);
    EXPECT_THAT(text, HasSubstr("Projects                tokens  requests  sessions  cost\n  —       ██"));
    EXPECT_THAT(text, HasSubstr("Models                tokens  requests  sessions  cost\n  —     ██"));
}

TEST(Report, neverLetsALogSpeakToTheTerminal) {
    const LogFolder folder;
    RolloutLog log;
    log.meta("2026-03-01T10:00:00Z", R"(/p/\u001b[2Jevil\u202e\u0007)").model(R"(gpt\u001b]0;x\u0007)");
    log.tokens("2026-03-01T10:00:00Z", {1, 0, 1, 0, 2});
    folder.write("sessions/a.jsonl", log.text());
    const std::string text = report(folder);
    for (const char* bad : {"\x1b", "\x07", "\u202e"})
        EXPECT_THAT(text, Not(HasSubstr(bad)));
    EXPECT_THAT(text, HasSubstr("\uFFFD[2Jevil\uFFFD"));
}

/// A million tokens of input at gpt-5, and another, of which the last is its session's model.
void writeTwoModels(const LogFolder& folder, const std::string& last) {
    RolloutLog log;
    log.meta("2026-03-01T10:00:00Z", "/p/a")
        .model("gpt-5")
        .tokens("2026-03-01T10:00:00Z", {1000000, 0, 0, 0, 1000000});
    log.model(last).tokens("2026-03-01T10:00:00Z", {2000000, 0, 0, 0, 2000000});
    folder.write("sessions/a.jsonl", log.text());
}

TEST(Report, saysWhyTheModelsCostsAddUpToAnotherSum) {
    const LogFolder folder;
    // 1.25 and 0.25 USD by request, 0.25 each by the session's last model.
    writeTwoModels(folder, "gpt-5-mini");
    EXPECT_THAT(report(folder), HasSubstr("  2.0M tokens · 2 requests · 50¢ at list prices\n"));
    EXPECT_THAT(report(folder),
                HasSubstr("  gpt-5-mini  ████████████    1.0M         1         1    25¢\n"
                          "  By model the costs come to $1.50, with each request at its own model's price;\n"
                          "  elsewhere all of a session is at one model's.\n"));
    writeTwoModels(folder, "other");
    EXPECT_THAT(report(folder), HasSubstr("  By model the costs come to $1.25, "));
}

TEST(Report, saysNothingOfModelsCostsThatAddUp) {
    const LogFolder folder;
    writeTwoModels(folder, "gpt-5.1");  // at the price of gpt-5
    EXPECT_THAT(report(folder), Not(HasSubstr("By model the costs")));
}

SessionPointer sessionOf(ToolKind tool, std::int64_t tokens) {
    SessionResult session;
    session.path = std::string(rawValue(tool)) + std::to_string(tokens);
    session.tool = tool;
    session.model = tool == ToolKind::codex ? "gpt-5" : "claude-opus-5";
    session.totals.inputTokens = session.totals.totalTokens = tokens;
    return std::make_shared<const SessionResult>(session);
}

/// The report on made-up sessions.
std::string reportOf(const SessionList& sessions) {
    Scan scan;
    scan.snapshot.sessions = sessions;
    return reportText(ScopedScan(std::move(scan), {}, builtInPrices()), 80, Palette(false));
}

TEST(Report, showsAgentsWhereThereAreSeveral) {
    SessionList sessions = {sessionOf(ToolKind::codex, 1000), sessionOf(ToolKind::codex, 3000)};
    EXPECT_THAT(reportOf(sessions), Not(HasSubstr("Agents")));
    sessions.push_back(sessionOf(ToolKind::claudeCode, 8000));
    EXPECT_THAT(reportOf(sessions),
                HasSubstr("\n"
                          "Agents                       tokens  requests  sessions     cost\n"
                          "  Claude Code  ████████████    8.0K         0         1       4¢\n"
                          "  Codex        ██████          4.0K         0         2  $0.0050\n"));
}

TEST(Report, leavesOutTablesWithoutRows) {
    const std::string text = reportOf({sessionOf(ToolKind::codex, 1000)});  // of no request that is finished
    EXPECT_THAT(text, HasSubstr("\nProjects "));
    EXPECT_THAT(text, Not(HasSubstr("\nModels")));
    EXPECT_THAT(text, Not(HasSubstr("\nDays")));
}

}  // namespace
}  // namespace ledgerfern
