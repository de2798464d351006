#include <gtest/gtest.h>

#include <limits>

#include "Analytics/InsightRules.h"
#include "SessionSamples.h"

namespace ledgerfern {
namespace {

constexpr auto most = std::numeric_limits<std::int64_t>::max();

std::string nextPath() {
    static int number = 0;
    return "/logs/" + std::to_string(++number) + ".jsonl";
}

SessionResult startedWith(std::optional<std::int64_t> input, std::string project = "p",
                          ToolKind tool = ToolKind::codex) {
    SessionResult result = inLog(nextPath(), session({}, std::move(project)));
    result.tool = tool;
    result.insights.startupInput = input;
    return result;
}

std::optional<Insight> startup(const std::vector<SessionResult>& sessions) {
    return InsightRules::startupOverhead(listOf(sessions));
}

using Impacts = std::vector<std::pair<std::string, std::int64_t>>;

/// A session whose labels have these impacts, as input and output.
SessionResult sessionUsing(const Impacts& impacts) {
    SessionResult result = inLog(nextPath(), session({}));
    std::vector<std::pair<std::string, ToolStat>> rows;
    for (const auto& [label, impact] : impacts)
        rows.emplace_back(label, ToolStat{1, impact - impact / 3, impact / 3});
    result.tools = ToolTable(rows);
    return result;
}

std::optional<Insight> consumers(const std::vector<SessionResult>& sessions) {
    return InsightRules::contextConsumers(listOf(sessions));
}

SessionResult peaking(std::int64_t peak) {
    SessionResult result = inLog(nextPath(), session({}));
    result.insights.peakInput = peak;
    return result;
}

std::optional<Insight> longContexts(const std::vector<SessionResult>& sessions) {
    return InsightRules::longContexts(listOf(sessions));
}

SessionResult subagent(std::int64_t input = 0, std::int64_t output = 0) {
    SessionResult result = inLog(nextPath(), session({}));
    result.source.isSubagent = true;
    result.totals.inputTokens = input;
    result.totals.outputTokens = output;
    return result;
}

/// The rule with the same tokens in scope for each of the sessions.
std::optional<Insight> subagents(const std::vector<SessionResult>& sessions, std::int64_t tokensEach,
                                 std::int64_t total) {
    const SessionList list = listOf(sessions);
    SessionCounts tokens;
    for (const SessionPointer& session : list)
        tokens.set(session->path, tokensEach);
    return InsightRules::subagentShare(list, tokens, total);
}

// Startup overhead

TEST(StartupOverhead, isToldOfTheHeaviestProject) {
    const auto first = startedWith(61'400, "web", ToolKind::claudeCode);
    const auto second = startedWith(70'000, "web", ToolKind::claudeCode);
    const auto third = startedWith(50'000, "web", ToolKind::claudeCode);
    const auto found = startup({first, startedWith(40'000, "lib"), second, startedWith(40'000, "lib"), third,
                                startedWith(29'999, "app"), startedWith(29'999, "app")});
    Insight expected;
    expected.id = "startup-overhead";
    expected.severity = Severity::warning;
    expected.title = "web starts every session at ~61K tokens";
    expected.detail =
        "Median first-request size across 3 sessions — paid before you type anything, and "
        "re-read on every request. 1 other project(s) are above 30K too.";
    expected.advice =
        "Trim CLAUDE.md, MCP servers and tool definitions. Disable MCP servers this project "
        "doesn't use; each one ships its full tool schema with every request.";
    expected.weight = 184'200;
    expected.metric = "~61K";
    expected.metricLabel = "before your first message";
    expected.sessions = {first.path, second.path, third.path};
    EXPECT_EQ(found, expected);
}

TEST(StartupOverhead, countsTheOtherProjectsAboveThirtyThousand) {
    std::vector<SessionResult> sessions;
    for (const auto& [project, input] :
         {std::pair<const char*, std::int64_t>{"a", 30'000}, {"b", 29'999}, {"c", 50'000}, {"d", 40'000}})
        for (int i = 0; i < 2; ++i)
            sessions.push_back(startedWith(input, project));
    const auto found = startup(sessions);
    EXPECT_EQ(found->title, "c starts every session at ~50K tokens");
    EXPECT_EQ(found->detail,
              "Median first-request size across 2 sessions — paid before you type anything, and re-read on "
              "every request. 2 other project(s) are above 30K too.");
}

TEST(StartupOverhead, ofCodexIsInAnotherFile) {
    const auto found = startup({startedWith(59'999), startedWith(59'999)});
    EXPECT_EQ(found->severity, Severity::notice);
    EXPECT_EQ(found->detail,
              "Median first-request size across 2 sessions — paid before you type anything, "
              "and re-read on every request.");
    EXPECT_EQ(found->advice,
              "Trim AGENTS.md, MCP servers and tool definitions. Disable MCP servers this "
              "project doesn't use; each one ships its full tool schema with every request.");
    EXPECT_EQ(found->weight, 119'998);
}

TEST(StartupOverhead, needsTwoSessions) {
    EXPECT_EQ(startup({}), std::nullopt);
    EXPECT_EQ(startup({startedWith(100'000)}), std::nullopt);
    EXPECT_NE(startup({startedWith(100'000), startedWith(100'000)}), std::nullopt);
    EXPECT_EQ(startup({startedWith(100'000), startedWith(100'000, "q")}), std::nullopt);
    EXPECT_EQ(startup({startedWith(100'000), startedWith(100'000, "p", ToolKind::claudeCode)}), std::nullopt)
        << "each agent has its own prompt";
}

TEST(StartupOverhead, isAMedianFromThirtyThousandOn) {
    EXPECT_EQ(startup({startedWith(30'000), startedWith(40'000)})->metric, "~40K") << "the upper one";
    EXPECT_EQ(startup({startedWith(29'999), startedWith(29'999)}), std::nullopt);
    EXPECT_NE(startup({startedWith(30'000), startedWith(30'000)}), std::nullopt);
    EXPECT_EQ(startup({startedWith(10), startedWith(29'999), startedWith(90'000)}), std::nullopt);
    EXPECT_EQ(startup({startedWith(60'000), startedWith(60'000)})->severity, Severity::warning);
}

TEST(StartupOverhead, leavesOutSubagentsAndSessionsThatSentNothing) {
    SessionResult spawned = startedWith(100'000);
    spawned.source.isSubagent = true;
    EXPECT_EQ(startup({startedWith(100'000), spawned}), std::nullopt);
    EXPECT_EQ(startup({startedWith(100'000), startedWith({}), startedWith(0), startedWith(-5)}),
              std::nullopt);
}

TEST(StartupOverhead, ofEqualProjectsIsToldOfTheFirst) {
    const auto claude = ToolKind::claudeCode;
    EXPECT_EQ(startup({startedWith(40'000, "b"), startedWith(40'000, "b"), startedWith(40'000, "a"),
                       startedWith(40'000, "a")})
                  ->title,
              "a starts every session at ~40K tokens");
    EXPECT_EQ(startup({startedWith(40'000, "a"), startedWith(40'000, "a"), startedWith(40'000, "b", claude),
                       startedWith(40'000, "b", claude)})
                  ->title,
              "b starts every session at ~40K tokens")
        << "claude before codex";
}

TEST(StartupOverhead, weighsNoMoreThan64Bits) {
    EXPECT_EQ(startup({startedWith(most), startedWith(most)})->weight, most);
}

// Context consumers

TEST(ContextConsumers, countAllToolsOfAServerAsOne) {
    const auto first = sessionUsing({{"mcp:a/x", 30}, {"tool:Read", 40}});
    const auto none = sessionUsing({{"mcp:ab/x", 0}, {"mcp", 0}});
    const auto second = sessionUsing({{"mcp:a/y", 30}});
    const auto found = consumers({first, none, second});
    Insight expected;
    expected.id = "consumer-mcp:a";
    expected.severity = Severity::warning;
    expected.title = "MCP server a drives 60% of context growth";
    expected.detail = "Share of attributed input/output impact across tool results and calls in this scope.";
    expected.advice =
        "Large MCP results stay in context for the rest of the session. Ask for narrower "
        "results, or disable the server when you don't need it.";
    expected.weight = 60;
    expected.metric = "60%";
    expected.metricLabel = "of context growth";
    expected.sessions = {first.path, second.path};
    EXPECT_EQ(found, expected);
}

TEST(ContextConsumers, nameAToolByItsLabel) {
    const auto user = sessionUsing({{"tool:Read", 39}, {"user messages", 61}});
    const auto found = consumers({user});
    EXPECT_EQ(found->id, "consumer-tool:Read");
    EXPECT_EQ(found->severity, Severity::notice);
    EXPECT_EQ(found->title, "tool:Read drives 39% of context growth");
    EXPECT_EQ(found->advice,
              "Big tool results stay in context for the rest of the session. Prefer targeted "
              "reads (line ranges, grep) over dumping whole files or logs.");
    EXPECT_EQ(found->sessions, std::vector{user.path});
    EXPECT_EQ(consumers({sessionUsing({{"Shell · search", 5}})})->title,
              "Shell · search drives 100% of context growth");
}

TEST(ContextConsumers, measureAgainstWhatTheUserWroteToo) {
    EXPECT_EQ(consumers({sessionUsing({{"user messages", 90}, {"tool:Read", 10}})}), std::nullopt);
    EXPECT_EQ(consumers({sessionUsing({{"user messages", 30},
                                       {"attachments", 20},
                                       {"tool:Read", 30},
                                       {"assistant output (replayed)", 20}})})
                  ->metric,
              "30%");
}

TEST(ContextConsumers, areNoneWithoutCandidatesOrImpact) {
    EXPECT_EQ(consumers({}), std::nullopt);
    EXPECT_EQ(consumers({sessionUsing({})}), std::nullopt);
    EXPECT_EQ(consumers({sessionUsing({{"user messages", 5}})}), std::nullopt);
    EXPECT_EQ(consumers({sessionUsing({{"attachments", 5}, {"assistant output (replayed)", 5}})}),
              std::nullopt);
    EXPECT_EQ(consumers({sessionUsing({{"tool:Read", 0}})}), std::nullopt);
    EXPECT_EQ(consumers({sessionUsing({{"tool:Read", 5}, {"user messages", -5}})}), std::nullopt);
}

TEST(ContextConsumers, takeAQuarterToBeToldAndFourTenthsToWarn) {
    const auto withShare = [](std::int64_t thousandths) {
        return consumers(
            {sessionUsing({{"tool:Read", thousandths}, {"user messages", 1'000 - thousandths}})});
    };
    EXPECT_EQ(withShare(249), std::nullopt);
    EXPECT_EQ(withShare(250)->severity, Severity::notice);
    EXPECT_EQ(withShare(399)->severity, Severity::notice);
    EXPECT_EQ(withShare(399)->metric, "39%");
    EXPECT_EQ(withShare(400)->severity, Severity::warning);
}

TEST(ContextConsumers, cutThePercentageAfterTheProductOfDoubles) {
    // 0.29 times 100 is just below 29.
    EXPECT_EQ(consumers({sessionUsing({{"tool:Read", 29}, {"user messages", 71}})})->metric, "28%");
}

TEST(ContextConsumers, ofEqualsAreToldByTheFirstLabel) {
    EXPECT_EQ(consumers({sessionUsing({{"tool:b", 5}, {"tool:a", 5}, {"tool:c", 5}})})->id,
              "consumer-tool:a");
}

TEST(ContextConsumers, groupNothingButServers) {
    EXPECT_EQ(consumers({sessionUsing({{"tool:a/x", 5}, {"tool:a/y", 4}})})->id, "consumer-tool:a/x");
    const auto plain = sessionUsing({{"mcp:a", 5}});
    const auto deep = sessionUsing({{"mcp:a/b/c", 5}});
    const auto found = consumers({plain, deep, sessionUsing({{"tool:a", 1}})});
    EXPECT_EQ(found->id, "consumer-mcp:a");
    EXPECT_EQ(found->weight, 10);
    EXPECT_EQ(found->sessions, (std::vector{plain.path, deep.path}));
    EXPECT_EQ(consumers({sessionUsing({{"mcp:/x", 5}})})->title, "MCP server  drives 100% of context growth");
}

TEST(ContextConsumers, concernTheSessionsWithLabelsBelowTheKey) {
    const auto exact = sessionUsing({{"tool:Read", 50}});
    const auto below = sessionUsing({{"tool:Read/lines", 1}});
    const auto beside = sessionUsing({{"tool:Reader", 1}, {"tool:Rea", 1}});
    EXPECT_EQ(consumers({exact, below, beside})->sessions, (std::vector{exact.path, below.path}));
}

TEST(ContextConsumers, findLabelsInWhateverOrderSessionsHaveThem) {
    std::vector<SessionResult> sessions;
    for (int i = 0; i < 30; ++i) {
        Impacts impacts;
        for (int label = 0; label < 6; ++label)
            if ((i >> (label % 5)) % 2 == 0) impacts.emplace_back("tool:" + std::to_string(label), 1 + label);
        impacts.emplace_back("mcp:s/" + std::to_string(i % 7), 100);
        sessions.push_back(sessionUsing(impacts));
    }
    const auto found = consumers(sessions);
    EXPECT_EQ(found->id, "consumer-mcp:s");
    EXPECT_EQ(found->weight, 3'000);
    EXPECT_EQ(found->sessions.size(), 30u);
}

TEST(ContextConsumers, leaveOutWhatWouldLeave64Bits) {
    SessionResult huge = sessionUsing({});
    huge.tools = ToolTable({{"tool:a", {1, most, 1}}});
    const auto found = consumers({huge, sessionUsing({{"tool:a", 1}, {"tool:b", 1}})});
    EXPECT_EQ(found->weight, most);
    EXPECT_EQ(found->metric, "100%");
}

// Long contexts

TEST(LongContexts, areToldWithTheLargestRequest) {
    const auto first = peaking(150'000);
    const auto second = peaking(412'345);
    const auto found = longContexts({first, peaking(149'999), second});
    Insight expected;
    expected.id = "long-contexts";
    expected.severity = Severity::notice;
    expected.title = "2 sessions ran past 150K tokens of context";
    expected.detail =
        "Largest single request: 412K tokens. Every request in a long session re-reads the "
        "whole context.";
    expected.advice =
        "Split long tasks into fresh sessions, or compact earlier. Cached reads are cheaper but "
        "still count toward rate limits.";
    expected.weight = 412'345;
    expected.metric = "412K";
    expected.metricLabel = "largest request";
    expected.sessions = {first.path, second.path};
    EXPECT_EQ(found, expected);
}

TEST(LongContexts, needTwoSessions) {
    EXPECT_EQ(longContexts({}), std::nullopt);
    EXPECT_EQ(longContexts({peaking(2'000'000), peaking(149'999)}), std::nullopt);
    EXPECT_EQ(longContexts({peaking(2'000'000), peaking(150'000)})->metric, "2.0M");
}

// Sub-agents

TEST(SubagentShare, isToldWithTheAgentsThatWroteLittle) {
    const std::vector<SessionResult> sessions = {subagent(200'000, 999), subagent(200'000, 1'000),
                                                 subagent(199'999, 0), subagent(1'000'000, 0)};
    const auto found = subagents(sessions, 125, 1'000);
    Insight expected;
    expected.id = "subagents";
    expected.severity = Severity::warning;
    expected.title = "Sub-agents used 50% of tokens";
    expected.detail =
        "4 sub-agent sessions in this scope. 2 of them read 200K+ tokens and wrote very little back.";
    expected.advice =
        "Sub-agents start with a fresh context and re-read what they need. For small lookups, "
        "doing it inline is often cheaper; for big fan-outs, use a cheaper model for the "
        "agents.";
    expected.weight = 500;
    expected.metric = "50%";
    expected.metricLabel = "of tokens";
    for (const SessionResult& session : sessions)
        expected.sessions.push_back(session.path);
    EXPECT_EQ(found, expected);
}

TEST(SubagentShare, needsThreeSubagentsAndThreeTenths) {
    const std::vector<SessionResult> three = {subagent(), subagent(), subagent()};
    EXPECT_EQ(subagents({subagent(), subagent()}, 400, 1'000), std::nullopt);
    EXPECT_EQ(subagents(three, 299, 3'000), std::nullopt);
    EXPECT_EQ(subagents(three, 300, 3'000)->severity, Severity::info);
    EXPECT_EQ(subagents(three, 499, 3'000)->severity, Severity::info);
    EXPECT_EQ(subagents(three, 499, 3'000)->title, "Sub-agents used 49% of tokens");
    EXPECT_EQ(subagents(three, 500, 3'000)->severity, Severity::warning);
    EXPECT_EQ(subagents(three, 300, 3'000)->detail, "3 sub-agent sessions in this scope.");
    EXPECT_EQ(subagents(three, 300, 0), std::nullopt);
    EXPECT_EQ(subagents(three, 300, -5), std::nullopt);
}

TEST(SubagentShare, cutsThePercentageAfterTheProductOfDoubles) {
    // 0.58 times 100 is just below 58.
    EXPECT_EQ(subagents({subagent(), subagent(), subagent()}, 29, 150)->metric, "57%");
}

TEST(SubagentShare, leavesOutGuardiansAndMainSessions) {
    SessionResult guardian = subagent();
    guardian.source.isGuardian = true;
    SessionResult main = subagent();
    main.source.isSubagent = false;
    EXPECT_EQ(subagents({subagent(), subagent(), guardian, main}, 400, 1'000), std::nullopt);
    const auto found = subagents({subagent(), guardian, subagent(), main, subagent()}, 200, 1'000);
    EXPECT_EQ(found->weight, 600);
    EXPECT_EQ(found->sessions.size(), 3u);
}

TEST(SubagentShare, countsTokensInScopeAlone) {
    const SessionList list = listOf({subagent(500'000, 1), subagent(), subagent()});
    const SessionCounts tokens = {{list[1]->path, 600}, {"/elsewhere", 5'000}};
    const auto found = InsightRules::subagentShare(list, tokens, 1'000);
    EXPECT_EQ(found->weight, 600);
    EXPECT_EQ(found->detail,
              "3 sub-agent sessions in this scope. 1 of them read 200K+ tokens and wrote very little back.");
}

}  // namespace
}  // namespace ledgerfern
