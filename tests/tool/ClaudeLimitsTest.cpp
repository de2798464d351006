#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <nlohmann/json.hpp>

#include "CommandLine.h"
#include "core/FileFixture.h"
#include "core/TempFolder.h"
#include "tool/LogFolder.h"
#include "tool/TextOutput.h"
#include "tool/ToolProcess.h"

namespace ledgerfern {
namespace {

using Json = nlohmann::json;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

const std::string now = "1772359320";  // Sunday, 1 March 2026, 10:02 UTC

/// A home folder, seen from 1 March 2026. Codex: 3,150 tokens on that day in the week from 23 February to
/// 2 March. Claude Code: 10 tokens on 24 February and 7 on 1 March, which its own week from 25 February to
/// 4 March divides; its status line told so five minutes ago.
class ClaudeLimitsTest : public testing::Test {
protected:
    ClaudeLimitsTest() : variable_("HOME", home.path()) {
        RolloutLog codex;
        codex.meta("2026-03-01T10:00:00Z", "/p/web-app").model("gpt-5");
        codex.tokens("2026-03-01T10:02:00Z", {3000, 1400, 150, 0, 3150},
                     R"({"primary":{"used_percent":42.5,"window_minutes":10080,"resets_at":1772409600}})");
        home.write(".codex/sessions/a.jsonl", codex.text());
        home.write(".claude/projects/p/c.jsonl",
                   claudeLine("2026-02-24T09:00:00Z", 1, 8) + claudeLine("2026-03-01T09:00:00Z", 2, 5));
        writeStatus(reading);
    }

    static std::string claudeLine(const std::string& time, int number, int input) {
        return R"({"type":"assistant","timestamp":")" + time + R"(","cwd":"/p/notes","requestId":"r)" +
               std::to_string(number) + R"(","message":{"id":"m)" + std::to_string(number) +
               R"(","model":"claude-opus-4","usage":{"input_tokens":)" + std::to_string(input) +
               R"(,"output_tokens":2},"content":[]}})" + "\n";
    }
    std::string writeStatus(const std::string& text) const {
        const std::string path = home.write(status, text);
        test::setModified(path, 1772359020);
        return path;
    }
    void removeStatus() const { std::filesystem::remove_all(home.path(status)); }

    std::string run(std::vector<std::string> arguments, const std::string& instant = now,
                    const std::string& warning = "") const {
        TextConsole text(100);
        arguments.insert(arguments.end(), {"--no-cache", "--color", "never", "--now", instant});
        EXPECT_EQ(runCommandLine(arguments, text.console), 0);
        EXPECT_EQ(text.err.text(), warning);
        return text.out.text();
    }
    Json document(std::vector<std::string> arguments, const std::string& instant = now) const {
        arguments.emplace_back("--json");
        return Json::parse(run(std::move(arguments), instant));
    }
    Json dump(const std::vector<std::string>& more, const std::string& warning = "") const {
        std::vector<std::string> arguments = {"dump"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return Json::parse(run(arguments, now, warning));
    }
    LogFolder home;
    const std::string status = "Library/Application Support/Ledgerfern/claude-status.json";
    const std::string reading =
        R"({"rate_limits":{"five_hour":{"used_percentage":42.4,"resets_at":1772366400},)"
        R"("seven_day":{"used_percentage":81,"resets_at":1772582400}}})";

private:
    EnvironmentVariable variable_;
};

TEST_F(ClaudeLimitsTest, standBesideThoseOfCodexWithTheAgeOfTheReading) {
    const std::string table =
        "Limits    window                used  resets                            as of\n"
        "  Codex   weekly  █████▏         43%  in 13 h 58 min  2026-03-02 00:00  2026-03-01 10:02\n"
        "  Claude  weekly  █████████▊     81%  in 2 d 13 h     2026-03-04 00:00  2026-03-01 09:57\n"
        "  Claude  5-hour  █████▏         42%  in 1 h 58 min   2026-03-01 12:00  2026-03-01 09:57\n";
    EXPECT_EQ(run({"limits"}), table);
    EXPECT_THAT(run({"report"}), HasSubstr("\n" + table + "\n"));
    EXPECT_THAT(run({"limits", "--tool", "claude"}), Not(HasSubstr("Codex")));
    EXPECT_THAT(run({"limits", "--tool", "codex"}), Not(HasSubstr("Claude")));
}

TEST_F(ClaudeLimitsTest, standInDocuments) {
    const auto limit = [](double used, int minutes, std::int64_t reset) {
        return Json{{"tool", "claude"},         {"window", minutes == 300 ? "5h" : "7d"},
                    {"as_of", 1772359020.0},    {"usedPercent", used},
                    {"windowMinutes", minutes}, {"resetsAt", reset},
                    {"planType", nullptr}};
    };
    const Json claude = {limit(81, 10080, 1772582400), limit(42.4, 300, 1772366400)};
    EXPECT_EQ(document({"limits", "--tool", "claude"})["limits"], claude);
    for (const char* command : {"limits", "report"}) {
        const Json all = document({command})["limits"];
        ASSERT_EQ(all.size(), 3u);
        EXPECT_EQ(all[0]["tool"], "codex");
        EXPECT_EQ(Json({all[1], all[2]}), claude);
    }
}

TEST_F(ClaudeLimitsTest, areAsTheyStandAtTheInstant) {
    const Json afterFiveHours = document({"limits", "--tool", "claude"}, "1772366400")["limits"];
    EXPECT_EQ(afterFiveHours[0]["usedPercent"], 81);
    EXPECT_EQ(afterFiveHours[1]["usedPercent"], 0);
    EXPECT_EQ(afterFiveHours[1]["resetsAt"], 1772366400 + 18000);
    const Json afterAWeek = document({"limits", "--tool", "claude"}, "1772582401")["limits"];
    EXPECT_EQ(afterAWeek[0]["usedPercent"], 0);
    EXPECT_EQ(afterAWeek[0]["resetsAt"], 1772582400 + 604800);
    EXPECT_EQ(afterAWeek[0]["as_of"], 1772359020.0);
}

TEST_F(ClaudeLimitsTest, letClaudeCodesSessionsCountByTheirOwnCycle) {
    const auto tokens = [this](const char* command) -> std::int64_t {
        const Json found = document({command, "--tool", "claude"});
        const Json& rows = found.contains("cycle") ? found["cycle"] : found[command][0];
        return rows["total_tokens"];
    };
    const auto requests = [this] { return run({"export", "csv", "--scope", "cycle", "--tool", "claude"}); };
    for (const char* command : {"report", "sessions", "projects"})
        EXPECT_EQ(tokens(command), 7) << command;
    EXPECT_EQ(document({"project", "notes"})["project"]["total_tokens"], 7);
    const std::string exported = requests();
    removeStatus();
    for (const char* command : {"report", "sessions", "projects"})
        EXPECT_EQ(tokens(command), 17) << command;
    EXPECT_EQ(document({"project", "notes"})["project"]["total_tokens"], 17);
    EXPECT_NE(requests(), exported);
}

TEST_F(ClaudeLimitsTest, makeTheReportSayWhichCycleCounts) {
    const std::string note = "Claude Code counts by its own cycle, 2026-02-25 to 2026-03-03\n";
    EXPECT_THAT(run({"report"}),
                HasSubstr("\nCycle of Feb 23 · 2026-02-23 to 2026-03-01\n  " + note + "  3.2K tokens"));
    EXPECT_THAT(run({"project", "notes"}), HasSubstr(note));
    EXPECT_THAT(run({"report", "--tool", "codex"}), Not(HasSubstr("own cycle")));
    EXPECT_THAT(run({"report", "--scope", "all"}), Not(HasSubstr("own cycle")));
    EXPECT_THAT(run({"sessions", "--tool", "claude", "--search", "zzz"}),
                HasSubstr("No usage of Claude Code from 2026-02-25 to 2026-03-03 in sessions with"));
    removeStatus();
    EXPECT_THAT(run({"report"}), Not(HasSubstr("own cycle")));
}

TEST_F(ClaudeLimitsTest, areNotLookedAtWhereRootsAreNamed) {
    const std::string codex = home.path(".codex/sessions"), claude = home.path(".claude/projects");
    const std::string both = run({"report", "--codex", codex, "--claude", claude});
    EXPECT_THAT(both, Not(HasSubstr("  Claude  ")));
    EXPECT_EQ(document({"sessions", "--claude", claude, "--codex", codex, "--tool",
                        "claude"})["sessions"][0]["total_tokens"],
              17);
    EXPECT_EQ(run({"limits", "--claude", claude}),
              "No rate limit is known: no session log holds a reading of one.\n");
    EXPECT_EQ(run({"limits", "--tool", "claude", "--claude", claude}),
              "No rate limit is known of Claude Code: its logs hold none, and with --codex or --claude "
              "nothing else\nis read.\n");
}

TEST_F(ClaudeLimitsTest, areNotInWhatTwoBuildsAreComparedBy) {
    const std::string parity = run({"parity"});
    const Json plain = dump({"--scope", "cycle"});
    EXPECT_EQ(plain["aggregates"]["latest_rate_limits_by_tool"].size(), 1u);
    EXPECT_EQ(plain["derived"]["total_tokens"], 3150 + 17);
    removeStatus();
    EXPECT_EQ(run({"parity"}), parity);
    EXPECT_EQ(dump({"--scope", "cycle"}), plain);
}

TEST_F(ClaudeLimitsTest, areInADumpThatNamesTheFile) {
    for (const bool areRootsNamed : {false, true}) {
        std::vector<std::string> arguments = {"--scope", "cycle", "--status", home.path(status)};
        if (areRootsNamed)
            arguments.insert(arguments.end(), {"--codex", home.path(".codex/sessions"), "--claude",
                                               home.path(".claude/projects")});
        const Json found = dump(arguments);
        const Json& aggregates = found["aggregates"];
        EXPECT_EQ(aggregates["latest_rate_limits_by_tool"]["claude"], (Json{{"usedPercent", 81},
                                                                            {"windowMinutes", 10080},
                                                                            {"resetsAt", 1772582400},
                                                                            {"planType", nullptr}}));
        EXPECT_EQ(aggregates["cycle_anchors_by_tool"],
                  (Json{{"claude", 1772582400.0}, {"codex", 1772409600.0}}));
        EXPECT_EQ(aggregates["tools_use_different_anchors"], true);
        EXPECT_EQ(aggregates["latest_rate_limits_as_of"].size(), 1u);
        EXPECT_EQ(found["derived"]["total_tokens"], 3150 + 7);
    }
}

TEST_F(ClaudeLimitsTest, areMissingInADumpWhoseFileHasNone) {
    const Json plain = dump({});
    for (const std::string& path : {home.path("none"), home.path(), home.write("bad", "{")})
        EXPECT_EQ(dump({"--status", path}, "ledgerfern-cli: “" + path +
                                               "” holds no reading of Claude's limits; none is merged\n"),
                  plain);
    TextConsole text;
    EXPECT_EQ(runCommandLine({"dump", "--status", ""}, text.console), 2);
    EXPECT_EQ(text.err.text(), "ledgerfern-cli: --status needs the name of a file\n");
}

TEST_F(ClaudeLimitsTest, areUnknownWhereTheFileCannotBeRead) {
    removeStatus();
    const std::string without = run({"report"}), none = run({"limits"});
    EXPECT_THAT(none, Not(HasSubstr("Claude")));
    for (const char* text : {"", "{", "[]", "{}", R"({"rate_limits":{}})", "\xEF\xBB\xBF{}",
                             R"({"rate_limits":{"five_hour":{"used_percentage":"1"}}})"}) {
        writeStatus(text);
        EXPECT_EQ(run({"report"}), without) << text;
        EXPECT_EQ(run({"limits"}), none) << text;
    }
    removeStatus();
    std::filesystem::create_directories(home.path(status));
    EXPECT_EQ(run({"limits"}), none);
    EXPECT_EQ(run({"limits", "--tool", "claude"}),
              "No rate limit is known of Claude Code: its logs hold none, and there is no reading of its "
              "status\nline.\n");
}

TEST_F(ClaudeLimitsTest, areAllThereIsWithoutLogs) {
    std::filesystem::remove_all(home.path(".codex"));
    std::filesystem::remove_all(home.path(".claude"));
    const std::string limits = run({"limits"});
    EXPECT_THAT(limits, HasSubstr("  Claude  5-hour  "));
    const std::string nothing = run({"report", "--tool", "codex"});
    EXPECT_THAT(nothing, StartsWith("No session logs were found below "));
    EXPECT_EQ(run({"report"}), "Ledgerfern · 2026-03-01 10:02\n\n" + limits + "\n" + nothing);
    EXPECT_EQ(document({"report"})["limits"].size(), 2u);
    removeStatus();
    EXPECT_EQ(run({"report"}), nothing);
    EXPECT_EQ(
        run({"limits"}),
        "No rate limit is known: no session log holds a reading of one, and there is none of Claude Code's\n"
        "status line.\n");
}

TEST_F(ClaudeLimitsTest, mayTellOneWindowAlone) {
    writeStatus(R"({"rate_limits":{"five_hour":{"used_percentage":3}}})");
    const Json limits = document({"limits", "--tool", "claude"})["limits"];
    ASSERT_EQ(limits.size(), 1u);
    EXPECT_EQ(limits[0]["window"], "5h");
    EXPECT_EQ(limits[0]["resetsAt"], nullptr);
    EXPECT_EQ(document({"sessions", "--tool", "claude"})["sessions"][0]["total_tokens"], 17);
}

TEST_F(ClaudeLimitsTest, areFoundInTheHomeFolderOfTheProcess) {
    ToolRun run;
    run.arguments = {"limits", "--now", now};
    run.environment = {{"HOME", home.path()}, {"TZ", "JST-9"}, {"LC_ALL", "de_DE.UTF-8"}};
    for (const char* cache : {"--no-cache", "--finish"}) {
        run.arguments.resize(3);
        run.arguments.emplace_back(cache);
        const ToolOutcome outcome = runTool(run);
        EXPECT_EQ(outcome.status, 0);
        EXPECT_EQ(outcome.err, "");
        EXPECT_THAT(outcome.out, HasSubstr("  Claude  weekly   81%  in 2 d 13 h     2026-03-04 09:00"));
    }
}

}  // namespace
}  // namespace ledgerfern
