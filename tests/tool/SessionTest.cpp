#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

#include "CommandLine.h"
#include "Foundation/UnicodeText.h"
#include "SessionSearch.h"
#include "tool/LogFolder.h"
#include "tool/TextOutput.h"

namespace ledgerfern {
namespace {

using testing::HasSubstr;

struct Outcome {
    int status;
    std::string out;
    std::string err;
};

Outcome session(const LogFolder& folder, const std::string& what,
                std::optional<std::size_t> columns = std::nullopt) {
    TextConsole text(columns);
    const int status =
        runCommandLine({"session", what, "--codex", folder.path(), "--color", "never"}, text.console);
    return {status, text.out.text(), text.err.text()};
}

RolloutLog smallLog(const std::string& message) {
    RolloutLog log;
    log.meta("2026-03-01T10:00:00Z", "/home/me/web-app").model("gpt-5").user(message);
    log.tokens("2026-03-01T10:01:00Z", {1000, 400, 50, 10, 1050})
        .tokens("2026-03-01T10:02:00Z", {3000, 1400, 150, 30, 3150});
    return log;
}

TEST(Session, showsItsFiguresAndRequests) {
    const LogFolder folder;
    const std::string path = folder.write("a.jsonl", smallLog("Fix the login page").text());
    // 600 × 1.25 + 400 × 0.125 + 60 × 10 = 1400, and 1000 × 1.25 + 1000 × 0.125 + 120 × 10 = 2575 millionths
    EXPECT_EQ(session(folder, path, 200).out,
              "Fix the login page\n"
              "  web-app · Codex · gpt-5\n"
              "  2026-03-01 10:00 to 2026-03-01 10:02\n"
              "  3.0K input · 1.4K cached input · 150 output · 30 reasoning · 3.1K total\n"
              "  2 requests · $0.0040 at list prices\n"
              "  " +
                  path +
                  "\n"
                  "\n"
                  "Requests  input  cached  output  reasoning  total     cost  added most\n"
                  "  10:01    1.0K     400      50         10   1.1K  $0.0014  user messages\n"
                  "  10:02    2.0K    1.0K     100         20   2.1K  $0.0026  —\n");
}

TEST(Session, countsWhatItsEndHoldsOpen) {
    const LogFolder folder;
    std::string text = smallLog("x").tokens("2026-03-01T10:03:00Z", {4000, 1400, 150, 30, 4150}).text();
    text.pop_back();
    const std::string path = folder.write("a.jsonl", text);
    EXPECT_THAT(session(folder, path).out, HasSubstr("  3 requests · "));
}

TEST(Session, showsTheLast400Requests) {
    const LogFolder folder;
    RolloutLog log;
    log.meta("2026-03-01T10:00:00Z", "/p/a");
    for (int i = 1; i <= 500; ++i)
        log.tokens("2026-03-01T10:00:00Z", {i * (i + 1) / 2, 0, 0, 0, i * (i + 1) / 2});
    const std::string out = session(folder, folder.write("a.jsonl", log.text())).out;
    EXPECT_THAT(out, HasSubstr("  500 requests · the last 400 follow\n"));
    const std::string rows = out.substr(out.find("Requests"));
    EXPECT_EQ(std::count(rows.begin(), rows.end(), '\n'), 401);
    // Request i took i tokens.
    EXPECT_THAT(rows.substr(rows.find('\n') + 1), testing::StartsWith("  10:00     101 "));
    EXPECT_THAT(rows, HasSubstr("    500 "));
}

TEST(Session, showsTheModelsWhereTheyDiffer) {
    const LogFolder folder;
    RolloutLog log = smallLog("x");
    log.model("gpt-5-mini").tokens("2026-03-01T10:03:00Z", {4000, 1400, 150, 30, 4150});
    const std::string out = session(folder, folder.write("a.jsonl", log.text()), 200).out;
    EXPECT_THAT(out, HasSubstr("  model       added most\n"));
    EXPECT_THAT(out, HasSubstr("  gpt-5-mini  —\n"));
}

/// Requests of two days whose figures take as many columns as figures do.
std::string wideTable(std::size_t columns, const std::string& model) {
    const LogFolder folder;
    RolloutLog log;
    log.meta("2026-03-01T10:00:00Z", "/p/a").model(model).user("x");
    log.tokens("2026-03-01T10:01:00Z", {139400, 138600, 100454, 100218, 239854})
        .tokens("2026-03-02T10:02:00Z", {139401, 138600, 100455, 100219, 239856});
    const std::string out = session(folder, folder.write("a.jsonl", log.text()), columns).out;
    return out.substr(out.find("Requests"));
}

TEST(Session, keepsAllFiguresInEightyColumns) {
    EXPECT_EQ(wideTable(80, "gpt-5"),
              "Requests        input  cached  output  reasoning   total     cost  added most\n"
              "  03-01 10:01  139.4K  138.6K  100.5K     100.2K  239.9K    $2.03  user messages\n"
              "  03-02 10:02       1       0       1          1       2  $0.0000  —\n");
    EXPECT_EQ(wideTable(66, "gpt-5").substr(0, 66),
              "Requests        input  cached  output  reasoning   total     cost\n");
}

TEST(Session, keepsInputOutputAndCostInFortyColumns) {
    EXPECT_EQ(wideTable(40, "gpt-5"),
              "Requests        input  output     cost\n"
              "  03-01 10:01  139.4K  100.5K    $2.03\n"
              "  03-02 10:02       1       1  $0.0000\n");
    EXPECT_EQ(wideTable(40, "other"),
              "Requests        input  output   total\n"
              "  03-01 10:01  139.4K  100.5K  239.9K\n"
              "  03-02 10:02       1       1       2\n");
}

TEST(Session, fitsNarrowTerminals) {
    const LogFolder folder;
    const std::string path = folder.write(
        "a.jsonl",
        smallLog("日本語の最初のメッセージはとても長いです、とても長いです、とても長いです、とても長い")
            .text());
    for (const std::size_t columns : {40u, 80u, 200u}) {
        std::istringstream lines(session(folder, path, columns).out);
        for (std::string line; std::getline(lines, line);)
            EXPECT_LE(displayWidth(line), columns) << line;
    }
}

TEST(Session, leavesOutATimeThatIsNotKnown) {
    const LogFolder folder;
    const auto headerOf = [&](const std::string& meta, const std::string& last) {
        RolloutLog log;
        log.line("", "session_meta", meta).tokens(last, {1, 0, 1, 0, 2});
        return session(folder, folder.write("a.jsonl", log.text())).out;
    };
    const std::string known = R"({"timestamp":"2026-03-01T10:00:00Z"})";
    EXPECT_THAT(headerOf("{}", ""), HasSubstr("\n  at an unknown time\n"));
    EXPECT_THAT(headerOf(known, ""), HasSubstr("\n  from 2026-03-01 10:00\n"));
    EXPECT_THAT(headerOf("{}", "2026-03-01T10:00:00Z"), HasSubstr("\n  until 2026-03-01 10:00\n"));
}

TEST(Session, tellsTheFirstAndTheLastTimeOfTheCalendar) {
    const LogFolder folder;
    RolloutLog log;
    log.meta("0001-01-01T00:00:00Z", "/p/a").tokens("9999-12-31T23:59:59Z", {1, 0, 1, 0, 2});
    EXPECT_THAT(session(folder, folder.write("a.jsonl", log.text())).out,
                HasSubstr("\n  0001-01-01 00:00 to 9999-12-31 23:59\n"));
}

TEST(Session, showsADashForANameThatCannotBeSeen) {
    const LogFolder folder;
    RolloutLog log;
    log.meta("2026-03-01T10:00:00Z", "/p/\u200B").user("\u2060").tokens("", {1, 0, 1, 0, 2});
    EXPECT_THAT(session(folder, folder.write("a.jsonl", log.text())).out,
                testing::StartsWith("—\n  — · Codex · unknown model\n"));
}

TEST(Session, neverLetsALogSpeakToTheTerminal) {
    const LogFolder folder;
    const std::string path = folder.write("a.jsonl", smallLog(R"(\u001b[2J\u202ehi)").text());
    EXPECT_THAT(session(folder, path).out, testing::StartsWith("\uFFFD[2Jhi\n"));
}

class SessionSearchTest : public testing::Test {
protected:
    SessionSearchTest() {
        for (const auto& [path, id] :
             {std::pair{"/l/rollout-1-abc1.jsonl", "abc1"}, std::pair{"/l/rollout-2-abc2.jsonl", "abc2"},
              std::pair{"/l/rollout-3-abc22.jsonl", "abc22"},
              std::pair{"/l/named.jsonl", "/l/named.jsonl"}}) {
            SessionResult result;
            result.path = path;
            snapshot.sessions.push_back(std::make_shared<const SessionResult>(result));
            snapshot.sessionIDs[path] = id;
        }
    }
    std::string found(const std::string& text) const {
        const auto result = findSession(snapshot, {}, text);
        const auto* path = std::get_if<std::string>(&result);
        return path ? *path : std::get<NoSession>(result).sentence;
    }
    Snapshot snapshot;
};

TEST_F(SessionSearchTest, findsByPath) {
    EXPECT_EQ(found("/l/named.jsonl"), "/l/named.jsonl");
    EXPECT_EQ(found("/l/../l//named.jsonl"), "/l/named.jsonl");
}

TEST_F(SessionSearchTest, findsByWholeIdBeforeItsStart) {
    EXPECT_EQ(found("abc2"), "/l/rollout-2-abc2.jsonl");
    EXPECT_EQ(found("abc22"), "/l/rollout-3-abc22.jsonl");
}

TEST_F(SessionSearchTest, findsByTheStartOrAPartOfAnIdOrFileName) {
    EXPECT_EQ(found("rollout-1"), "/l/rollout-1-abc1.jsonl");
    EXPECT_EQ(found("named"), "/l/named.jsonl");
    EXPECT_EQ(found("c22"), "/l/rollout-3-abc22.jsonl");
}

TEST_F(SessionSearchTest, saysWhichItCouldMean) {
    EXPECT_EQ(found("abc"),
              "“abc” means 3 sessions, “abc1” and “abc2” among them; give more of the id, or the path");
}

TEST_F(SessionSearchTest, tellsLogsOfOneNameApartByTheirPaths) {
    for (const std::string path : {"/l/x/rollout-4-same.jsonl", "/l/y/rollout-4-same.jsonl"}) {
        SessionResult result;
        result.path = path;
        snapshot.sessions.push_back(std::make_shared<const SessionResult>(result));
        snapshot.sessionIDs[path] = "same";
    }
    EXPECT_EQ(
        found("same"),
        "“same” means 2 sessions, “/l/x/rollout-4-same.jsonl” and “/l/y/rollout-4-same.jsonl” among them; "
        "give the path");
    EXPECT_EQ(found("/l/y/rollout-4-same.jsonl"), "/l/y/rollout-4-same.jsonl");
}

TEST_F(SessionSearchTest, saysThatThereIsNone) {
    EXPECT_EQ(found("zzz"), "there is no session “zzz”; give the path of its log, or its id or a part of it");
}

TEST(SessionCommand, failsWithOneLineWhereThereIsNone) {
    const LogFolder folder;
    const Outcome outcome = session(folder, "zzz");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(
        outcome.err,
        "ledgerfern-cli: there is no session “zzz”; give the path of its log, or its id or a part of it\n");
}

TEST(SessionCommand, saysThatALogLiesOutsideTheFolders) {
    const LogFolder folder, other;
    folder.write("a.jsonl", smallLog("x").text());
    const std::string path = other.write("b.jsonl", smallLog("y").text());
    const Outcome outcome = session(folder, path);
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err,
              "ledgerfern-cli: the log “" + path +
                  "” lies outside the folders that are read; name its folder with --codex or --claude\n");
    EXPECT_THAT(session(folder, other.write("notes.txt", "")).err, HasSubstr("there is no session “"));
}

TEST(SessionCommand, saysThatAFileHoldsNoUsage) {
    const LogFolder folder;
    const std::string path = folder.write("empty.jsonl", "");
    EXPECT_EQ(session(folder, path).err,
              "ledgerfern-cli: the log “" + path + "” holds no usage; give the path of a session's log\n");
}

TEST(SessionCommand, findsALogByAnotherPathOfIt) {
    const LogFolder folder, other;
    folder.write("a.jsonl", smallLog("Fix the login page").text());
    std::filesystem::create_directory_symlink(folder.path(), other.path("link"));
    EXPECT_THAT(session(folder, other.path("link/a.jsonl")).out, testing::StartsWith("Fix the login page\n"));
}

}  // namespace
}  // namespace ledgerfern
