#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <map>
#include <sstream>

#include "Foundation/FileDescriptor.h"
#include "Foundation/Files.h"
#include "Foundation/Sqlite.h"
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

/// Each command that scans.
const std::vector<std::vector<std::string>> scans = {
    {"report"},   {"sessions"}, {"projects"}, {"project", "web-app"}, {"daily"},         {"cycles"},
    {"insights"}, {"limits"},   {"parity"},   {"session", "a.jsonl"}, {"export", "csv"}, {"export", "json"},
    {"dump"}};

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

std::vector<std::vector<std::string>> everyCommand() {
    auto all = scans;
    all.insert(all.end(), {{"--help"}, {"--version"}});
    return all;
}

TEST_F(Process, readsTheUsualFolder) {
    const ToolOutcome outcome = runTool(tool({"--now", "1772359320"}));
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.out, StartsWith("Ledgerfern · 2026-03-01 10:02\n"));
    EXPECT_THAT(outcome.out, HasSubstr("  web-app "));
    EXPECT_EQ(outcome.err, "");
}

/// Everything below a folder that a program could change: what is there, what is in it, and when it changed.
using FolderState = std::map<std::string, std::pair<std::filesystem::file_time_type, std::string>>;

FolderState stateOf(const std::string& folder) {
    FolderState state;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
        const std::string path = entry.path();
        state[path] = {entry.last_write_time(), readWholeFile(path).value_or("no file")};
    }
    return state;
}

TEST_F(Process, changesNothingInTheHomeFolderButTheCache) {
    // Codex has its database open: what it wrote last is in the write-ahead log alone.
    auto database = SqliteDatabase::open(home.path(".codex/state_5.sqlite"));
    ASSERT_TRUE(database && database->execute("PRAGMA journal_mode=WAL; PRAGMA wal_autocheckpoint=0;"
                                              "CREATE TABLE threads(id, rollout_path, title, name);"
                                              "INSERT INTO threads VALUES('t', '" +
                                              file + "', 'Login', 'Login page')"));
    const FolderState before = stateOf(home.path());
    ASSERT_TRUE(before.contains(home.path(".codex/state_5.sqlite-wal")));
    for (const auto& arguments : scans)
        EXPECT_EQ(runTool(tool(arguments)).status, 0) << arguments[0];
    EXPECT_THAT(runTool(tool({"session", file})).out, StartsWith("Login"));
    FolderState after = stateOf(home.path());
    for (const char* own :
         {"Library", "Library/Application Support", "Library/Application Support/Ledgerfern",
          "Library/Application Support/Ledgerfern/filecache.sqlite"})
        EXPECT_EQ(after.erase(home.path(own)), 1u) << own;
    EXPECT_EQ(after, before);
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
                                                                       {"--scope", "week"},
                                                                       {"--scope", "604800"},
                                                                       {"daily", "--by", "month"},
                                                                       {"sessions", "--limit", "0"},
                                                                       {"sessions", "--sort", "age"},
                                                                       {"projects", "--tool", "gemini"},
                                                                       {"project"},
                                                                       {"export"},
                                                                       {"export", "xml"},
                                                                       {"export", "csv", "-o", ""},
                                                                       {"parity", "--scope", "all"},
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
                                                                       {"watch", "x"}}) {
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
    for (const auto& arguments : everyCommand()) {
        ToolRun run = tool(arguments);
        run.outIsClosedPipe = true;
        const ToolOutcome outcome = runTool(run);
        EXPECT_EQ(outcome.status, 0) << arguments[0];
        EXPECT_EQ(outcome.err, "") << arguments[0];
    }
}

TEST_F(Process, failsWhereTheDiskIsFull) {
    if (!std::filesystem::exists("/dev/full")) GTEST_SKIP() << "this system has no full device";
    for (const auto& arguments : everyCommand()) {
        ToolRun run = tool(arguments);
        run.outFile = "/dev/full";
        const ToolOutcome outcome = runTool(run);
        EXPECT_EQ(outcome.status, 1) << arguments[0];
        EXPECT_EQ(outcome.err, "ledgerfern-cli: can't write to standard output: No space left on device\n")
            << arguments[0];
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
    EXPECT_THAT(runTool(run).out, Not(HasSubstr("\x1b")));
    run.environment.erase("NO_COLOR");
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

/// A time zone that a scan waits for until it is told.
class HeldZone {
public:
    explicit HeldZone(const LogFolder& folder) : path_(folder.path("zone")) {
        if (::mkfifo(path_.c_str(), 0600) != 0) std::abort();
    }
    const std::string& path() const { return path_; }
    /// Gives it bytes that are no zone, so that it is UTC.
    void release() {
        pipe_ = FileDescriptor::open(path_, O_RDWR | O_NONBLOCK);
        const std::string bytes(16384, 'x');
        EXPECT_EQ(::write(pipe_.number(), bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    }

private:
    std::string path_;
    FileDescriptor pipe_;
};

TEST_F(Process, tellsOnATerminalAloneThatAScanTakesAWhile) {
    const LogFolder pipeFolder, terminalFolder;
    HeldZone pipeZone(pipeFolder), terminalZone(terminalFolder);
    const std::string nowhere = home.path("nowhere");
    ToolRun run = tool({"--codex", nowhere, "--codex", home.path(".codex/sessions")});
    const std::string warning = "ledgerfern-cli: there is no folder “" + nowhere + "”; it adds no logs\n";
    run.environment["TZ"] = ":" + pipeZone.path();
    ToolProcess onPipe(run);
    ASSERT_TRUE(onPipe.awaitErr(warning));

    run.environment["TZ"] = ":" + terminalZone.path();
    run.errIsTerminal = true;
    ToolProcess onTerminal(run);
    const std::string line = "Reading session logs …";
    ASSERT_TRUE(onTerminal.awaitErr(warning + line));
    // The other one began before, so it would have told that too.
    pipeZone.release();
    terminalZone.release();
    const ToolOutcome terminal = onTerminal.await(), pipe = onPipe.await();
    EXPECT_EQ(pipe.err, warning);
    EXPECT_EQ(terminal.err, warning + line + "\r" + std::string(displayWidth(line), ' ') + "\r");
    EXPECT_EQ(terminal.status, 0);
    EXPECT_THAT(terminal.out, HasSubstr("  web-app "));
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
