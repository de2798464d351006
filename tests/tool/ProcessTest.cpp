#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <filesystem>
#include <sstream>

#include "Foundation/UnicodeText.h"
#include "tool/LogFolder.h"
#include "tool/ToolProcess.h"

namespace ledgerfern {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

const std::string prices =
    R"({"costEstimator.prices": "{\"gpt\":{\"input\":1000,\"cachedInput\":1000,\"output\":1000}}"})";

/// A home folder with one log of 3,150 tokens in its usual place.
class Process : public testing::Test {
protected:
    Process() {
        RolloutLog log;
        log.meta("2026-03-01T10:00:00Z", "/home/me/web-app").model("gpt-5");
        log.tokens("2026-03-01T10:02:00Z", {3000, 1400, 150, 0, 3150},
                   R"({"primary":{"used_percent":96,"window_minutes":10080,"resets_at":1772409600}})");
        file = home.write(".codex/sessions/2026/a.jsonl", log.text());
    }

    ToolRun tool(std::vector<std::string> arguments) const {
        ToolRun run;
        run.arguments = std::move(arguments);
        run.environment = {{"HOME", home.path()}, {"TZ", "UTC"}};
        return run;
    }

    LogFolder home;
    std::string file;
};

TEST_F(Process, readsTheUsualFolder) {
    const ToolOutcome outcome = runTool(tool({"--now", "1772359320"}));
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.out, StartsWith("Ledgerfern · 2026-03-01 10:02\n"));
    EXPECT_THAT(outcome.out, HasSubstr("  web-app "));
    EXPECT_EQ(outcome.err, "");
}

TEST_F(Process, changesNothingInTheHomeFolder) {
    for (const char* command : {"report", "limits", "parity", "dump"})
        EXPECT_EQ(runTool(tool({command})).status, 0);
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(home.path()))
        names.push_back(entry.path().filename());
    EXPECT_THAT(names, testing::UnorderedElementsAre(".codex", "sessions", "2026", "a.jsonl"));
}

TEST_F(Process, countsByTheUsersPricesOnTheUsualFolderAlone) {
    home.write("Library/Application Support/Ledgerfern/preferences.json", prices);
    // The whole prompt of 3,000 and 150 of output at 1,000 a million; the built-in price comes to $0.0037.
    EXPECT_THAT(runTool(tool({})).out, HasSubstr("$3.15"));
    EXPECT_THAT(runTool(tool({"--default-prices"})).out, Not(HasSubstr("$3.15")));
    EXPECT_THAT(runTool(tool({"--codex", home.path(".codex/sessions")})).out, HasSubstr("$0.0037"));
    EXPECT_THAT(runTool(tool({"dump"})).out, HasSubstr("\"cost_usd\": 0.003675"));
}

TEST_F(Process, countsDaysAndHoursInTheLocalZone) {
    ToolRun run = tool({"dump"});
    run.environment["TZ"] = "JST-9";
    const std::string out = runTool(run).out;
    const std::string hours = out.substr(out.find("hourly_local"), 400);
    // 10:02 in UTC is 19:02 there.
    std::istringstream lines(hours.substr(hours.find('\n') + 1));
    std::string line;
    for (int hour = 0; hour <= 19; ++hour)
        std::getline(lines, line);
    EXPECT_THAT(line, HasSubstr("3150"));
}

TEST_F(Process, tellsOfARootThatIsNotThereAndGoesOn) {
    const ToolOutcome outcome =
        runTool(tool({"report", "--codex", home.path("nowhere"), "--codex", home.path(".codex/sessions")}));
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err,
              "ledgerfern-cli: there is no folder “" + home.path("nowhere") + "”; it adds no logs\n");
    EXPECT_THAT(outcome.out, HasSubstr("web-app"));
}

TEST_F(Process, saysNothingOfTheUsualFolderThatIsNotThere) {
    const LogFolder empty;
    ToolRun run = tool({});
    run.environment["HOME"] = empty.path();
    const ToolOutcome outcome = runTool(run);
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, "");
    EXPECT_THAT(outcome.out, StartsWith("No session logs were found below"));
}

TEST_F(Process, endsWithTwoAndOneLineOnBadUsage) {
    for (const auto& arguments : std::vector<std::vector<std::string>>{{"nonsense"},
                                                                       {"--scope", "all"},
                                                                       {"report", "x"},
                                                                       {"--now"},
                                                                       {"--now", "x"},
                                                                       {"session"},
                                                                       {"dump", "--json"},
                                                                       {"--cache", "f", "--no-cache"},
                                                                       {"--color", "blue"},
                                                                       {"--finish=maybe"},
                                                                       {"-"},
                                                                       {"--", "x"},
                                                                       {"watch"}}) {
        const ToolOutcome outcome = runTool(tool(arguments));
        EXPECT_EQ(outcome.status, 2) << arguments[0];
        EXPECT_EQ(outcome.out, "");
        EXPECT_THAT(outcome.err, StartsWith("ledgerfern-cli: "));
        EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1) << outcome.err;
    }
}

TEST_F(Process, endsWithOneWhereASessionIsNotThere) {
    const ToolOutcome outcome = runTool(tool({"session", "zzz"}));
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1);
}

TEST_F(Process, endsSilentlyWhereAPipeIsClosed) {
    for (const char* command : {"report", "limits", "parity", "dump", "--help", "--version"}) {
        ToolRun run = tool({command});
        run.outIsClosedPipe = true;
        const ToolOutcome outcome = runTool(run);
        EXPECT_EQ(outcome.status, 0) << command;
        EXPECT_EQ(outcome.err, "") << command;
    }
}

TEST_F(Process, failsWhereTheDiskIsFull) {
    if (!std::filesystem::exists("/dev/full")) GTEST_SKIP() << "this system has no full device";
    for (const char* command : {"report", "limits", "parity", "dump", "--help", "--version"}) {
        ToolRun run = tool({command});
        run.outFile = "/dev/full";
        const ToolOutcome outcome = runTool(run);
        EXPECT_EQ(outcome.status, 1) << command;
        EXPECT_EQ(outcome.err, "ledgerfern-cli: can't write to standard output: No space left on device\n")
            << command;
    }
}

TEST_F(Process, coloursOnATerminalUnlessItIsAskedNotTo) {
    ToolRun run = tool({"--now", "1772359320"});
    EXPECT_THAT(runTool(run).out, Not(HasSubstr("\x1b")));
    run.outColumns = 80;
    EXPECT_THAT(runTool(run).out, HasSubstr("\x1b[31m96%\x1b[0m"));
    run.environment["NO_COLOR"] = "1";
    EXPECT_THAT(runTool(run).out, Not(HasSubstr("\x1b")));
    run.environment["NO_COLOR"] = "";
    EXPECT_THAT(runTool(run).out, HasSubstr("\x1b"));
    run.arguments = {"--color", "never"};
    EXPECT_THAT(runTool(run).out, Not(HasSubstr("\x1b")));
}

TEST_F(Process, coloursAPipeWhereItIsAskedTo) {
    EXPECT_THAT(runTool(tool({"--color", "always"})).out, HasSubstr("\x1b[1m"));
}

TEST_F(Process, fitsTheTerminalWhateverColumnsSays) {
    for (const auto columns : std::array<unsigned short, 2>{40, 200}) {
        ToolRun run = tool({"--color", "never", "--now", "1772359320"});
        run.outColumns = columns;
        run.environment["COLUMNS"] = "20";
        std::size_t widest = 0;
        std::istringstream lines(runTool(run).out);
        for (std::string line; std::getline(lines, line);)
            widest = std::max(widest, displayWidth(line));
        EXPECT_LE(widest, columns);
        // The bar of the limit stands only where there is room.
        EXPECT_EQ(widest > 80, columns == 200);
    }
}

TEST_F(Process, fitsEightyColumnsOnAPipe) {
    std::istringstream lines(runTool(tool({"report"})).out);
    for (std::string line; std::getline(lines, line);)
        EXPECT_LE(displayWidth(line), 80u) << line;
}

TEST_F(Process, leavesNothingOnATerminalForErrors) {
    ToolRun run = tool({});
    run.errIsTerminal = true;
    const std::string err = runTool(run).err;
    // A scan that took long has shown a line, and taken it back.
    EXPECT_THAT(err, testing::AnyOf("", EndsWith("\r")));
}

TEST_F(Process, acceptsTheCacheOptionsAndKeepsNothing) {
    const std::string cache = home.path("cache.sqlite");
    EXPECT_EQ(runTool(tool({"dump", "--cache", cache})).out, runTool(tool({"dump", "--no-cache"})).out);
    EXPECT_FALSE(std::filesystem::exists(cache));
}

TEST_F(Process, writesTheParityDocument) {
    const ToolOutcome outcome = runTool(tool({"parity"}));
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.out, StartsWith("{\n  \"files_scanned\": 1,"));
    EXPECT_THAT(outcome.out, EndsWith("}\n"));
}

TEST_F(Process, dumpsTheSameBytesTwice) {
    const ToolRun run = tool({"dump", "--now", "1772359320"});
    EXPECT_EQ(runTool(run).out, runTool(run).out);
}

}  // namespace
}  // namespace ledgerfern
