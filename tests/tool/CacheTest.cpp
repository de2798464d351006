#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <set>
#include <sstream>

#include "FileCache/FileCacheStore.h"
#include "Foundation/Clock.h"
#include "Foundation/Sqlite.h"
#include "tool/LogFolder.h"
#include "tool/ToolProcess.h"

namespace ledgerfern {
namespace {

using testing::HasSubstr;

/// A home folder with a log of each agent, and what the program keeps of them.
class Cache : public testing::Test {
protected:
    Cache() {
        codexLog = home.write(".codex/sessions/2026/a.jsonl", codexText(3000));
        claudeLog = home.write(".claude/projects/p/c.jsonl",
                               R"({"type":"assistant","cwd":"/home/me/web-app","requestId":"r1",)"
                               R"("timestamp":"2026-03-01T10:01:00Z","sessionId":"s1","message":)"
                               R"({"model":"claude-opus-4-1","usage":{"input_tokens":500,"output_tokens":7},)"
                               R"("content":[]}})"
                               "\n");
    }

    /// Of equal length for numbers of four digits.
    static std::string codexText(std::int64_t input) {
        RolloutLog log;
        log.meta("2026-03-01T10:00:00Z", "/home/me/web-app").model("gpt-5").user("Hello");
        log.tokens("2026-03-01T10:02:00Z", {input, 1400, 150, 30, input + 150});
        return log.text();
    }
    /// Gives the Codex log other bytes behind its size and time.
    void disguise() const {
        const auto time = std::filesystem::last_write_time(codexLog);
        home.write(".codex/sessions/2026/a.jsonl", codexText(9000));
        std::filesystem::last_write_time(codexLog, time);
    }

    std::string run(std::vector<std::string> arguments, const std::string& present = "1772359320") const {
        ToolRun run;
        run.arguments = std::move(arguments);
        run.arguments.insert(run.arguments.end(), {"--now", present});
        run.environment = {{"HOME", home.path()}, {"TZ", "UTC"}};
        const ToolOutcome outcome = runTool(run);
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        EXPECT_EQ(outcome.err, "");
        return outcome.out;
    }

    /// What lies below the home folder beside the logs.
    std::set<std::string> kept() const {
        std::set<std::string> files;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(home.path()))
            if (entry.is_regular_file()) files.insert(entry.path().lexically_relative(home.path()).string());
        files.erase(".codex/sessions/2026/a.jsonl");
        files.erase(".claude/projects/p/c.jsonl");
        return files;
    }
    /// The paths that the cache has rows of.
    static std::set<std::string> rowsOf(const std::string& cache) {
        std::set<std::string> paths;
        auto opened = SqliteDatabase::open(cache);
        auto statement = opened->prepare("SELECT path FROM files");
        if (!statement) return paths;
        while (statement->step() == SqliteStatement::Step::row)
            paths.emplace(statement->text(0).value_or("NULL"));
        return paths;
    }

    LogFolder home;
    std::string codexLog, claudeLog;
    const std::string own = "Library/Application Support/Ledgerfern/filecache.sqlite";
};

const std::vector<std::vector<std::string>> keepers = {
    {"report"}, {"sessions"}, {"projects"}, {"project", "web-app"},
    {"daily"},  {"cycles"},   {"insights"}, {"limits"}};
const std::vector<std::vector<std::string>> others = {
    {"session", "a.jsonl"}, {"export", "csv"}, {"export", "json"}, {"parity"}, {"dump"}};

std::vector<std::string> with(std::vector<std::string> arguments, const std::vector<std::string>& more) {
    arguments.insert(arguments.end(), more.begin(), more.end());
    return arguments;
}

TEST_F(Cache, isTheApplicationsOnTheUsualFolders) {
    for (const auto& arguments : keepers) {
        std::filesystem::remove_all(home.path("Library"));
        run(arguments);
        EXPECT_EQ(kept(), std::set<std::string>{own}) << arguments[0];
        EXPECT_EQ(rowsOf(home.path(own)), (std::set<std::string>{codexLog, claudeLog})) << arguments[0];
    }
}

TEST_F(Cache, isNotUsedWhereNumbersAreComparedOrRequestsShown) {
    run({});
    disguise();
    for (const auto& arguments : others)
        EXPECT_THAT(run(arguments), HasSubstr(arguments[0] == "session" ? "9.0K input" : "9000"))
            << arguments[0];
    std::filesystem::remove_all(home.path("Library"));
    for (const auto& arguments : others)
        run(arguments);
    EXPECT_EQ(kept(), std::set<std::string>());
}

/// Without the ids: a session of Claude Code that comes from the cache has its path for one.
std::string withoutIds(const std::string& text) {
    std::istringstream lines(text);
    std::string rest;
    for (std::string line; std::getline(lines, line);)
        if (line.find("\"session_id\"") == std::string::npos) rest += line + "\n";
    return rest;
}

TEST_F(Cache, givesTheSameAgain) {
    for (const auto& arguments : keepers)
        for (const auto& form : {std::vector<std::string>{"--scope", "all"}, {"--scope", "all", "--json"}}) {
            const std::vector<std::string> all = with(arguments, form);
            const std::string plain = run(with(all, {"--no-cache"}));
            std::filesystem::remove_all(home.path("Library"));
            EXPECT_EQ(run(all), plain) << arguments[0];
            EXPECT_EQ(withoutIds(run(all)), withoutIds(plain)) << arguments[0];
        }
}

TEST_F(Cache, sparesTheReadingOfWhatHasNotChanged) {
    const std::string first = run({});
    disguise();
    EXPECT_EQ(run({}), first);
    EXPECT_NE(run({"--no-cache"}), first);
}

TEST_F(Cache, isNotUsedWithoutLeave) {
    for (const std::vector<std::string>& arguments :
         std::vector<std::vector<std::string>>{{"--no-cache"},
                                               {"--finish"},
                                               {"--codex", home.path(".codex/sessions")},
                                               {"--claude", home.path()}})
        run(arguments);
    EXPECT_EQ(kept(), std::set<std::string>());
    run({});
    disguise();
    EXPECT_THAT(run({"sessions", "--finish", "--scope", "all"}), HasSubstr("9.2K"));
    EXPECT_THAT(run({"sessions", "--no-cache", "--scope", "all"}), HasSubstr("9.2K"));
}

TEST_F(Cache, isTheFileThatIsNamed) {
    const std::vector<std::string> named = {"--cache", home.path("new/cache")};
    for (const auto& arguments : keepers)
        run(with(arguments, named));
    EXPECT_EQ(kept(), std::set<std::string>{"new/cache"});
    EXPECT_EQ(rowsOf(home.path("new/cache")), (std::set<std::string>{codexLog, claudeLog}));
    disguise();
    for (const auto& arguments : others) {
        if (arguments[0] == "session") continue;
        EXPECT_THAT(run(with(arguments, named)), HasSubstr("3000")) << arguments[0];
    }
}

TEST_F(Cache, isNeverUsedByOneSession) {
    const std::vector<std::string> named = {"--cache", home.path("cache")};
    const std::string first = run(with({"session", "s1"}, named));
    EXPECT_THAT(first, HasSubstr("web-app"));
    EXPECT_EQ(kept(), std::set<std::string>());
    run(with({"report"}, named));
    EXPECT_EQ(run(with({"session", "s1"}, named)), first) << "a restored one wouldn't be found by its id";
}

/// When the requests of the cache's one log were, as it has them.
std::vector<std::optional<Instant>> timesIn(const std::string& cache) {
    std::vector<std::optional<Instant>> times;
    const auto rows = FileCacheStore(cache).loadAll();
    for (const auto& [path, row] : rows)
        for (std::size_t i = 0; i < row.file.session->requests.size(); ++i)
            times.push_back(row.file.session->requests[i].ts);
    return times;
}

TEST_F(Cache, ofTheApplicationKnowsNothingOfAnInstantThatIsTakenForThePresent) {
    std::filesystem::remove(claudeLog);
    RolloutLog log;
    log.meta("", "/home/me/web-app").tokens("", {3000, 1400, 150, 30, 3150});
    home.write(".codex/sessions/2026/a.jsonl", log.text());
    const std::string distant = "4102444800";
    const double before = systemClock()();
    run({"daily"}, distant);
    const double after = systemClock()();
    const auto times = timesIn(home.path(own));
    ASSERT_EQ(times.size(), 1U);
    EXPECT_GE(times[0], before);
    EXPECT_LE(times[0], after);
    run({"daily", "--cache", home.path("cache")}, distant);
    EXPECT_EQ(timesIn(home.path("cache")), std::vector<std::optional<Instant>>{4102444800.0});
}

TEST_F(Cache, thatIsNamedServesAnyFolders) {
    const std::vector<std::string> arguments = {
        "sessions", "--scope", "all", "--codex", home.path(".codex/sessions"), "--cache", home.path("cache")};
    const std::string first = run(arguments);
    EXPECT_EQ(rowsOf(home.path("cache")), std::set<std::string>{codexLog});
    disguise();
    EXPECT_EQ(run(arguments), first);
    EXPECT_EQ(kept(), std::set<std::string>{"cache"});
}

TEST_F(Cache, thatIsBrokenIsDoneWithout) {
    const std::string expected = run({"--no-cache"});
    home.write("cache", std::string(5000, 'x'));
    EXPECT_EQ(run({"--cache", home.path("cache")}), expected);
    EXPECT_EQ(run({"--cache", home.path(".codex")}), expected);
    EXPECT_EQ(run({"--cache", "/dev/null/cache"}), expected);
}

}  // namespace
}  // namespace ledgerfern
