#include "ClaudeCodeParser/ClaudeCodeParser.h"

#include <gtest/gtest.h>

#include "ClaudeLog.h"
#include "TempFolder.h"

namespace ledgerfern {
namespace {

using ClaudeCodeParser::State;
using test::ClaudeLog;
using test::claudeTime;
using test::claudeUsage;
using test::Json;
using test::labels;
using test::parsed;
using test::session;
using test::stat;
using test::textBlock;
using test::toolResult;
using test::toolUse;

UsageTotals deltasOf(const Json& usage) {
    JsonReader reader;
    return ClaudeCodeParser::deltas(asObject(reader.read(usage.dump())).value());
}

TEST(ClaudeCodeParser, anEmptyFileMakesNoSession) {
    const State state;
    EXPECT_FALSE(ClaudeCodeParser::usable(state));
    EXPECT_EQ(state.cwd, "?");
    EXPECT_EQ(state.project, "?");
    EXPECT_FALSE(ClaudeCodeParser::usable(parsed(ClaudeLog())));
}

TEST(ClaudeCodeParser, aSessionNeedsAWorkingDirectoryAndARequest) {
    EXPECT_FALSE(ClaudeCodeParser::usable(parsed(ClaudeLog().user("hello"))));
    const State without = parsed(ClaudeLog().assistant("r1", claudeUsage(1, 1), Json::array(), {{"cwd", 7}}));
    EXPECT_EQ(without.requests.size(), 1U);
    EXPECT_FALSE(ClaudeCodeParser::usable(without));
    EXPECT_TRUE(ClaudeCodeParser::usable(parsed(ClaudeLog().assistant("r1", claudeUsage(1, 1)))));
}

TEST(ClaudeCodeParser, aLineWithoutAMarkerChangesNothing) {
    const State state = parsed(ClaudeLog()
                                   .raw(R"({"type":"user","timestamp":"2026-03-01T12:00:00Z"})")
                                   .raw(R"({"type":"user","message":{"content":"\"cwd x"}})")
                                   .raw("{\"no marker")
                                   .raw(""));
    EXPECT_EQ(state.lastTs, std::nullopt);
    EXPECT_FALSE(state.sawMainChain);
    EXPECT_EQ(state.malformedLines, 0);
}

TEST(ClaudeCodeParser, eachMarkerAloneLetsALinePassWhereverItStands) {
    for (const std::string marker : {"cache_read_input_tokens", "input_tokens", "cwd", "compact_boundary"}) {
        const State state =
            parsed(ClaudeLog().raw(R"({"timestamp":"2026-03-01T12:00:00Z","keys":[")" + marker + R"("]})"));
        EXPECT_EQ(state.lastTs, 1772366400.0) << marker;
    }
}

TEST(ClaudeCodeParser, onlyBrokenLinesWithAMarkerAreMalformed) {
    const State state = parsed(ClaudeLog()
                                   .raw("{\"cwd\":")
                                   .raw("[\"cwd\"]")
                                   .raw("\"cwd\"")
                                   .raw("{\"cwd\":\"/a\"} {}")
                                   .raw("{\"cwd\":\"\xFF\"}")
                                   .raw("{\"other\":"));
    EXPECT_EQ(state.malformedLines, 5);
    EXPECT_FALSE(state.metaSet);
}

TEST(ClaudeCodeParser, theFirstWorkingDirectoryStands) {
    const State state = parsed(ClaudeLog()
                                   .user("a", {{"cwd", "/home/ada/one/"}, {"sessionId", "s1"}})
                                   .user("b", {{"cwd", "/home/ada/two"}, {"sessionId", "s2"}}));
    EXPECT_EQ(state.cwd, "/home/ada/one/");
    EXPECT_EQ(state.project, "one");
    EXPECT_EQ(state.sessionId, "s1");
    EXPECT_EQ(parsed(ClaudeLog().user("a", {{"cwd", ""}})).project, "?");
}

TEST(ClaudeCodeParser, aSessionIdIsTakenUntilTheMetaDataIsComplete) {
    EXPECT_EQ(parsed(ClaudeLog().user("a", {{"cwd", 1}, {"session_id", "early"}}).user("b")).sessionId,
              "early");
    EXPECT_EQ(parsed(ClaudeLog().user("a").user("b", {{"sessionId", "late"}})).sessionId, std::nullopt);
    EXPECT_EQ(parsed(ClaudeLog().user("a", {{"sessionId", 5}, {"session_id", "other"}})).sessionId, "other");
    EXPECT_EQ(parsed(ClaudeLog().user("a", {{"sessionId", "one"}, {"session_id", "two"}})).sessionId, "one");
    EXPECT_EQ(
        parsed(ClaudeLog().user("a", {{"cwd", 1}, {"sessionId", "one"}}).user("b", {{"sessionId", "two"}}))
            .sessionId,
        "one")
        << "the first one stands";
}

TEST(ClaudeCodeParser, theStartIsTheFirstTimestampAndTheEndTheLargest) {
    const State state = parsed(ClaudeLog()
                                   .user("a", {{"timestamp", "never"}})
                                   .user("b", {{"timestamp", "2026-03-01T12:00:00Z"}})
                                   .user("c", {{"timestamp", "2026-03-01T13:00:00Z"}})
                                   .record("summary", {{"timestamp", "2026-03-01T11:00:00Z"}}));
    EXPECT_EQ(state.started, 1772366400.0);
    EXPECT_EQ(state.lastTs, 1772370000.0);
}

TEST(ClaudeCodeParser, aRequestHasTheTimeOfItsLineOrNone) {
    const Json timeless = {{"timestamp", "never"}};
    const State state = parsed(ClaudeLog()
                                   .assistant("r1", claudeUsage(1, 1), Json::array(), timeless)
                                   .assistant("r2", claudeUsage(1, 1))
                                   .assistant("r3", claudeUsage(1, 1), Json::array(), timeless)
                                   .assistant("r4", claudeUsage(1, 1), Json::array(), {{"timestamp", 5}})
                                   .assistant("r5", claudeUsage(1, 1)));
    std::vector<std::optional<Instant>> times;
    for (const auto& request : state.requests.span())
        times.push_back(request.ts());
    EXPECT_EQ(times, (std::vector<std::optional<Instant>>{{}, claudeTime(2), {}, {}, claudeTime(5)}));
    EXPECT_EQ(state.started, claudeTime(2));
    EXPECT_EQ(state.lastTs, claudeTime(5));
}

TEST(ClaudeCodeParser, aRecordWhoseTypeIsNoStringStillTellsOfItsSession) {
    const State state = parsed(ClaudeLog().raw(
        R"({"type":5,"cwd":"/a/b","sessionId":"s","timestamp":"2026-03-01T12:00:00Z","isSidechain":true,)"
        R"("content":"no user's","message":{"content":"nor this"}})"));
    EXPECT_EQ(state.lastTs, 1772366400.0);
    EXPECT_EQ(state.cwd, "/a/b");
    EXPECT_EQ(state.sessionId, "s");
    EXPECT_EQ(state.sidechainRecords, 1);
    EXPECT_FALSE(state.sawMainChain);
    EXPECT_EQ(state.firstUserMessage, std::nullopt);
    EXPECT_TRUE(state.nextAdds.empty());
}

TEST(ClaudeCodeParser, onlyABooleanTrueIsASideChain) {
    const State state = parsed(ClaudeLog()
                                   .user("a", {{"isSidechain", true}})
                                   .user("b", {{"isSidechain", 1}})
                                   .user("c", {{"isSidechain", "true"}})
                                   .user("d", {{"isSidechain", false}})
                                   .record("unknown", {{"isSidechain", true}}));
    EXPECT_EQ(state.sidechainRecords, 2);
    EXPECT_TRUE(state.sawMainChain);
}

TEST(ClaudeCodeParser, theFirstPlainUserTextNamesTheSession) {
    EXPECT_EQ(parsed(ClaudeLog().user("  Fix it ").user("And that")).firstUserMessage, "Fix it");
    EXPECT_EQ(parsed(ClaudeLog().user("<tag>").user(" <x>").user("Now")).firstUserMessage, "Now");
    EXPECT_EQ(parsed(ClaudeLog().user(Json::array({textBlock("One"), textBlock("two")}))).firstUserMessage,
              "One two");
    EXPECT_EQ(parsed(ClaudeLog().record("user", {{"content", "Own"}})).firstUserMessage, "Own");
    EXPECT_EQ(parsed(ClaudeLog().record("user", {{"content", "Own"}, {"message", 4}})).firstUserMessage,
              "Own");
    EXPECT_EQ(parsed(ClaudeLog().record("user", {{"content", "Own"}, {"message", Json::object()}}))
                  .firstUserMessage,
              "Own");
    EXPECT_EQ(parsed(ClaudeLog().user(nullptr, {{"content", "Own"}})).firstUserMessage, std::nullopt)
        << "a null stands";
    EXPECT_EQ(parsed(ClaudeLog().record("assistant", {{"message", {{"content", "Mine"}}}})).firstUserMessage,
              std::nullopt);
}

TEST(ClaudeCodeParser, aRequestIsCountedOnceByItsFirstLine) {
    const State state = parsed(
        ClaudeLog()
            .assistant("r1", claudeUsage(10, 5, 100, 1), Json::array({textBlock("ab")}))
            .assistant("r1", claudeUsage(10, 900, 100, 1), Json::array({toolUse("t1", "Read", {{"p", 1}})})));
    ASSERT_EQ(state.requests.size(), 1U);
    EXPECT_EQ(state.requests[0].d, (UsageTotals{111, 100, 1, 5, 0, 116}));
    EXPECT_EQ(state.totals, state.requests[0].d);
    EXPECT_EQ(state.assistantRecords, 1);
    ASSERT_EQ(state.curAsst.size(), 2U);
    EXPECT_EQ(state.curAsst[0].bytes, 2);
    EXPECT_EQ(state.curAsst[1].bytes, 7) << "the compact text of the input";
}

TEST(ClaudeCodeParser, aRepeatedOlderRequestAddsItsBlocksToTheNewest) {
    const State state = parsed(ClaudeLog()
                                   .assistant("r1", claudeUsage(100, 10))
                                   .assistant("r2", claudeUsage(100, 10), Json::array({textBlock("ab")}))
                                   .assistant("r1", claudeUsage(7, 7), Json::array({textBlock("cd")})));
    EXPECT_EQ(state.requests.size(), 2U);
    EXPECT_EQ(state.curAsst.size(), 2U);
    EXPECT_EQ(stat(state, "assistant output (replayed)"), (ToolStat{0, 100, 10}));
}

TEST(ClaudeCodeParser, aRequestNeedsUsageAndAnId) {
    const Json blocks = Json::array({toolUse("t1", "Read")});
    const State state =
        parsed(ClaudeLog()
                   .record("assistant", {{"message", {{"usage", claudeUsage(5, 5)}, {"content", blocks}}}})
                   .record("assistant", {{"requestId", 4}, {"message", {{"usage", claudeUsage(5, 5)}}}})
                   .record("assistant", {{"requestId", "r"}, {"message", {{"usage", 5}}}})
                   .record("assistant", {{"requestId", "r"}, {"message", "text"}})
                   .record("assistant", {{"requestId", "r"}, {"message", {{"model", "<synthetic>"}}}})
                   .user(Json::array({toolResult("t1", "1234")}))
                   .assistant("r", claudeUsage(100, 0)));
    EXPECT_EQ(state.assistantWithoutUsage, 4);
    EXPECT_EQ(state.requests.size(), 1U);
    EXPECT_EQ(stat(state, "tool:result"), (ToolStat{0, 100, 0})) << "the call was never seen";
}

TEST(ClaudeCodeParser, aSyntheticReplyIsNeverMissed) {
    const Json withUsage = {{"model", "<synthetic>"}, {"usage", claudeUsage(5, 5)}};
    const State state = parsed(ClaudeLog()
                                   .record("assistant", {{"message", withUsage}})
                                   .record("assistant", {{"requestId", 4}, {"message", withUsage}})
                                   .record("assistant", {{"message", {{"model", "<synthetic>"}}}}));
    EXPECT_EQ(state.assistantWithoutUsage, 0);
    EXPECT_TRUE(state.requests.empty());
}

TEST(ClaudeCodeParser, aSyntheticModelIsNone) {
    const State state = parsed(ClaudeLog()
                                   .model("<synthetic>")
                                   .assistant("r1", claudeUsage(1, 1))
                                   .model("first")
                                   .assistant("r2", claudeUsage(1, 1))
                                   .model("second")
                                   .assistant("r3", claudeUsage(1, 1)));
    const SessionResult result = session(state);
    EXPECT_EQ(result.requests[0].model, std::nullopt);
    EXPECT_EQ(result.requests[2].model, "second");
    EXPECT_EQ(result.model, "first") << "the first that is named";
}

TEST(ClaudeCodeParser, aMessageThatIsNoStringNorBlocksGivesNothing) {
    const State state = parsed(ClaudeLog()
                                   .user(Json::array({textBlock("ab"), 5}))
                                   .user(17)
                                   .user(nullptr)
                                   .record("user", {{"content", "only the message's counts"}})
                                   .assistant("r1", claudeUsage(10, 1), Json::array({textBlock("x"), "y"})));
    EXPECT_TRUE(labels(state).empty());
}

TEST(ClaudeCodeParser, blocksOfAUsersMessageAreMeasured) {
    const State state = parsed(
        ClaudeLog()
            .user("\U0001F600b")
            .user(Json::array({textBlock("abcd"), Json{{"type", "text"}, {"text", nullptr}},
                               Json{{"type", "image"}}, toolResult("unknown", Json::array({textBlock("x")})),
                               Json{{"type", "tool_result"}, {"tool_use_id", 4}}}))
            .record("attachment", {{"attachment", {{"a", 1}}}})
            .record("attachment")
            .assistant("r1", claudeUsage(0, 0)));
    std::vector<std::pair<std::string, std::int64_t>> found;
    for (const auto& entry : state.curAdds)
        found.emplace_back(state.names[entry.label], entry.bytes);
    const std::vector<std::pair<std::string, std::int64_t>> expected = {
        {"user messages", 3}, {"user messages", 4}, {"user messages", 4}, {"user messages", 16},
        {"tool:result", 28},  {"tool:result", 8},   {"attachments", 7},   {"attachments", 8}};
    EXPECT_EQ(found, expected);
    EXPECT_TRUE(state.nextAdds.empty());
}

TEST(ClaudeCodeParser, deltasCountTheWholePromptAsInput) {
    EXPECT_EQ(deltasOf(claudeUsage(3, 7, 20, 100)), (UsageTotals{123, 20, 100, 7, 0, 130}));
    EXPECT_EQ(deltasOf(Json::object()), UsageTotals{});
    EXPECT_EQ(deltasOf({{"input_tokens", 2.9}, {"output_tokens", true}, {"cache_read_input_tokens", "5"}}),
              (UsageTotals{2, 0, 0, 1, 0, 3}));
    EXPECT_EQ(deltasOf({{"input_tokens", 1e30}, {"output_tokens", 4}}), (UsageTotals{0, 0, 0, 4, 0, 4}));
    const std::int64_t most = INT64_MAX;
    EXPECT_EQ(deltasOf({{"input_tokens", most}, {"cache_read_input_tokens", 1}, {"output_tokens", 1}}),
              (UsageTotals{most, 1, 0, 1, 0, most}));
}

TEST(ClaudeCodeParser, finalizeTakesOverAllThatTheStateKnows) {
    const State state = parsed(ClaudeLog()
                                   .user("Fix it", {{"sessionId", "s"}})
                                   .assistant("r1", claudeUsage(10, 5), Json::array({textBlock("ab")})));
    const SessionResult result = session(state, "/logs/a.jsonl");
    EXPECT_EQ(result.path, "/logs/a.jsonl");
    EXPECT_EQ(result.tool, ToolKind::claudeCode);
    EXPECT_EQ(result.project, "app");
    EXPECT_EQ(result.cwd, "/home/ada/app");
    EXPECT_EQ(result.originator, "Claude Code");
    EXPECT_EQ(result.source, SourceInfo{});
    EXPECT_EQ(result.model, "claude-opus-4-1");
    EXPECT_EQ(result.firstMessage, "Fix it");
    EXPECT_EQ(result.started, claudeTime(1));
    EXPECT_EQ(result.lastTs, claudeTime(2));
    EXPECT_EQ(result.requests.size(), 1U);
    EXPECT_EQ(result.requests[0].ts, claudeTime(2));
    EXPECT_EQ(result.requests[0].dominant, "user messages");
    EXPECT_EQ(result.totals.totalTokens, 15);
    EXPECT_EQ(result.rateLimit, std::nullopt);
    EXPECT_TRUE(result.rlDaily.empty());
    EXPECT_EQ(result.insights.startupInput, 10);
    EXPECT_EQ(result, session(state, "/logs/a.jsonl")) << "a second time";
    EXPECT_EQ(state.stats.table(state.names.pool()).size(), 0U) << "the state still waits";
}

TEST(ClaudeCodeParser, aSubAgentLiesInItsFolderOrHasNothingButSideChains) {
    const Json side = {{"isSidechain", true}};
    ClaudeLog all;
    all.assistant("r1", claudeUsage(1, 1), Json::array(), side);
    EXPECT_TRUE(session(parsed(all)).source.isSubagent);
    EXPECT_TRUE(session(parsed(ClaudeLog().assistant("r1", claudeUsage(1, 1))), "/p/subagents/x.jsonl")
                    .source.isSubagent);
    EXPECT_FALSE(session(parsed(all.user("main"))).source.isSubagent);
    EXPECT_TRUE(session(parsed(all), "/p/subagents/x.jsonl").source.isSubagent);
    EXPECT_FALSE(
        session(parsed(ClaudeLog().assistant("r1", claudeUsage(1, 1))), "/p/subagents").source.isSubagent);
}

TEST(ClaudeCodeParser, aLastLineWithoutALineFeedWaitsForTheEnd) {
    ClaudeLog log;
    log.assistant("r1", claudeUsage(1, 1)).assistant("r2", claudeUsage(1, 1));
    log.text.pop_back();
    State state = parsed(log);
    EXPECT_EQ(state.requests.size(), 1U);
    EXPECT_EQ(state.bytesConsumed, log.text.size());
    ClaudeCodeParser::finishEOF(state);
    EXPECT_EQ(state.requests.size(), 2U);
    EXPECT_TRUE(state.pendingPartial.empty());
    ClaudeCodeParser::finishEOF(state);
    EXPECT_EQ(state.requests.size(), 2U);
}

TEST(ClaudeCodeParser, applyTakesOneLine) {
    State state;
    ClaudeCodeParser::apply("", state);
    ClaudeCodeParser::apply(R"({"cwd":"/a/b"})", state);
    EXPECT_EQ(state.project, "b");
    EXPECT_TRUE(state.sawMainChain) << "also without a type";
}

TEST(ClaudeCodeParser, aPublishedResultStaysWhileTheStateGoesOn) {
    ClaudeLog log;
    log.user("abc").assistant("r1", claudeUsage(10, 1), Json::array({textBlock("ab")}));
    State state = parsed(log);
    const SessionResult first = session(state);
    const SessionResult again = session(parsed(log));
    test::feed(state, ClaudeLog().user("more").assistant("r2", claudeUsage(90, 1)).text);
    EXPECT_EQ(first, again);
    EXPECT_EQ(session(state).requests.size(), 2U);
    EXPECT_TRUE(session(state).requests.sharesStorageWith(session(state).requests));
}

TEST(ClaudeCodeParser, aFileIsReadFromWhereTheStateStands) {
    const test::TempFolder folder;
    const std::string path = folder.write("a.jsonl", ClaudeLog().assistant("r1", claudeUsage(1, 1)).text);
    State state;
    EXPECT_TRUE(ClaudeCodeParser::updateState(path, state));
    folder.append("a.jsonl", ClaudeLog().assistant("r2", claudeUsage(1, 1)).text);
    EXPECT_TRUE(ClaudeCodeParser::updateState(path, state));
    EXPECT_EQ(state.requests.size(), 2U);
    EXPECT_FALSE(ClaudeCodeParser::updateState(folder / "none.jsonl", state));
    EXPECT_EQ(state.requests.size(), 2U);
}

}  // namespace
}  // namespace ledgerfern
