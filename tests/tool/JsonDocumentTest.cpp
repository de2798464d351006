#include <gmock/gmock.h>

#include "Foundation/UnicodeText.h"
#include "tool/UsageLogs.h"

namespace ledgerfern {
namespace {

using Json = nlohmann::json;
using testing::UnorderedElementsAre;

/// The documents of the commands for people.
class JsonDocumentTest : public UsageLogs {
protected:
    Json documentOf(std::vector<std::string> arguments) const {
        arguments.emplace_back("--json");
        return document(std::move(arguments));
    }
};

std::vector<std::string> keysOf(const Json& object) {
    std::vector<std::string> keys;
    for (const auto& [key, value] : object.items())
        keys.push_back(key);
    return keys;
}

template <class Value = std::string>
std::vector<Value> column(const Json& rows, const char* key) {
    std::vector<Value> values;
    for (const Json& row : rows)
        values.push_back(row.at(key).get<Value>());
    return values;
}

// 1,600 × 1.25 + 1,400 × 0.125 + 150 × 10 = 3,675 millionths
constexpr double webCost = 0.003675;

TEST_F(JsonDocumentTest, tellTheScopeTheToolAndTheSearch) {
    const std::map<std::string, std::vector<std::string>> ownKeys = {
        {"sessions", {"sessions"}},
        {"projects", {"projects"}},
        {"daily", {"days"}},
        {"cycles", {"cycles"}},
        {"insights", {"insights"}},
        {"limits", {"limits"}},
        {"report",
         {"limits", "today", "cycle", "projects", "models", "agents", "days", "consumers", "insights"}}};
    for (const auto& [command, own] : ownKeys) {
        const Json plain = documentOf({command});
        std::vector<std::string> keys = own;
        keys.insert(keys.end(), {"schema", "scope", "search", "tool"});
        EXPECT_THAT(keysOf(plain), testing::UnorderedElementsAreArray(keys)) << command;
        EXPECT_EQ(plain["schema"], 1);
        EXPECT_EQ(plain["scope"], "cycle");
        EXPECT_EQ(plain["search"], "");
        EXPECT_EQ(plain["tool"], nullptr);
        const Json narrow =
            documentOf({command, "--scope", "1771804800", "--tool", "claude", "--search", "é\xff"});
        EXPECT_EQ(narrow["scope"], "1771804800");
        EXPECT_EQ(narrow["search"], "é\uFFFD");
        EXPECT_EQ(narrow["tool"], "claude");
    }
}

TEST_F(JsonDocumentTest, listSessionsWithWhatOfThemIsInScope) {
    const Json sessions = documentOf({"sessions"})["sessions"];
    ASSERT_EQ(sessions.size(), 2u);
    Json expected = {
        {"path", webPath},         {"session_id", webPath},   {"display_name", "Fix the login page"},
        {"kind", "Codex"},         {"model", "gpt-5"},        {"project", "web-app"},
        {"started", 1772359200.0}, {"last_ts", 1772359320.0}, {"tool", "codex"},
        {"total_tokens", 3150},    {"total_reqs", 2},         {"cost_usd", sessions[0]["cost_usd"]}};
    expected["session_id"] = sessions[0]["session_id"];
    EXPECT_EQ(Json::diff(expected, sessions[0]), Json::array());
    EXPECT_DOUBLE_EQ(sessions[0]["cost_usd"], webCost);
    EXPECT_EQ(sessions[1]["path"], scriptsPath);
    EXPECT_EQ(sessions[1]["total_tokens"], 20);
    EXPECT_EQ(sessions[1]["total_reqs"], 1);
    EXPECT_EQ(sessions[1]["cost_usd"], 0);
    EXPECT_EQ(sessions[1]["model"], nullptr);
}

TEST_F(JsonDocumentTest, sortAndLimitSessions) {
    const auto paths = [&](std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), {"sessions", "--scope", "all"});
        return column(documentOf(arguments)["sessions"], "path");
    };
    using Paths = std::vector<std::string>;
    EXPECT_EQ(paths({}), (Paths{webPath, scriptsPath, claudePath}));
    EXPECT_EQ(paths({"--sort", "recent"}), (Paths{claudePath, webPath, scriptsPath}));
    EXPECT_EQ(paths({"--sort", "name"}),
              (Paths{webPath, scriptsPath, claudePath}));  // Fix…, scripts, web-app
    EXPECT_EQ(paths({"--sort=cost"}), (Paths{webPath, claudePath, scriptsPath}));
    EXPECT_EQ(paths({"--limit", "2"}), (Paths{webPath, scriptsPath}));
    EXPECT_EQ(paths({"--sort", "recent", "--limit", "1"}), Paths{claudePath});
    EXPECT_EQ(paths({"--limit", "99"}).size(), 3u);
}

TEST_F(JsonDocumentTest, listProjectsAndPeriods) {
    const Json projects = documentOf({"projects", "--scope", "all"})["projects"];
    EXPECT_EQ(column(projects, "name"), (std::vector<std::string>{"web-app", "scripts"}));
    EXPECT_EQ(column<int>(projects, "total_tokens"), (std::vector<int>{3158, 30}));
    EXPECT_EQ(column<int>(projects, "total_reqs"), (std::vector<int>{3, 2}));
    EXPECT_EQ(column<int>(projects, "sessions_analyzed"), (std::vector<int>{2, 1}));
    EXPECT_EQ(projects[1]["cost_usd"], 0);

    const Json days = documentOf({"daily"})["days"];
    EXPECT_EQ(column(days, "key"), (std::vector<std::string>{"2026-02-24", "2026-03-01"}));
    EXPECT_EQ(column<int>(days, "total_tokens"), (std::vector<int>{20, 3150}));
    EXPECT_DOUBLE_EQ(days[1]["cost_usd"], webCost);
    EXPECT_EQ(column(documentOf({"daily", "--scope", "all"})["days"], "key"),
              (std::vector<std::string>{"2026-W08", "2026-W09", "2026-W10"}));
    EXPECT_EQ(column(documentOf({"daily", "--scope", "all", "--by", "day"})["days"], "key"),
              (std::vector<std::string>{"2026-02-20", "2026-02-24", "2026-03-01", "2026-03-02"}));
    EXPECT_EQ(column(documentOf({"daily", "--by", "week"})["days"], "key"),
              std::vector<std::string>{"2026-W09"});
}

TEST_F(JsonDocumentTest, agreeWithTheDumpOfTheSameScope) {
    for (const char* scope : {"all", "cycle", "today", "1771200000"}) {
        const Json derived = document({"dump", "--scope", scope})["derived"];
        const Json days = documentOf({"daily", "--scope", scope})["days"];
        ASSERT_EQ(days.size(), derived["kind_stacks"].size());
        for (std::size_t i = 0; i < days.size(); ++i) {
            EXPECT_EQ(days[i]["key"], derived["kind_stacks"][i]["key"]);
            EXPECT_EQ(days[i]["total_tokens"], derived["kind_stacks"][i]["total"]);
        }
        const Json sessions = documentOf({"sessions", "--scope", scope})["sessions"];
        EXPECT_EQ(column(sessions, "path"), derived["rows"].get<std::vector<std::string>>());
        const Json report = documentOf({"report", "--scope", scope});
        EXPECT_EQ(report["cycle"]["total_tokens"], derived["total_tokens"]);
        EXPECT_EQ(report["cycle"]["total_reqs"], derived["total_reqs"]);
        EXPECT_EQ(report["consumers"], derived["top_tools"]);
        EXPECT_EQ(report["insights"], derived["insights"]);
        EXPECT_EQ(documentOf({"insights", "--scope", scope})["insights"], derived["insights"]);
        EXPECT_EQ(column(report["models"], "name"), column(derived["model_legend"], "label"));
    }
}

TEST_F(JsonDocumentTest, listTheKnownCyclesWhateverTheScope) {
    const Json cycles = documentOf({"cycles"})["cycles"];
    EXPECT_EQ(column(cycles, "key"), (std::vector<std::string>{"1771200000", "1771804800", "1772409600"}));
    EXPECT_EQ(column(cycles, "first_day"),
              (std::vector<std::string>{"2026-02-16", "2026-02-23", "2026-03-02"}));
    EXPECT_EQ(column(cycles, "last_day"),
              (std::vector<std::string>{"2026-02-22", "2026-03-01", "2026-03-08"}));
    EXPECT_EQ(column<int>(cycles, "total_tokens"), (std::vector<int>{10, 3170, 8}));
    EXPECT_EQ(column<int>(cycles, "total_reqs"), (std::vector<int>{1, 3, 1}));
    EXPECT_DOUBLE_EQ(cycles[1]["cost_usd"], webCost);
    EXPECT_EQ(documentOf({"cycles", "--scope", "today"})["cycles"], cycles);
    EXPECT_EQ(column<int>(documentOf({"cycles", "--tool", "claude"})["cycles"], "total_tokens"),
              (std::vector<int>{0, 0, 8}));
    EXPECT_EQ(column<int>(documentOf({"cycles", "--search", "scripts"})["cycles"], "total_tokens"),
              (std::vector<int>{10, 20, 0}));
}

TEST_F(JsonDocumentTest, listLimitsWithTheirWindow) {
    const Json expected = {{"tool", "codex"},     {"window", "7d"},         {"as_of", 1772359320.0},
                           {"usedPercent", 42.5}, {"windowMinutes", 10080}, {"resetsAt", 1772409600},
                           {"planType", nullptr}};
    EXPECT_EQ(documentOf({"limits"})["limits"], Json::array({expected}));
    EXPECT_EQ(documentOf({"limits", "--tool", "claude"})["limits"], Json::array());
    EXPECT_EQ(documentOf({"report"})["limits"], Json::array({expected}));
}

TEST_F(JsonDocumentTest, nameOtherWindowsToo) {
    const auto windowOf = [&](const std::string& minutes) {
        RolloutLog log;
        log.meta("2026-03-02T10:00:00Z", "/p/x")
            .tokens("2026-03-02T10:01:00Z", {1, 0, 0, 0, 1},
                    R"({"primary":{"used_percent":1)" + minutes + "}}");
        folder.write("codex/x.jsonl", log.text());
        return documentOf({"limits"})["limits"][0]["window"];
    };
    EXPECT_EQ(windowOf(R"(,"window_minutes":300)"), "5h");
    EXPECT_EQ(windowOf(R"(,"window_minutes":90)"), "90m");
    EXPECT_EQ(windowOf(""), "7d");
}

TEST_F(JsonDocumentTest, tellAProjectWithItsDaysAndSessions) {
    const Json whole = documentOf({"project", "web-app", "--scope", "all"});
    EXPECT_THAT(keysOf(whole),
                UnorderedElementsAre("project", "schema", "scope", "search", "sessions", "tool"));
    const Json& project = whole["project"];
    EXPECT_THAT(keysOf(project), UnorderedElementsAre("cost_usd", "days", "name", "sessions_analyzed",
                                                      "total_reqs", "total_tokens"));
    EXPECT_EQ(project["name"], "web-app");
    EXPECT_EQ(project["total_tokens"], 3158);
    EXPECT_EQ(column(project["days"], "key"), (std::vector<std::string>{"2026-W09", "2026-W10"}));
    EXPECT_EQ(column(whole["sessions"], "path"), (std::vector<std::string>{webPath, claudePath}));
    const Json today = documentOf({"project", "web-app", "--scope", "today"});
    EXPECT_EQ(column(today["sessions"], "path"), std::vector<std::string>{claudePath});
    EXPECT_EQ(documentOf({"project", "scripts", "--scope", "today"})["project"]["total_tokens"], 0);
}

TEST_F(JsonDocumentTest, tellASessionAndItsLastRequests) {
    const Json whole = documentOf({"session", "web.jsonl"});
    EXPECT_THAT(keysOf(whole),
                UnorderedElementsAre("requests", "schema", "scope", "search", "session", "tool"));
    Json dumped;
    const Json dump = document({"dump"});
    for (const Json& session : dump["sessions"])
        if (session["path"] == webPath) dumped = session;
    EXPECT_EQ(whole["requests"], dumped["requests"]);
    dumped.erase("requests");
    dumped["total_tokens"] = 3150;
    dumped["total_reqs"] = 2;
    EXPECT_EQ(Json::diff(dumped, whole["session"]), Json::array());
}

TEST_F(JsonDocumentTest, holdTheLastFourHundredRequestsOfASession) {
    RolloutLog log;
    log.meta("2026-03-01T10:00:00Z", "/p/x");
    for (int i = 1; i <= 401; ++i)
        log.tokens("2026-03-01T10:00:00Z", {i * (i + 1) / 2, 0, 0, 0, i * (i + 1) / 2});
    folder.write("codex/long.jsonl", log.text());
    const Json whole = documentOf({"session", "long.jsonl"});
    ASSERT_EQ(whole["requests"].size(), 400u);
    EXPECT_EQ(whole["requests"][0]["d"]["total_tokens"], 2);
    EXPECT_EQ(whole["session"]["total_reqs"], 401);
}

TEST_F(JsonDocumentTest, reportTheCurrentCycle) {
    const Json report = documentOf({"report"});
    EXPECT_EQ(report["today"]["key"], "2026-03-02");
    EXPECT_EQ(report["today"]["total_tokens"], 8);
    EXPECT_EQ(report["cycle"]["key"], "1771804800");
    EXPECT_EQ(report["cycle"]["first_day"], "2026-02-23");
    EXPECT_EQ(report["cycle"]["last_day"], "2026-03-01");
    EXPECT_EQ(report["cycle"]["total_tokens"], 3170);
    EXPECT_DOUBLE_EQ(report["cycle"]["cost_usd"], webCost);
    EXPECT_EQ(column(report["projects"], "name"), (std::vector<std::string>{"web-app", "scripts"}));
    EXPECT_EQ(column(report["models"], "name"), (std::vector<std::string>{"gpt-5", "unknown"}));
    EXPECT_EQ(column(report["agents"], "name"), std::vector<std::string>{"Codex"});
    EXPECT_EQ(column(report["days"], "key"), (std::vector<std::string>{"2026-02-24", "2026-03-01"}));
    // A scope that is no cycle has no key.
    const Json all = documentOf({"report", "--scope", "all"});
    EXPECT_EQ(all["cycle"]["key"], nullptr);
    EXPECT_EQ(all["cycle"]["first_day"], nullptr);
    EXPECT_EQ(all["cycle"]["last_day"], nullptr);
    EXPECT_EQ(all["cycle"]["total_tokens"], 3188);
    EXPECT_EQ(column(all["agents"], "name"), (std::vector<std::string>{"Codex", "Claude Code"}));
    EXPECT_EQ(documentOf({"report", "--scope", "today"})["cycle"]["key"], nullptr);
}

TEST_F(JsonDocumentTest, haveEveryKeyWhereNothingIsInScope) {
    for (const char* command : {"sessions", "projects", "insights"})
        EXPECT_EQ(documentOf({command, "--search", "nothing"})[command], Json::array());
    EXPECT_EQ(documentOf({"daily", "--search", "nothing"})["days"], Json::array());
    const Json report = documentOf({"report", "--search", "nothing"});
    EXPECT_EQ(report["cycle"]["total_tokens"], 0);
    EXPECT_EQ(report["cycle"]["key"], "1771804800");
    EXPECT_EQ(report["today"]["total_reqs"], 0);
    for (const char* key : {"projects", "models", "agents", "days", "consumers", "insights"})
        EXPECT_EQ(report[key], Json::array()) << key;
}

TEST_F(JsonDocumentTest, haveSortedKeysAndOneLineFeedAtTheEnd) {
    for (const char* command : {"report", "sessions", "projects", "daily", "cycles", "insights", "limits"}) {
        const std::string out = text({command, "--json"});
        EXPECT_TRUE(out.ends_with("\n}\n")) << command;
        EXPECT_EQ(out, text({command, "--json"})) << command;
    }
}

}  // namespace
}  // namespace ledgerfern
