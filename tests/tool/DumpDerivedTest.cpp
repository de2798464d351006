#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "tool/UsageLogs.h"

namespace ledgerfern {
namespace {

using Json = nlohmann::json;

class DumpDerivedTest : public UsageLogs {
protected:
    Json dump(std::vector<std::string> arguments = {}) const {
        arguments.insert(arguments.begin(), "dump");
        return document(arguments);
    }
    Json derived(const std::vector<std::string>& arguments = {}) const { return dump(arguments)["derived"]; }
};

Json stack(const char* key, std::map<std::string, int> parts, int total) {
    return {{"key", key}, {"parts", std::move(parts)}, {"total", total}};
}

Json legend(const char* label, int value, double fraction) {
    return {{"label", label}, {"value", value}, {"fraction", fraction}};
}

TEST_F(DumpDerivedTest, tellsAllOfACycle) {
    const Json stacks = {stack("2026-02-24", {{"Codex", 20}}, 20),
                         stack("2026-03-01", {{"Codex", 3150}}, 3150)};
    const Json expected = {
        {"is_empty", false},
        {"total_tokens", 3170},
        {"total_reqs", 3},
        {"total_input", 3015},
        {"total_cached", 1400},
        {"rows", {webPath, scriptsPath}},
        {"row_tokens", {{webPath, 3150}, {scriptsPath, 20}}},
        {"row_reqs", {{webPath, 2}, {scriptsPath, 1}}},
        {"kind_stacks", stacks},
        {"model_stacks",
         {stack("2026-02-24", {{"unknown", 20}}, 20), stack("2026-03-01", {{"gpt-5", 3150}}, 3150)}},
        {"kind_legend", {legend("Codex", 3170, 1)}},
        {"model_legend", {legend("gpt-5", 3150, 3150.0 / 3170.0), legend("unknown", 20, 20.0 / 3170.0)}},
        {"top_tools", {{{"label", "user messages"}, {"calls", 0}, {"impact", 3000}}}}};
    Json actual = derived({"--scope", "cycle"});
    EXPECT_TRUE(actual["insights"].is_array());
    EXPECT_THAT(actual["top_tools"][0]["label"], "user messages");
    actual.erase("insights");
    actual["top_tools"] = expected["top_tools"];
    EXPECT_EQ(Json::diff(expected, actual), Json::array());
    EXPECT_EQ(derived({"--scope", "1771804800"}), derived({"--scope", "cycle"}));
}

TEST_F(DumpDerivedTest, coversAllTimeInWeeksWithoutAScope) {
    const Json all = derived();
    EXPECT_EQ(all["total_tokens"], 3188);
    EXPECT_EQ(all["rows"], Json({webPath, scriptsPath, claudePath}));
    EXPECT_EQ(all["kind_stacks"],
              Json({stack("2026-W08", {{"Codex", 10}}, 10), stack("2026-W09", {{"Codex", 3170}}, 3170),
                    stack("2026-W10", {{"Claude Code", 8}}, 8)}));
    EXPECT_EQ(all, derived({"--scope", "all"}));
}

TEST_F(DumpDerivedTest, narrowsByDayCycleAgentAndText) {
    EXPECT_EQ(derived({"--scope", "today"})["row_tokens"], Json({{claudePath, 8}}));
    EXPECT_EQ(derived({"--scope", "1771200000"})["row_tokens"], Json({{scriptsPath, 10}}));
    EXPECT_EQ(derived({"--tool", "claude"})["rows"], Json({claudePath}));
    EXPECT_EQ(derived({"--tool=codex"})["total_tokens"], 3180);
    EXPECT_EQ(derived({"--search", "LOGIN"})["rows"], Json({webPath}));
    EXPECT_EQ(derived({"--search", "web", "--tool", "claude"})["rows"], Json({claudePath}));
    // The sessions and the roll-up stay those of the snapshot.
    const Json narrow = dump({"--search", "nothing"});
    EXPECT_EQ(narrow["sessions"].size(), 3u);
    EXPECT_EQ(narrow["aggregates"], dump()["aggregates"]);
}

TEST_F(DumpDerivedTest, hasAllKeysWhereNothingIsInScope) {
    const Json expected = {{"is_empty", true},
                           {"total_tokens", 0},
                           {"total_reqs", 0},
                           {"total_input", 0},
                           {"total_cached", 0},
                           {"rows", Json::array()},
                           {"row_tokens", Json::object()},
                           {"row_reqs", Json::object()},
                           {"kind_stacks", Json::array()},
                           {"model_stacks", Json::array()},
                           {"kind_legend", Json::array()},
                           {"model_legend", Json::array()},
                           {"top_tools", Json::array()},
                           {"insights", Json::array()}};
    EXPECT_EQ(Json::diff(expected, derived({"--search", "nothing"})), Json::array());
    // A cycle that nobody knows is one to dump.
    EXPECT_EQ(derived({"--scope", "604800"}), expected);
    const Json page = dump({"--project", "nobody's"})["project"];
    EXPECT_EQ(page["is_empty"], true);
    EXPECT_EQ(page["rows"], Json::array());
}

TEST_F(DumpDerivedTest, tellsAllOfAProject) {
    const Json expected = {
        {"name", "web-app"},
        {"is_empty", false},
        {"total_tokens", 3158},
        {"total_reqs", 3},
        {"rows", {webPath, claudePath}},
        {"recent_rows", {claudePath, webPath}},
        {"row_tokens", {{webPath, 3150}, {claudePath, 8}}},
        {"row_reqs", {{webPath, 2}, {claudePath, 1}}},
        {"kind_stacks",
         {stack("2026-W09", {{"Codex", 3150}}, 3150), stack("2026-W10", {{"Claude Code", 8}}, 8)}},
        {"model_stacks",
         {stack("2026-W09", {{"gpt-5", 3150}}, 3150), stack("2026-W10", {{"claude-opus-4", 8}}, 8)}},
        {"kind_legend", {legend("Codex", 3150, 3150.0 / 3158.0), legend("Claude Code", 8, 8.0 / 3158.0)}},
        {"model_legend", {legend("gpt-5", 3150, 3150.0 / 3158.0), legend("claude-opus-4", 8, 8.0 / 3158.0)}}};
    EXPECT_EQ(Json::diff(expected, dump({"--project", "web-app"})["project"]), Json::array());
    EXPECT_FALSE(dump().contains("project"));
}

TEST_F(DumpDerivedTest, narrowsTheProjectByCycleWeekAndAgent) {
    const auto project = [&](std::vector<std::string> arguments) {
        arguments.insert(arguments.end(), {"--project", "scripts"});
        return dump(arguments)["project"];
    };
    EXPECT_EQ(project({"--scope", "1771200000"})["total_tokens"], 10);
    // A week counts neither with all time nor with a cycle, but with a scope that gives no range.
    EXPECT_EQ(project({"--week", "2026-W09"})["total_tokens"], 30);
    EXPECT_EQ(project({"--week", "2026-W09", "--scope", "1771200000"})["total_tokens"], 10);
    EXPECT_EQ(project({"--week", "2026-W09", "--scope", "today"})["total_tokens"], 20);
    EXPECT_EQ(project({"--scope", "today"})["total_tokens"], 30);
    EXPECT_EQ(project({"--tool", "claude"})["is_empty"], true);
    // The search is the dashboard's alone.
    EXPECT_EQ(project({"--search", "nothing"})["total_tokens"], 30);
}

TEST_F(DumpDerivedTest, countsEverythingByDayWhereNoCycleIsKnown) {
    TextConsole text;
    EXPECT_EQ(runCommandLine({"dump", "--claude", folder.path("claude"), "--scope", "cycle"}, text.console),
              0);
    const Json derived = Json::parse(text.out.text())["derived"];
    EXPECT_EQ(derived["total_tokens"], 8);
    EXPECT_EQ(derived["kind_stacks"], Json::array({stack("2026-03-02", {{"Claude Code", 8}}, 8)}));
}

TEST_F(DumpDerivedTest, refusesAScopeThatIsNone) {
    for (const char* scope : {"week", "", "2026-W09", "nan", "0x10"}) {
        TextConsole text;
        EXPECT_EQ(runCommandLine({"dump", "--scope", scope}, text.console), 2);
        EXPECT_EQ(text.err.text(), "ledgerfern-cli: --scope “" + std::string(scope) +
                                       "” is no scope; it takes today, cycle, all or the key of a cycle, "
                                       "which “ledgerfern-cli cycles” lists\n");
    }
    TextConsole text;
    EXPECT_EQ(runCommandLine({"dump", "--tool", "gemini"}, text.console), 2);
    EXPECT_EQ(text.err.text(), "ledgerfern-cli: --tool “gemini” is unknown; it takes codex or claude\n");
}

}  // namespace
}  // namespace ledgerfern
