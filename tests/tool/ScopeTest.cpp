#include "Scope.h"

#include <gmock/gmock.h>

#include "Foundation/UnicodeText.h"
#include "SessionRows.h"
#include "tool/UsageLogs.h"

namespace ledgerfern {
namespace {

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

class ScopeTest : public UsageLogs {};

/// Each command whose text follows the scope.
const std::vector<std::string> scopedCommands = {"report", "sessions", "projects", "daily", "insights"};

TEST_F(ScopeTest, refusesTheKeyOfNoKnownCycle) {
    for (const char* command : {"report", "sessions", "projects", "daily", "insights", "cycles", "limits"}) {
        const Outcome outcome = run({command, "--scope", "604800"});
        EXPECT_EQ(outcome.status, 2) << command;
        EXPECT_EQ(outcome.out, "");
        EXPECT_EQ(
            outcome.err,
            "ledgerfern-cli: --scope “604800” is the key of no known cycle; “ledgerfern-cli cycles” lists "
            "those there are\n");
        EXPECT_EQ(run({command, "--scope", "1771200000"}).status, 0) << command;
    }
    EXPECT_EQ(run({"project", "web-app", "--scope", "604800"}).status, 2);
}

TEST_F(ScopeTest, takesTheCurrentCyclesKeyWhereNothingFallsIntoIt) {
    RolloutLog later;
    later.meta("2026-03-01T12:00:00Z", "/p/x")
        .tokens("2026-03-01T12:00:00Z", {1, 0, 0, 0, 1},
                R"({"primary":{"used_percent":1,"window_minutes":10080,"resets_at":1774828800}})");
    folder.write("codex/later.jsonl", later.text());
    EXPECT_THAT(text({"projects", "--scope", "1774224000"}),
                StartsWith("No usage from 2026-03-23 to 2026-03-29; --scope all counts all there is."));
}

TEST_F(ScopeTest, saysInOneSentenceThatNothingIsInScope) {
    for (const std::string& command : scopedCommands) {
        EXPECT_THAT(text({command, "--search", "zzz"}),
                    HasSubstr("No usage from 2026-02-23 to 2026-03-01 in sessions with “zzz”; --scope all"))
            << command;
        EXPECT_THAT(text({command, "--tool", "claude"}),
                    HasSubstr("No usage of Claude Code from 2026-02-23 to 2026-03-01; --scope all"))
            << command;
        EXPECT_THAT(text({command, "--scope", "today", "--tool", "codex"}),
                    HasSubstr("No usage of Codex today; --scope all counts all there is.\n"))
            << command;
        EXPECT_THAT(text({command, "--scope", "all", "--search", "zzz"}),
                    HasSubstr("No usage in sessions with “zzz”, even with --scope all.\n"))
            << command;
    }
    EXPECT_EQ(text({"sessions", "--scope", "today", "--tool", "codex"}),
              "No usage of Codex today; --scope all counts all there is.\n");
    EXPECT_THAT(text({"project", "scripts", "--scope", "today"}),
                HasSubstr("No usage in “scripts” today; --scope all counts all there is.\n"));
    EXPECT_THAT(text({"project", "scripts", "--scope", "all", "--tool", "claude"}),
                HasSubstr("No usage of Claude Code in “scripts”, even with --scope all.\n"));
}

TEST_F(ScopeTest, saysWhereThereAreNoLogsAtAll) {
    const LogFolder empty;
    for (const std::string& command : scopedCommands) {
        TextConsole console(400);
        EXPECT_EQ(runCommandLine({command, "--codex", empty.path()}, console.console), 0);
        EXPECT_THAT(console.out.text(), StartsWith("No session logs were found below " + empty.path()));
    }
}

TEST_F(ScopeTest, countsEverythingWhereNoCycleIsKnown) {
    TextConsole console;
    EXPECT_EQ(
        runCommandLine({"report", "--claude", folder.path("claude"), "--now", "1772452800"}, console.console),
        0);
    EXPECT_THAT(console.out.text(), HasSubstr("\nAll time\n  8 tokens · 1 request"));
    EXPECT_THAT(console.out.text(), HasSubstr("\nDays "));
    TextConsole cycles;
    EXPECT_EQ(runCommandLine({"cycles", "--claude", folder.path("claude")}, cycles.console), 0);
    EXPECT_THAT(cycles.out.text(), StartsWith("No cycle is known: "));
}

TEST_F(ScopeTest, headsTheReportWithItsScope) {
    EXPECT_THAT(text({"report"}), HasSubstr("\nCycle of Feb 23 · 2026-02-23 to 2026-03-01 · over\n"));
    TextConsole before;
    EXPECT_EQ(
        runCommandLine({"report", "--codex", folder.path("codex"), "--now", "1772409599"}, before.console),
        0);
    EXPECT_THAT(before.out.text(), HasSubstr("\nCycle of Feb 23 · 2026-02-23 to 2026-03-01\n"));
    EXPECT_THAT(text({"report", "--scope", "all"}), HasSubstr("\nAll time\n"));
    EXPECT_THAT(text({"report", "--scope", "all"}), HasSubstr("\nWeeks "));
    const std::string today = text({"report", "--scope", "today"});
    EXPECT_THAT(today, HasSubstr("\nToday\n  8 tokens · 1 request"));
    EXPECT_EQ(today.find("\nToday\n"), today.rfind("\nToday\n"));
}

TEST_F(ScopeTest, listsSessionsProjectsDaysAndCycles) {
    EXPECT_EQ(text({"projects", "--color", "never"}),
              "Projects                 tokens  requests  sessions     cost\n"
              "  web-app  ████████████    3.1K         2         1  $0.0037\n"
              "  scripts  ▏                 20         1         1        —\n");
    EXPECT_EQ(text({"daily"}),
              "Days                        tokens  requests  sessions     cost\n"
              "  2026-02-24  ▏                 20         1         1        —\n"
              "  2026-03-01  ████████████    3.1K         2         1  $0.0037\n");
    EXPECT_THAT(text({"daily", "--scope", "all"}), StartsWith("Weeks "));
    EXPECT_EQ(text({"cycles"}),
              "Cycles        first day   last day    tokens  requests  sessions      cost\n"
              "  1771200000  2026-02-16  2026-02-22      10         1         1         —\n"
              "  1771804800  2026-02-23  2026-03-01    3.2K         3         2  ≥$0.0037  now\n"
              "  1772409600  2026-03-02  2026-03-08       8         1         1   $0.0003\n");
    const std::string sessions = text({"sessions"});
    EXPECT_THAT(sessions, StartsWith("Sessions "));
    EXPECT_THAT(sessions, HasSubstr("\n  Fix the login page"));
    EXPECT_THAT(text({"sessions", "--limit", "1"}), HasSubstr("\n  … and 1 more\n"));
}

TEST_F(ScopeTest, showsAProjectWithTotalsDaysAndSessions) {
    const std::string page = text({"project", "web-app"});
    EXPECT_THAT(page, StartsWith("web-app · Cycle of Feb 23 · 2026-02-23 to 2026-03-01 · over\n  3.1K tokens "
                                 "· 2 requests · $0.0037 at list"));
    EXPECT_THAT(page, HasSubstr("\nDays "));
    EXPECT_THAT(page, HasSubstr("\nSessions "));
    EXPECT_THAT(page, Not(HasSubstr("scripts")));
}

TEST_F(ScopeTest, failsForAProjectThatIsNotThere) {
    const Outcome outcome = run({"project", "web-ap"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err, "ledgerfern-cli: there is no project “web-ap”; did you mean “web-app”?\n");
    EXPECT_EQ(
        run({"project", "other"}).err,
        "ledgerfern-cli: there is no project “other”; “ledgerfern-cli projects --scope all” lists those "
        "there are\n");
}

TEST_F(ScopeTest, tellsInsightsInFullAndInOneLineEach) {
    RolloutLog log;
    log.meta("2026-03-01T10:00:00Z", "/p/heavy").model("gpt-5");
    log.tokens("2026-03-01T10:00:00Z", {200000, 0, 0, 0, 200000});
    for (const char* name : {"1", "2", "3"})
        folder.write(std::string("codex/heavy-") + name + ".jsonl", log.text());
    const std::string full = text({"insights"});
    const nlohmann::json insights = document({"insights", "--json"})["insights"];
    ASSERT_FALSE(insights.empty());
    const std::string report = text({"report"});
    EXPECT_THAT(report, HasSubstr("\nInsights"));
    for (const nlohmann::json& insight : insights) {
        EXPECT_THAT(full, HasSubstr(insight["title"].get<std::string>() + "\n"));
        EXPECT_THAT(full, HasSubstr(insight["metric"].get<std::string>() + " "));
        EXPECT_THAT(report, HasSubstr("\n  " + insight["title"].get<std::string>() + " · " +
                                      insight["severity"].get<std::string>() + "\n"));
    }
    EXPECT_THAT(full, HasSubstr("\n  → "));
    EXPECT_THAT(full, HasSubstr("\n  in 3 sessions: heavy · heavy · heavy\n"));
    EXPECT_THAT(text({"insights", "--search", "scripts"}), StartsWith("Nothing to fix: "));
}

TEST_F(ScopeTest, neverLetsALogSpeakToTheTerminal) {
    RolloutLog log;
    log.meta("2026-03-01T10:00:00Z", R"(/p/\u001b[2Jevil\u202e\u0007)").model(R"(gpt\u001b]0;x)");
    for (int i = 1; i <= 3; ++i)
        log.tokens("2026-03-01T10:00:00Z", {200000 * i, 0, 0, 0, 200000 * i});
    folder.write("codex/evil-1.jsonl", log.text());
    folder.write("codex/evil-2.jsonl", log.text());
    EXPECT_THAT(text({"insights"}), HasSubstr("\uFFFD[2Jevil\uFFFD starts every session at "));
    for (const char* command : {"insights", "sessions", "projects", "report"})
        for (const char* bad : {"\x1b", "\x07", "\u202e"})
            EXPECT_THAT(text({command}), Not(HasSubstr(bad))) << command;
}

TEST_F(ScopeTest, saysWhereNoRequestHasATime) {
    const LogFolder timeless;
    RolloutLog log;
    log.meta("2026-03-01T10:00:00Z", "/p/x").tokens("", {1, 0, 1, 0, 2});
    timeless.write("a.jsonl", log.text());
    TextConsole console;
    EXPECT_EQ(runCommandLine({"daily", "--codex", timeless.path()}, console.console), 0);
    EXPECT_EQ(console.out.text(), "No request in scope has a time.\n");
}

TEST_F(ScopeTest, keepsWhatIsToBeCopiedWhereTheRoomIsShort) {
    EXPECT_THAT(run({"cycles"}, 40).out, HasSubstr("\n  1771804800  "));
    const std::string wide = run({"sessions", "--scope", "all", "--color", "never"}, 200).out;
    EXPECT_THAT(wide, HasSubstr("  scripts  scripts  Codex "));
    EXPECT_THAT(wide, HasSubstr("  c        web-app  Claude Code "));
    EXPECT_THAT(wide, HasSubstr("  02-24 09:00 "));  // all of this year
    EXPECT_EQ(run({"session", "scripts"}).status, 0);
}

TEST_F(ScopeTest, tellsTheYearWhereASessionIsOfAnother) {
    RolloutLog log;
    log.meta("2025-03-01T10:00:00Z", "/p/old").tokens("2025-03-01T10:00:00Z", {1, 0, 0, 0, 1});
    folder.write("codex/rollout-2025-03-01T10-00-00-019c5603-9deb-761c-ae92-1066cd06be8a.jsonl", log.text());
    const std::string wide = run({"sessions", "--scope", "all", "--color", "never"}, 200).out;
    EXPECT_THAT(wide, HasSubstr("  1066cd06be8a  old "));
    EXPECT_THAT(wide, HasSubstr("  2025-03-01 10:00 "));
    EXPECT_THAT(wide, HasSubstr("  2026-02-24 09:00 "));
    EXPECT_EQ(run({"session", "1066cd06be8a"}).status, 0);
}

TEST_F(ScopeTest, headsContextConsumersWithWhatTheyAreOf) {
    RolloutLog log;
    log.meta("2026-02-18T10:00:00Z", "/p/x").user("hello").tokens("2026-02-18T10:00:00Z", {9, 0, 1, 0, 10});
    folder.write("codex/x.jsonl", log.text());
    // The session lies in another cycle, and another agent is asked for.
    EXPECT_THAT(text({"report", "--tool", "claude", "--scope", "today"}),
                HasSubstr("\nTop context consumers of all sessions  "));
}

TEST_F(ScopeTest, fitsEveryTerminal) {
    int i = 0;
    for (const char* name :
         {"a-project-with-a-name-that-is-longer-than-any-screen-is-wide-and-goes-on-and-on",
          "日本語のとても長いプロジェクト名日本語のとても長いプロジェクト名", "👩‍💻👩‍💻",
          "مشروع طويل جدا"}) {
        RolloutLog log;
        log.meta("2026-03-01T10:00:00Z", std::string("/p/") + name).model(name).user(name);
        log.tokens("2026-03-01T10:00:00Z", {170000, 0, 1, 0, 170001});
        folder.write("codex/" + std::to_string(i++) + ".jsonl", log.text());
    }
    for (const std::size_t columns : {40u, 60u, 80u, 120u, 200u})
        for (const std::vector<std::string>& arguments :
             std::vector<std::vector<std::string>>{{"report"},
                                                   {"sessions"},
                                                   {"projects"},
                                                   {"daily"},
                                                   {"cycles"},
                                                   {"insights"},
                                                   {"limits"},
                                                   {"project", "مشروع طويل جدا"},
                                                   {"project", "👩‍💻👩‍💻"},
                                                   {"projects", "--search", "no such thing"}}) {
            auto all = arguments;
            all.insert(all.end(), {"--color", "never"});
            const Outcome outcome = run(all, columns);
            EXPECT_EQ(outcome.status, 0) << outcome.err;
            std::istringstream lines(outcome.out);
            for (std::string line; std::getline(lines, line);)
                EXPECT_LE(displayWidth(line), columns) << line;
        }
}

SessionRow rowOf(const char* path, const char* name, std::optional<Instant> lastTs, std::int64_t tokens,
                 std::optional<double> cost) {
    SessionResult session;
    session.path = path;
    session.lastTs = lastTs;
    return {std::make_shared<const SessionResult>(session), name, {path, tokens, 1, 1, cost}};
}

std::string sorted(std::vector<SessionRow> rows, SessionOrder order) {
    sortRows(rows, order);
    std::string paths;
    for (const SessionRow& row : rows)
        paths += row.session->path;
    return paths;
}

TEST(SessionRows, breakTiesByPathButKeepTheOrderOfEqualTokens) {
    const std::vector<SessionRow> rows = {rowOf("c", "x", 5, 10, 1.0), rowOf("b", "x", 5, 10, 1.0),
                                          rowOf("a", "Z", std::nullopt, 20, std::nullopt),
                                          rowOf("d", "é", 9, 1, 0.0)};
    EXPECT_EQ(sorted(rows, SessionOrder::tokens), "acbd");
    EXPECT_EQ(sorted(rows, SessionOrder::cost), "bcda");
    EXPECT_EQ(sorted(rows, SessionOrder::recent), "dbca");
    EXPECT_EQ(sorted(rows, SessionOrder::name), "abcd");
}

}  // namespace
}  // namespace ledgerfern
