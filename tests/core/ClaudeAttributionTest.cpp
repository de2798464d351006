#include <gtest/gtest.h>

#include "ClaudeCodeParser/ClaudeCodeParser.h"
#include "ClaudeLog.h"

namespace ledgerfern {
namespace {

using ClaudeCodeParser::State;
using test::ClaudeLog;
using test::claudeUsage;
using test::Json;
using test::labels;
using test::parsed;
using test::session;
using test::stat;
using test::textBlock;
using test::toolResult;
using test::toolUse;

using Reasons = std::map<std::string, std::int64_t>;

std::string label(std::string_view name, const Json& input = nullptr) {
    JsonReader reader;
    return ClaudeCodeParser::toolLabel(name, asObject(reader.read(input.dump())));
}

std::string bash(std::string_view command) {
    return label("Bash", {{"command", command}});
}

std::string text(std::size_t length) {
    return std::string(length, 'x');
}

TEST(ClaudeAttribution, aRequestWithoutAdditionsAndBlocksCountsForNoLabel) {
    const State state =
        parsed(ClaudeLog().assistant("r1", claudeUsage(1'000, 50)).assistant("r2", claudeUsage(0, 0)));
    EXPECT_TRUE(labels(state).empty());
    EXPECT_EQ(session(state).requests[0].dominant, std::nullopt);
}

TEST(ClaudeAttribution, additionsShareTheInputBySize) {
    const State state = parsed(ClaudeLog()
                                   .user(text(300))
                                   .user(Json::array({toolResult("?", text(100))}))
                                   .assistant("r1", claudeUsage(1'000, 70)));
    EXPECT_EQ(stat(state, "user messages"), (ToolStat{0, 750, 0}));
    EXPECT_EQ(stat(state, "tool:result"), (ToolStat{0, 250, 0}));
    EXPECT_EQ(session(state).requests[0].dominant, "user messages");
}

TEST(ClaudeAttribution, aToolCallSharesInputAndOutput) {
    // {"a":"..."} of 100 characters
    const Json input = {{"a", text(92)}};
    const State state = parsed(ClaudeLog().user(text(100)).assistant(
        "r1", claudeUsage(1'000, 51), Json::array({toolUse("t1", "Read", input)})));
    EXPECT_EQ(stat(state, "user messages"), (ToolStat{0, 500, 0}));
    EXPECT_EQ(stat(state, "tool:Read"), (ToolStat{1, 500, 51}));
}

TEST(ClaudeAttribution, everyEntryIsRoundedByItselfHalvesUpward) {
    const State state = parsed(ClaudeLog().user("a").user("b").assistant("r1", claudeUsage(1, 0)));
    EXPECT_EQ(stat(state, "user messages"), (ToolStat{0, 2, 0}));
    const State three = parsed(ClaudeLog().user("a").user("b").user("c").assistant("r1", claudeUsage(1, 0)));
    EXPECT_EQ(stat(three, "user messages"), (ToolStat{0, 0, 0}));
}

TEST(ClaudeAttribution, tokensAreMultipliedBeforeTheyAreDivided) {
    const State state = parsed(ClaudeLog().user("a").user(text(97)).assistant("r1", claudeUsage(49, 0)));
    EXPECT_EQ(stat(state, "user messages"), (ToolStat{0, 50, 0})) << "a half and 48 and a half";
}

TEST(ClaudeAttribution, aNegativeHalfIsRoundedAwayFromZeroToo) {
    const State state = parsed(
        ClaudeLog().user("a").user(Json::array({toolResult("?", "b")})).assistant("r1", claudeUsage(-1, 0)));
    EXPECT_EQ(stat(state, "user messages"), (ToolStat{0, -1, 0}));
    EXPECT_EQ(stat(state, "tool:result"), (ToolStat{0, -1, 0}));
}

TEST(ClaudeAttribution, theAssistantsBlocksAreMeasuredByWhatTheySay) {
    const State state = parsed(ClaudeLog().assistant(
        "r1", claudeUsage(100, 40),
        Json::array({textBlock("abc"), Json{{"type", "thinking"}, {"thinking", "de"}, {"text", "other"}},
                     Json{{"type", "text"}, {"thinking", "ghi"}}, Json{{"type", "thinking"}}})));
    std::vector<std::int64_t> sizes;
    for (const auto& entry : state.curAsst)
        sizes.push_back(entry.bytes);
    EXPECT_EQ(sizes, (std::vector<std::int64_t>{3, 2, 8, 8})) << "what is missing measures 8";
}

TEST(ClaudeAttribution, theAssistantsTextCountsNoCall) {
    const State state = parsed(
        ClaudeLog().assistant("r1", claudeUsage(100, 40),
                              Json::array({textBlock("abc"), Json{{"type", "thinking"}, {"thinking", "d"}},
                                           Json{{"type", "image"}}, Json{{"type", 5}, {"text", "no"}}})));
    EXPECT_EQ(stat(state, "assistant output (replayed)"), (ToolStat{0, 100, 40}));
    EXPECT_EQ(session(state).requests[0].dominant, std::nullopt) << "output never dominates";
}

TEST(ClaudeAttribution, tokensAreSharedOutWhenTheNextRequestOpens) {
    ClaudeLog log;
    log.user("ab").assistant("r1", claudeUsage(100, 10), Json::array({textBlock("cd")}));
    State state = parsed(log);
    EXPECT_EQ(state.stats.table(state.names.pool()).size(), 0U);
    EXPECT_EQ(stat(state, "user messages"), (ToolStat{0, 50, 0})) << "as far as known";
    test::feed(state, log.assistant("r1", claudeUsage(0, 0), Json::array({textBlock("efgh")}))
                          .text.substr(state.bytesConsumed));
    EXPECT_EQ(stat(state, "user messages"), (ToolStat{0, 25, 0}));
    test::feed(state, log.assistant("r2", claudeUsage(0, 0)).text.substr(state.bytesConsumed));
    EXPECT_EQ(state.stats.table(state.names.pool()).size(), 2U);
    EXPECT_EQ(stat(state, "assistant output (replayed)"), (ToolStat{0, 75, 10}));
}

TEST(ClaudeAttribution, whatIsReadBetweenTwoRequestsBelongsToTheSecond) {
    const State state = parsed(ClaudeLog()
                                   .assistant("r1", claudeUsage(100, 0), Json::array({toolUse("t1", "Read")}))
                                   .user(Json::array({toolResult("t1", text(60))}))
                                   .assistant("r1", claudeUsage(100, 0), Json::array({toolUse("t2", "Grep")}))
                                   .assistant("r2", claudeUsage(200, 0)));
    EXPECT_EQ(session(state).requests[0].dominant, std::nullopt);
    EXPECT_EQ(session(state).requests[1].dominant, "tool:Read");
    EXPECT_EQ(stat(state, "tool:Read"), (ToolStat{1, 250, 0}));
    EXPECT_EQ(stat(state, "tool:Grep"), (ToolStat{1, 50, 0}));
}

TEST(ClaudeAttribution, anAdditionBelongsToOneRequestAlone) {
    const State state = parsed(ClaudeLog()
                                   .user("abc")
                                   .assistant("r1", claudeUsage(100, 0))
                                   .assistant("r2", claudeUsage(200, 0))
                                   .assistant("r3", claudeUsage(400, 0)));
    EXPECT_EQ(session(state).requests[0].dominant, "user messages");
    EXPECT_EQ(session(state).requests[1].dominant, std::nullopt);
    EXPECT_EQ(session(state).requests[2].dominant, std::nullopt);
    EXPECT_EQ(stat(state, "user messages"), (ToolStat{0, 100, 0}));
}

TEST(ClaudeAttribution, theLargestAdditionDominatesAndTheFirstOfEqualOnes) {
    const State state = parsed(ClaudeLog()
                                   .user(text(5))
                                   .user(Json::array({toolResult("?", text(9))}))
                                   .record("attachment", {{"attachment", text(9)}})
                                   .assistant("r1", claudeUsage(1, 0))
                                   .user("")
                                   .assistant("r2", claudeUsage(1, 0)));
    EXPECT_EQ(session(state).requests[0].dominant, "tool:result");
    EXPECT_EQ(session(state).requests[1].dominant, "user messages") << "of no size, and alone";
}

TEST(ClaudeAttribution, aLaterCallOfTheSameIdRelabelsIt) {
    const State state = parsed(
        ClaudeLog()
            .assistant("r1", claudeUsage(1, 1), Json::array({toolUse("t", "Read"), toolUse("t", "Grep")}))
            .user(Json::array({toolResult("t", "x")}))
            .assistant("r2", claudeUsage(10, 0)));
    EXPECT_EQ(session(state).requests[1].dominant, "tool:Grep");
}

TEST(ClaudeAttribution, aCallWithoutANameOrAnIdStillCounts) {
    // {"a":"..."} of 24 characters
    const Json input = {{"a", text(16)}};
    const State state = parsed(
        ClaudeLog().assistant("r1", claudeUsage(100, 20),
                              Json::array({Json{{"type", "tool_use"}, {"id", 4}},
                                           Json{{"type", "tool_use"}, {"name", "X"}, {"input", input}}})));
    EXPECT_EQ(stat(state, "tool:?"), (ToolStat{1, 25, 5})) << "a missing input measures 8";
    EXPECT_EQ(stat(state, "tool:X"), (ToolStat{1, 75, 15}));
}

TEST(ClaudeAttribution, anMcpToolIsNamedByItsServer) {
    EXPECT_EQ(label("mcp__server__tool"), "mcp:server/tool");
    EXPECT_EQ(label("mcp__server__a__b"), "mcp:server/a__b");
    EXPECT_EQ(label("mcp__x"), "tool:mcp__x");
    EXPECT_EQ(label("mcp__x__"), "mcp:x/");
    EXPECT_EQ(label("mcp____a"), "mcp:/a");
    EXPECT_EQ(label("mcp___x__y"), "mcp:_x/y");
    EXPECT_EQ(label("my_mcp__x__y"), "tool:my_mcp__x__y");
}

TEST(ClaudeAttribution, aBashCommandIsNamedByItsFirstRealStatement) {
    EXPECT_EQ(bash("git push"), "Shell · Git · push");
    EXPECT_EQ(bash("cd src && npm test"), "Shell · Tests");
    EXPECT_EQ(bash("cd\tsrc;\n \t; FOO=1\nBAR=x&& git  status"), bash("git status"));
    EXPECT_EQ(bash("FOO=1 make"), bash("make"));
    EXPECT_EQ(bash("cdrom"), "Shell · Other commands · cdrom");
    EXPECT_EQ(bash("cdx=1"), "tool:Bash");
    EXPECT_EQ(bash("cd src"), "tool:Bash");
    EXPECT_EQ(bash("cd"), "tool:Bash");
    EXPECT_EQ(bash(""), "tool:Bash");
    EXPECT_EQ(bash(" ;; && \n"), "tool:Bash");
    EXPECT_EQ(bash("echo \"a;b\" && git push"), bash("echo \"a"));
    EXPECT_EQ(bash("A=b c; git push"), bash("A=b c"));
    EXPECT_EQ(bash("cat x | wc || ls"), bash("cat x"));
    EXPECT_EQ(bash("cd a&&&git push"), bash("git push")) << "the third & separates nothing";
    EXPECT_EQ(bash("cd a\r\ngit push"), "Shell · Git · push");
}

TEST(ClaudeAttribution, whatHoldsNoCommandIsThePlainTool) {
    EXPECT_EQ(label("Bash"), "tool:Bash");
    EXPECT_EQ(label("Bash", Json::object()), "tool:Bash");
    EXPECT_EQ(label("Bash", {{"command", 5}}), "tool:Bash");
    EXPECT_EQ(label("bash", {{"command", "git push"}}), "tool:bash");
    EXPECT_EQ(label("Read", {{"command", "git push"}}), "tool:Read");
    EXPECT_EQ(label("?"), "tool:?");
}

TEST(ClaudeAttribution, everyChainHasItsOwnEyeOnTheCache) {
    const auto side = [](std::string_view agent) { return Json{{"isSidechain", true}, {"agentId", agent}}; };
    const State state = parsed(ClaudeLog()
                                   .assistant("m1", claudeUsage(0, 1, 9'000))
                                   .assistant("a1", claudeUsage(5'000, 1), Json::array(), side("a"))
                                   .assistant("m2", claudeUsage(0, 1, 9'500))
                                   .assistant("a2", claudeUsage(0, 1, 5'000), Json::array(), side("a"))
                                   .assistant("b1", claudeUsage(6'000, 1), Json::array(), side("b"))
                                   .assistant("m3", claudeUsage(9'600, 1)));
    EXPECT_EQ(state.insights.cacheBreaks, 1);
    EXPECT_EQ(state.insights.rebuiltTokens, 9'600);
    EXPECT_EQ(state.insights.startupInput, 9'000) << "of the first request, whichever its chain";
    EXPECT_EQ(state.insights.peakInput, 9'600);
    std::vector<std::string> chains;
    for (const auto& [chain, tracker] : state.trackers)
        chains.push_back(chain);
    EXPECT_EQ(chains, (std::vector<std::string>{"main", "side:a", "side:b"}));
}

TEST(ClaudeAttribution, aSideChainWhoseAgentHasNoNameIsOneChain) {
    const Json numbered = {{"isSidechain", true}, {"agentId", 7}}, nameless = {{"isSidechain", true}};
    const State state = parsed(ClaudeLog()
                                   .assistant("a1", claudeUsage(0, 1, 9'000), Json::array(), numbered)
                                   .assistant("a2", claudeUsage(9'000, 1), Json::array(), nameless));
    ASSERT_EQ(state.trackers.size(), 1U);
    EXPECT_EQ(state.trackers.begin()->first, "side:");
    EXPECT_EQ(state.insights.cacheBreaks, 1);
}

/// Why the cache was lost, where a request without any cached input follows `log`.
Reasons reasonsAfter(ClaudeLog log, const Json& more = Json::object()) {
    return parsed(log.assistant("last", claudeUsage(8'000, 1), Json::array(), more)).insights.breakReasons;
}

TEST(ClaudeAttribution, theEyeOnTheCacheSeesTheTimeOfARequest) {
    ClaudeLog log;
    log.assistant("m1", claudeUsage(0, 1, 9'000), Json::array(), {{"timestamp", "2026-03-01T10:00:00Z"}});
    EXPECT_EQ(reasonsAfter(log, {{"timestamp", "2026-03-01T10:05:00Z"}}), (Reasons{{"idle", 1}}));
    EXPECT_EQ(reasonsAfter(log, {{"timestamp", "2026-03-01T10:04:59Z"}}), (Reasons{{"context changed", 1}}));
    EXPECT_EQ(reasonsAfter(log, {{"timestamp", "later"}}), (Reasons{{"context changed", 1}}));
}

TEST(ClaudeAttribution, theEyeOnTheCacheSeesTheModelOfARequestUnlessItIsSynthetic) {
    ClaudeLog log;
    log.model("one").assistant("m1", claudeUsage(0, 1, 9'000));
    EXPECT_EQ(reasonsAfter(ClaudeLog(log).model("two")), (Reasons{{"model switch", 1}}));
    EXPECT_EQ(reasonsAfter(ClaudeLog(log).model("<synthetic>")), (Reasons{{"context changed", 1}}));
    log.model("<synthetic>").assistant("m2", claudeUsage(0, 1, 9'000));
    EXPECT_EQ(reasonsAfter(ClaudeLog(log).model("one")), (Reasons{{"context changed", 1}}));
    EXPECT_EQ(reasonsAfter(ClaudeLog(log).model("two")), (Reasons{{"model switch", 1}}));
}

TEST(ClaudeAttribution, onlyASystemRecordOfItsSubtypeIsACompaction) {
    ClaudeLog log;
    log.assistant("m1", claudeUsage(0, 1, 9'000));
    const Json subtype = {{"subtype", "compact_boundary"}};
    EXPECT_EQ(reasonsAfter(ClaudeLog(log).record("system", subtype)), (Reasons{{"compaction", 1}}));
    for (const Json& other : {Json{{"subtype", "other"}}, Json{{"subtype", 5}}, Json::object()})
        EXPECT_EQ(reasonsAfter(ClaudeLog(log).record("system", other)), (Reasons{{"context changed", 1}}));
    for (const char* type : {"user", "assistant", "attachment", "summary"})
        EXPECT_EQ(reasonsAfter(ClaudeLog(log).record(type, subtype)), (Reasons{{"context changed", 1}}))
            << type;
}

TEST(ClaudeAttribution, aCompactionBelongsToItsChain) {
    const Json side = {{"isSidechain", true}};
    const State main = parsed(ClaudeLog()
                                  .assistant("m1", claudeUsage(0, 1, 9'000))
                                  .compaction()
                                  .assistant("m2", claudeUsage(8'000, 1)));
    EXPECT_EQ(main.insights.breakReasons, (Reasons{{"compaction", 1}}));
    EXPECT_EQ(main.insights.cacheBreaks, 0);
    const State other = parsed(ClaudeLog()
                                   .assistant("m1", claudeUsage(0, 1, 9'000))
                                   .compaction(side)
                                   .assistant("m2", claudeUsage(8'000, 1)));
    EXPECT_EQ(other.insights.breakReasons, (Reasons{{"context changed", 1}}));
    EXPECT_TRUE(other.trackers.at("side:").pendingCompaction);
}

}  // namespace
}  // namespace ledgerfern
