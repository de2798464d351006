#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <nlohmann/json.hpp>
#include <set>
#include <sstream>

#include "Analytics/CostEstimator.h"
#include "Analytics/PriceTable.h"
#include "Analytics/SessionNaming.h"
#include "Foundation/UnicodeText.h"
#include "UsageRecords/TSDate.h"
#include "tool/MadeUpHome.h"

namespace ledgerfern {
namespace {

using nlohmann::json;
using testing::Contains;
using testing::IsSupersetOf;

/// Half as many sessions as there are without options, made once for each process.
const MadeUpHome& usualHome() {
    static const MadeUpHome home({"--sessions", "60"});
    return home;
}

std::vector<json> records(const std::string& log) {
    std::vector<json> all;
    std::istringstream lines(log);
    for (std::string line; std::getline(lines, line);)
        all.push_back(json::parse(line));
    return all;
}

TEST(DemoContent, isReadWithoutARemark) {
    const MadeUpHome home;
    EXPECT_EQ(home.outcome.status, 0);
    EXPECT_EQ(home.snapshot.sessions.size(), 120u);
    EXPECT_EQ(home.snapshot.malformedLines, 0);
    EXPECT_TRUE(home.snapshot.formatWarnings.empty());
    std::size_t bytes = 0;
    for (const auto& [path, content] : filesBelow(home.path()))
        bytes += content.size();
    EXPECT_GT(bytes, 10'000'000u);
    EXPECT_LT(bytes, 25'000'000u);
}

TEST(DemoContent, hasSessionsOfEveryKindAndSomeWithoutAName) {
    const MadeUpHome& home = usualHome();
    std::map<std::string_view, int> kinds;
    std::set<std::string> names;
    for (const SessionPointer& session : home.snapshot.sessions) {
        ++kinds[SessionKind::label(*session)];
        names.insert(
            SessionNaming::displayName(*session, home.snapshot.sessionIDs, home.snapshot.threadNames));
    }
    EXPECT_EQ(kinds.size(), 5u);
    EXPECT_GE(kinds[SessionKind::autoReview], 1);
    for (const auto& [kind, count] : kinds)
        if (kind != SessionKind::autoReview) {
            EXPECT_GE(count, 8) << kind;
        }
    EXPECT_THAT(names, Contains("guardian (subagent)"));
    EXPECT_THAT(names, Contains(testing::StartsWith("agent ")));
    EXPECT_THAT(names, Contains("Slow product pages"));
}

TEST(DemoContent, tellsWhichThreadASubagentBelongsTo) {
    const MadeUpHome& home = usualHome();
    std::set<std::string> threads;
    for (const auto& [path, id] : home.snapshot.sessionIDs)
        threads.insert(path.substr(path.size() - std::min<std::size_t>(path.size(), 42), 36));
    const SessionList agents = home.sessionsWith([](const SessionResult& session) {
        return session.tool == ToolKind::codex && session.source.isSubagent && !session.source.isGuardian;
    });
    ASSERT_FALSE(agents.empty());
    for (const SessionPointer& session : agents) {
        EXPECT_TRUE(session->source.nickname);
        EXPECT_THAT(threads, Contains(session->source.parentThread.value_or("none"))) << session->path;
    }
}

TEST(DemoContent, endsAtTheInstantAndSpansManyCycles) {
    const MadeUpHome& home = usualHome();
    EXPECT_EQ(home.snapshot.sessions.front()->lastTs, demoNow);
    Instant first = demoNow;
    for (const SessionPointer& session : home.snapshot.sessions)
        first = std::min(first, *session->started);
    EXPECT_LT(first, demoNow - 60 * 86400);
    EXPECT_GE(first, demoNow - 70 * 86400 - 10);
    EXPECT_GE(home.snapshot.aggregates.cycles.size(), 9u);
    EXPECT_GE(home.snapshot.aggregates.daily.size(), 25u);
    EXPECT_GT(*home.snapshot.aggregates.cycleAnchor, demoNow);
}

TEST(DemoContent, holdsNothingThatIsLaterThanNow) {
    const MadeUpHome home({"--sessions", "12"});
    const std::string mark = "\"timestamp\":\"";
    int count = 0;
    for (const auto& [path, content] : filesBelow(home.path())) {
        struct stat attributes{};
        ASSERT_EQ(::stat(home.path(path).c_str(), &attributes), 0);
        EXPECT_LE(static_cast<double>(attributes.st_mtime), demoNow) << path;
        for (std::size_t at = content.find(mark); at != std::string::npos;
             at = content.find(mark, at + 1), ++count)
            ASSERT_LE(content.substr(at + mark.size(), 24), "2026-03-20T16:00:00.000Z") << path;
    }
    EXPECT_GT(count, 1000);
}

TEST(DemoContent, linesOfALogFollowEachOther) {
    const MadeUpHome home({"--sessions", "12"});
    for (const auto& [path, content] : filesBelow(home.path())) {
        if (!path.ends_with(".jsonl") || path.ends_with("index.jsonl")) continue;
        std::string last;
        for (const json& record : records(content)) {
            const std::string stamp = record.value("timestamp", last);
            ASSERT_LE(last, stamp) << path;
            last = stamp;
        }
    }
}

TEST(DemoContent, limitsRiseWithinACycleAndStartAnewWithTheNext) {
    std::map<std::string, std::pair<double, std::int64_t>> readings;  // by time: percent and reset
    const auto files = filesBelow(usualHome().path(".codex/sessions"));
    for (const auto& [path, content] : files) {
        std::istringstream lines(content);
        for (std::string line; std::getline(lines, line);) {
            if (line.find("\"token_count\"") == std::string::npos) continue;
            const json record = json::parse(line);
            const json& primary = record["payload"]["rate_limits"]["primary"];
            readings[record["timestamp"]] = {primary["used_percent"], primary["resets_at"]};
        }
    }
    std::set<std::int64_t> resets;
    std::pair<double, std::int64_t> last{0, 0};
    for (const auto& [time, reading] : readings) {
        EXPECT_GT(static_cast<double>(reading.second), *TSDate::parse(time));
        EXPECT_LE(static_cast<double>(reading.second), *TSDate::parse(time) + 604800);
        if (reading.second == last.second) {
            EXPECT_GE(reading.first, last.first) << time;
        } else if (last.second != 0) {
            EXPECT_EQ((reading.second - last.second) % 604800, 0);
        }
        EXPECT_LT(reading.first, 100);
        resets.insert(reading.second);
        last = reading;
    }
    EXPECT_GE(resets.size(), 8u);
    EXPECT_GT(last.first, 50);
}

TEST(DemoContent, namesModelsThatHaveAPriceAndOneThatHasNone) {
    const PriceTable prices(CostEstimator::defaults());
    std::map<ToolKind, std::set<std::string>> priced;
    std::set<std::string> others;
    for (const SessionPointer& session : usualHome().snapshot.sessions)
        for (std::size_t i = 0; i < session->requests.size(); ++i) {
            const std::string model(session->requests[i].model.value_or("none"));
            if (prices.priceFor(model))
                priced[session->tool].insert(model);
            else
                others.insert(model);
        }
    EXPECT_GE(priced[ToolKind::codex].size(), 4u);
    EXPECT_GE(priced[ToolKind::claudeCode].size(), 4u);
    EXPECT_EQ(others, (std::set<std::string>{"aurora-preview", "codex-auto-review"}));
}

TEST(DemoContent, hasProjectsInManyScripts) {
    std::set<std::string> projects, rightToLeft, wide;
    for (const SessionPointer& session : usualHome().snapshot.sessions) {
        projects.insert(session->project);
        if (runsRightToLeft(session->project)) rightToLeft.insert(session->project);
        if (displayWidth(session->project) > characterCount(session->project)) wide.insert(session->project);
    }
    EXPECT_EQ(projects.size(), 10u);
    EXPECT_EQ(rightToLeft.size(), 2u);
    EXPECT_EQ(wide, (std::set<std::string>{"家計簿アプリ", "🌿 garden-planner"}));
}

TEST(DemoContent, usesToolsOfEverySort) {
    std::map<ToolKind, std::set<std::string>> families;
    for (const SessionPointer& session : usualHome().snapshot.sessions)
        for (const auto& [label, stat] : session->tools) {
            const std::string text(label);
            const bool isShell = text.starts_with("Shell · ");
            const std::size_t end = isShell ? text.find(" · ", 9) : text.find('/');
            families[session->tool].insert(text.substr(0, end));
        }
    const std::set<std::string> common = {"Shell · Builds",
                                          "Shell · Package scripts",
                                          "Shell · Package installs",
                                          "Shell · Tests",
                                          "Shell · Git",
                                          "Shell · File & text reads",
                                          "Shell · File changes",
                                          "Shell · Network",
                                          "Shell · Scripts & REPLs",
                                          "Shell · System & apps",
                                          "Shell · Other commands",
                                          "mcp:browser",
                                          "mcp:postgres",
                                          "mcp:issues",
                                          "user messages",
                                          "assistant output (replayed)"};
    EXPECT_THAT(families[ToolKind::codex], IsSupersetOf(common));
    EXPECT_THAT(families[ToolKind::claudeCode], IsSupersetOf(common));
    EXPECT_THAT(families[ToolKind::codex],
                IsSupersetOf({"Shell · Tool scripting", "tool:apply_patch", "tool:web_search"}));
    EXPECT_THAT(families[ToolKind::claudeCode],
                IsSupersetOf({"tool:Read", "tool:Edit", "tool:Task", "attachments"}));
}

TEST(DemoContent, splitsRequestsOverLinesAndHasSideChains) {
    int split = 0, sideChains = 0, inOwnLog = 0;
    for (const auto& [path, content] : filesBelow(usualHome().path(".claude"))) {
        std::map<std::string, int> linesOf;
        bool hasMain = false, hasSide = false;
        for (const json& record : records(content)) {
            if (!record.contains("isSidechain")) continue;
            (record["isSidechain"].get<bool>() ? hasSide : hasMain) = true;
            if (record.contains("requestId") && ++linesOf[record["requestId"]] == 2) ++split;
        }
        if (hasMain && hasSide) ++sideChains;
        if (hasSide && !hasMain) ++inOwnLog;
        EXPECT_EQ(hasSide && !hasMain, path.find("/subagents/") != std::string::npos) << path;
    }
    EXPECT_GT(split, 1000);
    EXPECT_GE(sideChains, 3);
    EXPECT_GE(inOwnLog, 8);
}

TEST(DemoContent, hasOneSessionOfThousandsOfRequestsAndSomeOfFew) {
    const auto longOnes = usualHome().sessionsWith(
        [](const SessionResult& session) { return session.requests.size() >= 2000; });
    const auto shortOnes =
        usualHome().sessionsWith([](const SessionResult& session) { return session.requests.size() < 12; });
    EXPECT_EQ(longOnes.size(), 1u);
    EXPECT_GE(shortOnes.size(), 2u);
}

TEST(DemoContent, hasTheReadingOfClaudesStatusLine) {
    const MadeUpHome home({"--sessions", "1"});
    const std::string name = "Library/Application Support/Ledgerfern/claude-status.json";
    const json status = json::parse(readWholeFile(home.path(name)).value_or(""));
    for (const auto& [window, seconds] :
         {std::pair<const char*, double>{"five_hour", 18000}, {"seven_day", 604800}}) {
        const json& reading = status["rate_limits"][window];
        EXPECT_GT(reading["used_percentage"].get<double>(), 0);
        EXPECT_LT(reading["used_percentage"].get<double>(), 100);
        EXPECT_GT(reading["resets_at"].get<double>(), demoNow);
        EXPECT_LE(reading["resets_at"].get<double>(), demoNow + seconds);
    }
}

}  // namespace
}  // namespace ledgerfern
