#include "DumpDocument.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "CommandLine.h"
#include "Scan.h"
#include "tool/LogFolder.h"
#include "tool/TextOutput.h"

namespace ledgerfern {
namespace {

using Json = nlohmann::json;
using testing::ElementsAre;

constexpr std::string_view loginId = "0-00-00-aaaaaaaa-0000-4000-8000-000000000001";

/// Two requests of web-app on 1 March 2026, 10:01 and 10:02 UTC. The call's payload measures 98, its
/// output 2.
RolloutLog loginLog() {
    RolloutLog log;
    log.meta("2026-03-01T10:00:00Z", "/home/me/web-app").model("gpt-5").user("Fix the login page");
    log.tokens(
        "2026-03-01T10:01:00Z", {1000, 400, 50, 10, 1050},
        R"({"primary":{"used_percent":42.5,"window_minutes":10080,"resets_at":1772409600},"plan_type":"plus"})");
    log.line(
        "", "response_item",
        R"({"type":"function_call","call_id":"c1","name":"apply_patch","arguments":"aaaaaaaaaaaaaaaaaaaaaaa"})");
    log.line("", "response_item", R"({"type":"function_call_output","call_id":"c1","output":"ok"})");
    log.tokens(
        "2026-03-01T10:02:00Z", {3000, 1400, 150, 30, 3150},
        R"({"primary":{"used_percent":43,"window_minutes":10080,"resets_at":1772409600},"plan_type":"plus"})");
    return log;
}

std::string dump(const LogFolder& folder, std::vector<std::string> arguments = {}) {
    TextConsole text;
    arguments.insert(arguments.begin(), {"dump", "--codex", folder.path("sessions"), "--now", "1772409600"});
    EXPECT_EQ(runCommandLine(arguments, text.console), 0);
    EXPECT_EQ(text.err.text(), "");
    return text.out.text();
}

Json document(const LogFolder& folder, const std::vector<std::string>& arguments = {}) {
    return Json::parse(dump(folder, arguments));
}

Json totals(std::int64_t input, std::int64_t cached, std::int64_t output, std::int64_t reasoning,
            std::int64_t total) {
    return {
        {"input_tokens", input},   {"cached_input_tokens", cached},        {"cache_write_input_tokens", 0},
        {"output_tokens", output}, {"reasoning_output_tokens", reasoning}, {"total_tokens", total}};
}

Json stat(std::int64_t calls, std::int64_t input, std::int64_t output) {
    return {{"calls", calls}, {"attrib_input", input}, {"attrib_output", output}};
}

Json limit(double used) {
    return {{"usedPercent", used}, {"windowMinutes", 10080}, {"resetsAt", 1772409600}, {"planType", "plus"}};
}

/// What `loginLog` must come to.
Json loginSession(const std::string& path, const std::string& id) {
    return {{"path", path},
            {"session_id", id},
            {"tool", "codex"},
            {"project", "web-app"},
            {"cwd", "/home/me/web-app"},
            {"originator", "codex_cli"},
            {"source",
             {{"raw", "cli"},
              {"isSubagent", false},
              {"isGuardian", false},
              {"nickname", nullptr},
              {"parentThread", nullptr}}},
            {"model", "gpt-5"},
            {"first_message", "Fix the login page"},
            {"started", 1772359200.0},
            {"last_ts", 1772359320.0},
            {"kind", "Codex"},
            {"display_name", "Fix the login page"},
            // 1600 × 1.25 + 1400 × 0.125 + 180 × 10 = 3975 millionths
            {"cost_usd", 0.003975},
            {"totals", totals(3000, 1400, 150, 30, 3150)},
            {"tools", {{"user messages", stat(0, 1000, 0)}, {"tool:apply_patch", stat(1, 2000, 100)}}},
            {"requests",
             {{{"ts", 1772359260.0},
               {"d", totals(1000, 400, 50, 10, 1050)},
               {"dominant", "user messages"},
               {"model", "gpt-5"}},
              {{"ts", 1772359320.0},
               {"d", totals(2000, 1000, 100, 20, 2100)},
               {"dominant", "tool:apply_patch"},
               {"model", "gpt-5"}}}},
            {"rate_limit", limit(43)},
            {"rl_daily",
             {{"2026-03-01", {{"ts", 1772359260.0}, {"usedPercent", 42.5}, {"resetsAt", 1772409600}}}}},
            {"insights",
             {{"cacheBreaks", 0},
              {"breakReasons", Json::object()},
              {"rebuiltTokens", 0},
              {"startupInput", 1000},
              {"peakInput", 2000}}}};
}

TEST(DumpDocument, tellsAllOfASession) {
    const LogFolder folder;
    const std::string path = folder.write("sessions/2026/" + rolloutName(loginId), loginLog().text());
    const Json sessions = document(folder)["sessions"];
    ASSERT_EQ(sessions.size(), 1u);
    const Json expected = loginSession(path, std::string(loginId) + ".json");
    EXPECT_EQ(Json::diff(expected, sessions[0]), Json::array());
}

TEST(DumpDocument, tellsAllOfTheRollUp) {
    const LogFolder folder;
    folder.write("sessions/" + rolloutName(loginId), loginLog().text());
    Json hours = Json::array();
    for (int hour = 0; hour < 24; ++hour)
        hours.push_back(hour == 10 ? 3150 : 0);
    const Json usage = totals(3000, 1400, 150, 30, 3150);
    const Json expected = {
        {"files_scanned", 1},
        {"sessions_analyzed", 1},
        {"totals", usage},
        {"weeks", {{"2026-W09", {{"web-app", usage}}}}},
        {"cycles", {{"1771804800", {{"web-app", usage}}}}},
        {"cycle_anchor", 1772409600.0},
        {"current_cycle_key", "1771804800"},
        {"current_scope_key", "1771804800"},
        {"tools_use_different_anchors", false},
        {"tools", {{"user messages", stat(0, 1000, 0)}, {"tool:apply_patch", stat(1, 2000, 100)}}},
        {"latest_rate_limit", limit(43)},
        {"latest_rate_limit_as_of", 1772359320.0},
        {"latest_rate_limits_by_tool", {{"codex", limit(43)}}},
        {"latest_rate_limits_as_of", {{"codex", 1772359320.0}}},
        {"cycle_anchors_by_tool", {{"codex", 1772409600.0}}},
        {"daily", {{"2026-03-01", 3150}}},
        {"hourly_local", hours}};
    EXPECT_EQ(Json::diff(expected, document(folder)["aggregates"]), Json::array());
}

TEST(DumpDocument, hasAllKeysWhereThereIsNothing) {
    const LogFolder folder;
    std::filesystem::create_directories(folder.path("sessions"));
    Json hours = Json::array();
    for (int hour = 0; hour < 24; ++hour)
        hours.push_back(0);
    const Json expected = {{"schema", 1},
                           {"files_per_tool", Json::object()},
                           {"malformed_lines", 0},
                           {"format_warnings", Json::array()},
                           {"thread_names", Json::object()},
                           {"derived", nullptr},
                           {"sessions", Json::array()},
                           {"aggregates",
                            {{"files_scanned", 0},
                             {"sessions_analyzed", 0},
                             {"totals", totals(0, 0, 0, 0, 0)},
                             {"weeks", Json::object()},
                             {"cycles", Json::object()},
                             {"cycle_anchor", nullptr},
                             {"current_cycle_key", nullptr},
                             {"current_scope_key", nullptr},
                             {"tools_use_different_anchors", false},
                             {"tools", Json::object()},
                             {"latest_rate_limit", nullptr},
                             {"latest_rate_limit_as_of", nullptr},
                             {"latest_rate_limits_by_tool", Json::object()},
                             {"latest_rate_limits_as_of", Json::object()},
                             {"cycle_anchors_by_tool", Json::object()},
                             {"daily", Json::object()},
                             {"hourly_local", hours}}}};
    Json actual = document(folder);
    EXPECT_EQ(actual["derived"]["is_empty"], true);
    actual["derived"] = nullptr;
    EXPECT_EQ(Json::diff(expected, actual), Json::array());
}

TEST(DumpDocument, writesWhatALogLeavesOutAsNull) {
    const LogFolder folder;
    RolloutLog log;
    log.line("", "session_meta", R"({"source":{"subagent":{"other":"guardian"}}})")
        .tokens("", {10, 0, 5, 0, 15});
    folder.write("sessions/plain.jsonl", log.text());
    const Json session = document(folder)["sessions"][0];
    for (const char* key : {"model", "first_message", "started", "last_ts", "rate_limit"})
        EXPECT_TRUE(session.at(key).is_null()) << key;
    EXPECT_EQ(session["project"], "?");
    EXPECT_EQ(session["cwd"], "?");
    EXPECT_EQ(session["originator"], "");
    EXPECT_EQ(session["session_id"], folder.path("sessions/plain.jsonl"));
    EXPECT_EQ(session["kind"], "Codex auto-review");
    EXPECT_EQ(session["display_name"], "guardian (subagent)");
    EXPECT_EQ(session["cost_usd"], 0);
    EXPECT_EQ(session["requests"],
              Json::parse(R"([{"ts":null,"dominant":null,"model":null,"d":{"input_tokens":10,
        "cached_input_tokens":0,"cache_write_input_tokens":0,"output_tokens":5,"reasoning_output_tokens":0,
        "total_tokens":15}}])"));
    EXPECT_EQ(session["source"], Json::parse(R"({"raw":"","isSubagent":true,"isGuardian":true,"nickname":null,
        "parentThread":null})"));
}

std::vector<std::string> projects(const Json& dump) {
    std::vector<std::string> names;
    for (const Json& session : dump["sessions"])
        names.push_back(session["project"]);
    return names;
}

RolloutLog shortLog(std::string_view project, std::string_view time) {
    RolloutLog log;
    log.meta(time, "/p/" + std::string(project)).tokens(time, {1, 0, 1, 0, 2});
    return log;
}

TEST(DumpDocument, ordersSessionsByTheirLatestTimeThenByPath) {
    const LogFolder folder;
    folder.write("sessions/b.jsonl", shortLog("second", "2026-03-01T10:00:00Z").text());
    folder.write("sessions/a.jsonl", shortLog("first", "2026-03-01T10:00:00Z").text());
    folder.write("sessions/c.jsonl", shortLog("latest", "2026-03-02T10:00:00Z").text());
    folder.write("sessions/0.jsonl", shortLog("timeless", "").text());
    EXPECT_THAT(projects(document(folder)), ElementsAre("latest", "first", "second", "timeless"));
}

TEST(DumpDocument, completesSessionsAndOrdersThemAnewWithFull) {
    const LogFolder folder;
    folder.write("sessions/a.jsonl", shortLog("early", "2026-03-01T10:00:00Z").text());
    RolloutLog open = shortLog("growing", "2026-03-01T09:00:00Z");
    open.tokens("2026-03-01T11:00:00Z", {5, 0, 5, 0, 10});
    std::string text = open.text();
    text.pop_back();  // the last line isn't finished
    folder.write("sessions/b.jsonl", text);

    const Json plain = document(folder);
    EXPECT_THAT(projects(plain), ElementsAre("early", "growing"));
    EXPECT_EQ(plain["sessions"][1]["requests"].size(), 1u);
    const Json full = document(folder, {"--full"});
    EXPECT_THAT(projects(full), ElementsAre("growing", "early"));
    EXPECT_EQ(full["sessions"][0]["totals"]["total_tokens"], 10);
    EXPECT_EQ(full["aggregates"], plain["aggregates"]);
    EXPECT_EQ(document(folder, {"--finish"})["aggregates"]["totals"]["total_tokens"], 12);
}

TEST(DumpDocument, tellsNamesFilesAndMalformedLines) {
    const LogFolder folder;
    RolloutLog log = loginLog();
    log.raw("{\"type\":\"event_msg\"\n[\"event_msg\"]\nnothing that counts\n");
    folder.write("sessions/" + rolloutName(loginId), log.text());
    folder.write("sessions/empty.jsonl", "");
    folder.write("session_index.jsonl", R"({"id":"t1","thread_name":"Login"})"
                                        "\n");
    const Json dump = document(folder);
    EXPECT_EQ(dump["thread_names"], Json::parse(R"({"t1":"Login"})"));
    EXPECT_EQ(dump["files_per_tool"], Json::parse(R"({"codex":2})"));
    EXPECT_EQ(dump["malformed_lines"], 2);
    EXPECT_EQ(dump["schema"], 1);
}

TEST(DumpDocument, writesPathsThatAreNotUtf8) {
    const LogFolder folder;
    folder.write("sessions/a\xff.jsonl", shortLog("p", "2026-03-01T10:00:00Z").text());
    const Json session = document(folder)["sessions"][0];
    EXPECT_EQ(session["path"], folder.path("sessions/a\uFFFD.jsonl"));
    EXPECT_EQ(session["session_id"], session["path"]);
}

TEST(DumpDocument, keepsOneOfTwoKeysThatLookTheSame) {
    Snapshot snapshot;
    snapshot.threadNames = {{"a\xfe", "first"}, {"a\xff", "last"}, {"a\U0001F600", "emoji"}};
    const std::string text = dumpText(snapshot, PriceTable());
    EXPECT_THAT(text,
                testing::HasSubstr(
                    "\"thread_names\": {\n    \"a\uFFFD\": \"last\",\n    \"a\U0001F600\": \"emoji\"\n  }"));
}

TEST(DumpDocument, isPrettyPrintedWithSortedKeysAndALineFeed) {
    const LogFolder folder;
    folder.write("sessions/" + rolloutName(loginId), loginLog().text());
    const std::string text = dump(folder);
    EXPECT_EQ(text.substr(0, 23), "{\n  \"aggregates\": {\n   ");
    EXPECT_TRUE(text.ends_with("\n}\n"));
    // nlohmann's objects are sorted by key, and so are its texts.
    Json parsed = Json::parse(text);
    const auto keysOf = [](const std::string& document) {
        std::vector<std::string> keys;
        const Json whole = Json::parse(document, [&](int, Json::parse_event_t event, Json& value) {
            if (event == Json::parse_event_t::key) keys.push_back(value);
            return true;
        });
        EXPECT_TRUE(whole.is_object());
        return keys;
    };
    EXPECT_EQ(keysOf(text), keysOf(parsed.dump()));
}

TEST(DumpDocument, isTheSameForAnyNumberOfWorkers) {
    const LogFolder folder;
    for (int i = 0; i < 40; ++i) {
        RolloutLog log = loginLog();
        log.tokens("2026-03-0" + std::to_string(1 + i % 5) + "T12:00:00Z",
                   {3000 + i, 1400, 150, 30, 3150 + i});
        folder.write("sessions/" + std::to_string(i % 7) + "/" + std::to_string(i) + ".jsonl", log.text());
    }
    std::vector<std::string> texts = {dump(folder), dump(folder)};
    for (const unsigned workers : {1u, 2u, 8u}) {
        Engine engine({{folder.path("sessions"), ToolKind::codex}}, fixedClock(1772409600), workers);
        texts.push_back(dumpText(engine.rescan(), builtInPrices()));
    }
    for (const std::string& text : texts)
        EXPECT_EQ(text, texts.front());
}

TEST(DumpDocument, stopsWhereNobodyReads) {
    const LogFolder folder;
    folder.write("sessions/a.jsonl", shortLog("p", "2026-03-01T10:00:00Z").text());
    folder.write("sessions/b.jsonl", shortLog("q", "2026-03-01T10:00:00Z").text());
    Engine engine({{folder.path("sessions"), ToolKind::codex}}, fixedClock(1772409600));
    std::string text;
    int flushes = 0;
    writeDump(
        engine.rescan(), {}, builtInPrices(), [](const SessionPointer& session) { return session; }, text,
        [&] {
            ++flushes;
            return false;
        });
    EXPECT_EQ(flushes, 1);
    EXPECT_EQ(text.find("thread_names"), std::string::npos);
}

}  // namespace
}  // namespace ledgerfern
