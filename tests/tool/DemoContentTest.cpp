#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <functional>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>

#include "Analytics/CostEstimator.h"
#include "Analytics/PriceTable.h"
#include "Analytics/SessionNaming.h"
#include "Foundation/JsonReader.h"
#include "Foundation/UnicodeText.h"
#include "UsageRecords/TSDate.h"
#include "tool/MadeUpHome.h"

// Making a home takes longer than looking at it, so one is made for all that is to be seen in half the usual
// number of sessions.

namespace ledgerfern {
namespace {

using testing::Contains;
using testing::IsSupersetOf;

// What a scan finds

void expectSessionsOfEveryKindAndSomeWithoutAName(const Snapshot& snapshot) {
    std::map<std::string_view, int> kinds;
    std::set<std::string> names;
    for (const SessionPointer& session : snapshot.sessions) {
        ++kinds[SessionKind::label(*session)];
        names.insert(SessionNaming::displayName(*session, snapshot.sessionIDs, snapshot.threadNames));
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

void expectSubagentsThatTellTheirThread(const MadeUpHome& home) {
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

void expectManyCyclesUpToTheInstant(const Snapshot& snapshot) {
    EXPECT_EQ(snapshot.sessions.front()->lastTs, demoNow);
    Instant first = demoNow;
    for (const SessionPointer& session : snapshot.sessions)
        first = std::min(first, *session->started);
    EXPECT_LT(first, demoNow - 60 * 86400);
    EXPECT_GE(first, demoNow - 70 * 86400 - 10);
    EXPECT_GE(snapshot.aggregates.cycles.size(), 9u);
    EXPECT_GE(snapshot.aggregates.daily.size(), 25u);
    EXPECT_GT(*snapshot.aggregates.cycleAnchor, demoNow);
}

void expectModelsThatHaveAPriceAndOneThatHasNone(const SessionList& sessions) {
    const PriceTable prices(CostEstimator::defaults());
    std::map<ToolKind, std::set<std::string>> models, priced;
    std::set<std::string> others;
    for (const SessionPointer& session : sessions)
        for (std::size_t i = 0; i < session->requests.size(); ++i)
            models[session->tool].emplace(session->requests[i].model.value_or("none"));
    for (const auto& [tool, names] : models)
        for (const std::string& name : names)
            (prices.priceFor(name) ? priced[tool] : others).insert(name);
    EXPECT_GE(priced[ToolKind::codex].size(), 4u);
    EXPECT_GE(priced[ToolKind::claudeCode].size(), 4u);
    EXPECT_EQ(others, (std::set<std::string>{"aurora-preview", "codex-auto-review"}));
}

void expectProjectsInManyScripts(const SessionList& sessions) {
    std::set<std::string> projects, rightToLeft, wide;
    for (const SessionPointer& session : sessions) {
        projects.insert(session->project);
        if (runsRightToLeft(session->project)) rightToLeft.insert(session->project);
        if (displayWidth(session->project) > characterCount(session->project)) wide.insert(session->project);
    }
    EXPECT_EQ(projects.size(), 10u);
    EXPECT_EQ(rightToLeft.size(), 2u);
    EXPECT_EQ(wide, (std::set<std::string>{"家計簿アプリ", "🌿 garden-planner"}));
}

void expectToolsOfEverySort(const SessionList& sessions) {
    std::map<ToolKind, std::set<std::string>> families;
    for (const SessionPointer& session : sessions)
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

void expectOneSessionOfThousandsOfRequestsAndSomeOfFew(const MadeUpHome& home) {
    const auto longOnes =
        home.sessionsWith([](const SessionResult& session) { return session.requests.size() >= 2000; });
    const auto shortOnes =
        home.sessionsWith([](const SessionResult& session) { return session.requests.size() < 12; });
    EXPECT_EQ(longOnes.size(), 1u);
    EXPECT_GE(shortOnes.size(), 2u);
}

// What the files hold

/// What lies that deep inside the value.
OptionalJson within(OptionalJson value, std::initializer_list<std::string_view> keys) {
    for (const std::string_view key : keys) {
        const auto object = asObject(value);
        value = object ? member(*object, key) : std::nullopt;
    }
    return value;
}

/// Shows the records of a log to `look`, one after the other.
void forEachRecord(const std::string& log, const std::function<void(const JsonObject&)>& look) {
    JsonReader reader;
    std::istringstream lines(log);
    for (std::string line; std::getline(lines, line);)
        look(asObject(reader.read(line)).value());
}

/// Gives the number of timestamps.
int expectNothingLaterThanNow(const MadeUpHome& home, const std::string& path, const std::string& content) {
    struct stat attributes{};
    EXPECT_EQ(::stat(home.path(path).c_str(), &attributes), 0);
    EXPECT_LE(static_cast<double>(attributes.st_mtime), demoNow) << path;
    const std::string mark = "\"timestamp\":\"";
    int count = 0;
    std::string latest;
    for (std::size_t at = content.find(mark); at != std::string::npos;
         at = content.find(mark, at + 1), ++count)
        latest = std::max(latest, content.substr(at + mark.size(), 24));
    EXPECT_LE(latest, "2026-03-20T16:00:00.000Z") << path;
    return count;
}

void expectLinesThatFollowEachOther(const std::string& path, const std::string& log) {
    std::string last;
    forEachRecord(log, [&](const JsonObject& record) {
        const std::string stamp(asString(member(record, "timestamp")).value_or(last));
        EXPECT_LE(last, stamp) << path;
        last = stamp;
    });
}

/// The rate limits as they stood at their times.
class LimitReadings {
public:
    void add(const std::string& log) {
        forEachRecord(log, [&](const JsonObject& record) {
            const auto payload = member(record, "payload");
            if (asString(within(payload, {"type"})) != "token_count") return;
            const auto primary = within(payload, {"rate_limits", "primary"});
            readings_[std::string(asString(member(record, "timestamp")).value())] = {
                asDouble(within(primary, {"used_percent"})).value(),
                asInteger(within(primary, {"resets_at"})).value()};
        });
    }

    void expectToRiseWithinACycleAndStartAnewWithTheNext() const {
        std::set<std::int64_t> resets;
        Reading last;
        for (const auto& [time, reading] : readings_) {
            EXPECT_GT(static_cast<double>(reading.reset), *TSDate::parse(time));
            EXPECT_LE(static_cast<double>(reading.reset), *TSDate::parse(time) + 604800);
            if (reading.reset == last.reset) {
                EXPECT_GE(reading.percent, last.percent) << time;
            } else if (last.reset != 0) {
                EXPECT_EQ((reading.reset - last.reset) % 604800, 0);
            }
            EXPECT_LT(reading.percent, 100);
            resets.insert(reading.reset);
            last = reading;
        }
        EXPECT_GE(resets.size(), 8u);
        EXPECT_GT(last.percent, 50);
    }

private:
    struct Reading {
        double percent = 0;
        std::int64_t reset = 0;
    };

    std::map<std::string, Reading> readings_;  // by time
};

/// How Claude Code's logs divide what belongs together.
class ClaudeLogs {
public:
    void add(const std::string& path, const std::string& log) {
        std::map<std::string, int> linesOf;
        bool hasMain = false, hasSide = false;
        forEachRecord(log, [&](const JsonObject& record) {
            const auto isSide = asInteger(member(record, "isSidechain"));
            if (!isSide) return;
            (*isSide != 0 ? hasSide : hasMain) = true;
            const auto request = asString(member(record, "requestId"));
            if (request && ++linesOf[std::string(*request)] == 2) ++split_;
        });
        if (hasMain && hasSide) ++sideChains_;
        if (hasSide && !hasMain) ++inOwnLog_;
        EXPECT_EQ(hasSide && !hasMain, path.find("/subagents/") != std::string::npos) << path;
    }

    void expectSplitRequestsAndSideChains() const {
        EXPECT_GT(split_, 1000);
        EXPECT_GE(sideChains_, 3);
        EXPECT_GE(inOwnLog_, 8);
    }

private:
    int split_ = 0;
    int sideChains_ = 0;
    int inOwnLog_ = 0;
};

void expectBelievableLogs(const MadeUpHome& home) {
    LimitReadings limits;
    ClaudeLogs claude;
    int timestamps = 0;
    for (const auto& [path, content] : filesBelow(home.path())) {
        timestamps += expectNothingLaterThanNow(home, path, content);
        if (!path.ends_with(".jsonl") || path.ends_with("index.jsonl")) continue;
        expectLinesThatFollowEachOther(path, content);
        if (path.starts_with(".codex/"))
            limits.add(content);
        else
            claude.add(path, content);
    }
    EXPECT_GT(timestamps, 10'000);
    limits.expectToRiseWithinACycleAndStartAnewWithTheNext();
    claude.expectSplitRequestsAndSideChains();
}

TEST(DemoContent, tellsAsMuchInHalfTheUsualNumberOfSessions) {
    const MadeUpHome home({"--sessions", "60"});
    ASSERT_EQ(home.snapshot.sessions.size(), 60u);
    EXPECT_EQ(home.snapshot.malformedLines, 0);
    expectSessionsOfEveryKindAndSomeWithoutAName(home.snapshot);
    expectSubagentsThatTellTheirThread(home);
    expectManyCyclesUpToTheInstant(home.snapshot);
    expectModelsThatHaveAPriceAndOneThatHasNone(home.snapshot.sessions);
    expectProjectsInManyScripts(home.snapshot.sessions);
    expectToolsOfEverySort(home.snapshot.sessions);
    expectOneSessionOfThousandsOfRequestsAndSomeOfFew(home);
    expectBelievableLogs(home);
}

TEST(DemoContent, hasTheReadingOfClaudesStatusLine) {
    const MadeUpHome home({"--sessions", "1"});
    const std::string name = "Library/Application Support/Ledgerfern/claude-status.json";
    const auto status = nlohmann::json::parse(readWholeFile(home.path(name)).value_or(""));
    for (const auto& [window, seconds] :
         {std::pair<const char*, double>{"five_hour", 18000}, {"seven_day", 604800}}) {
        const auto& reading = status["rate_limits"][window];
        EXPECT_GT(reading["used_percentage"].get<double>(), 0);
        EXPECT_LT(reading["used_percentage"].get<double>(), 100);
        EXPECT_GT(reading["resets_at"].get<double>(), demoNow);
        EXPECT_LE(reading["resets_at"].get<double>(), demoNow + seconds);
    }
}

}  // namespace
}  // namespace ledgerfern
