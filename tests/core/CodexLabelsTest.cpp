#include <gtest/gtest.h>

#include "CodexLog.h"

namespace ledgerfern {
namespace {

using test::CodexLog;
using test::feed;
using test::Json;
using test::labels;
using test::parsed;
using test::stat;
using test::usage;

using Labels = std::vector<std::string>;

TEST(CodexLabels, aCallAndItsOutputShareALabel) {
    const auto state =
        parsed(CodexLog().meta().call("c1", "read_file").output("c1", "text").tokens(usage(100, 0, 10)));
    EXPECT_EQ(labels(state), (Labels{"tool:read_file"}));
    EXPECT_EQ(stat(state, "tool:read_file")->calls, 1);
}

TEST(CodexLabels, aShellCommandIsLabelledByItsCategory) {
    const auto state =
        parsed(CodexLog()
                   .meta()
                   .shell("c1", "git push origin main")
                   .output("c1", "done")
                   .call("c2", "shell", {{"cmd", {"npm", "test"}}})
                   .item("custom_tool_call", {{"call_id", "c3"}, {"name", "exec"}, {"input", "cat a"}})
                   .tokens(usage(100, 0, 10)));
    EXPECT_EQ(labels(state),
              (Labels{"Shell · File & text reads · cat", "Shell · Git · push", "Shell · Tests"}));
    EXPECT_EQ(stat(state, "Shell · Git · push")->calls, 1);
}

TEST(CodexLabels, aShellToolWithoutAReadableCommandKeepsItsName) {
    const auto state = parsed(CodexLog()
                                  .meta()
                                  .call("c1", "exec")
                                  .call("c2", "exec_command", {{"command", "ls"}})
                                  .call("c3", "shell")
                                  .tokens(usage(100, 0, 10)));
    EXPECT_EQ(labels(state), (Labels{"exec", "exec_command", "tool:shell"}));
    EXPECT_EQ(stat(state, "exec")->calls, 1);
    EXPECT_EQ(stat(state, "exec_command")->calls, 1);
}

TEST(CodexLabels, aNameThatLooksLikeALabelStandsAsItIs) {
    const auto state = parsed(CodexLog()
                                  .meta()
                                  .call("c1", "exec:special")
                                  .call("c2", "mcp:a/b")
                                  .call("c3", "Shell · Tests")
                                  .call("c4", "exec_commander")
                                  .tokens(usage(100, 0, 10)));
    EXPECT_EQ(labels(state), (Labels{"Shell · Tests", "exec:special", "mcp:a/b", "tool:exec_commander"}));
}

TEST(CodexLabels, theEndOfAnMcpCallNamesItsServerForCallAndOutput) {
    const auto state = parsed(CodexLog()
                                  .meta()
                                  .call("c1", "query")
                                  .output("c1", "rows")
                                  .tokens(usage(100, 0, 10))
                                  .mcpEnd("c1", "database", "query"));
    EXPECT_EQ(labels(state), (Labels{"mcp:database/query"}));
    EXPECT_EQ(stat(state, "mcp:database/query")->calls, 1);
    EXPECT_EQ(test::request(state, 0).dominant, "mcp:database/query");
}

TEST(CodexLabels, anEndThatComesWithALaterUpdateRelabelsNothing) {
    auto state = parsed(CodexLog().meta().call("c1", "query").tokens(usage(100, 0, 10)).call("c2", "query"));
    feed(state, CodexLog()
                    .mcpEnd("c1", "database", "query")
                    .mcpEnd("c2", "database", "query")
                    .output("c1", "rows")
                    .tokens(usage(300, 0, 30))
                    .text);
    EXPECT_EQ(labels(state), (Labels{"mcp:database/query", "tool:query"}));
    EXPECT_EQ(stat(state, "tool:query")->calls, 2)
        << "the second call was applied before, though not yet attributed";
    EXPECT_EQ(stat(state, "mcp:database/query")->calls, 0);
}

TEST(CodexLabels, anEndOverwritesAndTheFirstCallStands) {
    const auto state = parsed(CodexLog()
                                  .meta()
                                  .call("c1", "first")
                                  .call("c1", "second")
                                  .mcpEnd("c2", "a", "one")
                                  .mcpEnd("c2", "b", "two")
                                  .call("c2", "third")
                                  .tokens(usage(100, 0, 10)));
    EXPECT_EQ(labels(state), (Labels{"mcp:b/two", "tool:first"}));
    EXPECT_EQ(stat(state, "tool:first")->calls, 2);
}

TEST(CodexLabels, anEndWithoutNamesHasQuestionMarks) {
    const auto state = parsed(CodexLog()
                                  .meta()
                                  .call("c1", "x")
                                  .event("mcp_tool_call_end", {{"call_id", "c1"}})
                                  .call("c2", "x")
                                  .record("anything", {{"type", "mcp_tool_call_end"},
                                                       {"call_id", "c2"},
                                                       {"invocation", {{"server", 1}, {"tool", "t"}}}})
                                  .tokens(usage(100, 0, 10)));
    EXPECT_EQ(labels(state), (Labels{"mcp:?/?", "mcp:?/t"}));
}

TEST(CodexLabels, withoutAnIdACallIsKnownByItsNameAndAnOutputByNone) {
    const auto state =
        parsed(CodexLog()
                   .meta()
                   .item("function_call", {{"name", "exec"}, {"arguments", "{\"cmd\":\"ls\"}"}})
                   .item("function_call", {{"name", 5}})
                   .item("function_call_output", {{"output", "text"}})
                   .output("never called", "text")
                   .tokens(usage(100, 0, 10)));
    EXPECT_EQ(labels(state), (Labels{"tool:?", "tool:exec", "tool:result"}));
}

TEST(CodexLabels, customToolsHaveOutputsToo) {
    const auto state = parsed(CodexLog()
                                  .meta()
                                  .item("custom_tool_call", {{"call_id", "c1"}, {"name", "apply_patch"}})
                                  .item("custom_tool_call_output", {{"call_id", "c1"}, {"output", "four"}})
                                  .tokens(usage(100, 0, 10)));
    EXPECT_EQ(labels(state), (Labels{"tool:apply_patch"}));
    EXPECT_EQ(test::request(state, 0).dominant, "tool:apply_patch");
}

TEST(CodexLabels, anEndWithoutAnIdNamesNothing) {
    const auto state =
        parsed(CodexLog()
                   .meta()
                   .call("", "grep")
                   .event("mcp_tool_call_end", {{"call_id", 5}, {"invocation", {{"server", "s"}}}})
                   .event("mcp_tool_call_end", {{"invocation", {{"server", "s"}}}, {"call_id", nullptr}})
                   .tokens(usage(100, 0, 10)));
    EXPECT_EQ(labels(state), (Labels{"tool:grep"}));
}

TEST(CodexLabels, aCallWithAnIdAndWithoutANameIsAQuestionMark) {
    const auto state = parsed(CodexLog()
                                  .meta()
                                  .item("function_call", {{"call_id", "c1"}})
                                  .output("c1", "x")
                                  .tokens(usage(100, 0, 10)));
    EXPECT_EQ(labels(state), (Labels{"tool:?"}));
}

TEST(CodexLabels, anEmptyIdIsAnId) {
    const auto state = parsed(CodexLog().meta().call("", "grep").output("", "x").tokens(usage(100, 0, 10)));
    EXPECT_EQ(labels(state), (Labels{"tool:grep"}));
}

TEST(CodexLabels, searchesAndLocalShellsHaveFixedLabels) {
    const auto state = parsed(CodexLog()
                                  .meta()
                                  .item("web_search_call")
                                  .item("tool_search_call")
                                  .item("local_shell_call", {{"call_id", "c1"}})
                                  .tokens(usage(100, 0, 10)));
    EXPECT_EQ(labels(state), (Labels{"tool:shell", "tool:web_search"}));
    EXPECT_EQ(stat(state, "tool:web_search")->calls, 2);
}

TEST(CodexLabels, theLabelStepHasItsOwnMarkers) {
    // The key is spelled with an escape, so the bytes of the label marker aren't in the line, though it is
    // applied.
    const auto state = parsed(
        CodexLog()
            .meta()
            .raw(
                R"({"type":"response_item","payload":{"type":"function_call","name":"shell","call\u005fid":"c1","arguments":"{\"cmd\":\"ls\"}"}})")
            .output("c1", "x")
            .tokens(usage(100, 0, 10)));
    EXPECT_EQ(labels(state), (Labels{"tool:result", "tool:shell"}));
}

TEST(CodexLabels, aMarkerInsideAStringCountsAsOne) {
    const auto state = parsed(
        CodexLog()
            .meta()
            .raw(
                R"({"type":"response_item","payload":{"type":"function_call","name":"exec_command","call\u005fid":"c1","arguments":"{\"cmd\":\"ls\"}"},"about":["call_id"]})")
            .tokens(usage(100, 0, 10)));
    EXPECT_EQ(labels(state), (Labels{"Shell · File & text reads · ls"}));
}

TEST(CodexLabels, aLineMayHaveASayOnLabelsWithoutBeingApplied) {
    const auto state = parsed(
        CodexLog()
            .meta()
            .call("c1", "query")
            .raw(
                R"({"timestamp":"2027-01-01T00:00:00Z","type":"note","payload":{"type":"mcp_tool_call_end","call_id":"c1","invocation":{"server":"s","tool":"t"}}})")
            .raw(
                R"({"type":"response\u005fitem","payload":{"type":"function_call","name":"grep","call_id":"c2"}})")
            .output("c2", "x")
            .tokens(usage(100, 0, 10)));
    EXPECT_EQ(labels(state), (Labels{"mcp:s/t", "tool:grep"}));
    EXPECT_EQ(state.responseItems, 2);
    EXPECT_LT(*state.lastTs, 1780000000.0);
    EXPECT_EQ(stat(state, "tool:grep")->calls, 0);
}

TEST(CodexLabels, aBrokenLineWithALabelMarkerIsPassedOver) {
    const auto state = parsed(CodexLog().meta().raw("{\"call_id\": nonsense").raw("[\"mcp_tool_call_end\"]"));
    EXPECT_EQ(state.malformedLines, 0);
}

TEST(CodexLabels, aLineCutByTwoUpdatesMissesTheLabelStep) {
    const std::string head = CodexLog().meta().text;
    const std::string call = CodexLog().shell("c1", "git push").text;
    const std::string rest = CodexLog().output("c1", "x").tokens(usage(100, 0, 10)).text;
    for (std::size_t cut = 1; cut < call.size(); ++cut) {
        auto state = parsed(head + call.substr(0, cut));
        feed(state, call.substr(cut) + rest);
        EXPECT_EQ(labels(state), (Labels{"tool:exec_command", "tool:result"})) << "cut at " << cut;
        EXPECT_EQ(stat(state, "tool:exec_command")->calls, 1);
    }
}

TEST(CodexLabels, aLineCutBeforeItsFirstBracketIsWholeToTheLabelStep) {
    // What the second update adds is valid by itself, and that is all that the label step looks at.
    auto state = parsed(CodexLog().meta().text + "  ");
    feed(state, CodexLog().shell("c1", "git push").output("c1", "x").tokens(usage(100, 0, 10)).text);
    EXPECT_EQ(labels(state), (Labels{"Shell · Git · push"}));
}

TEST(CodexLabels, finishingAsksTheLastLineForLabelsAndMendsItsText) {
    CodexLog log;
    log.meta().call("c1", "query").mcpEnd("c1", "s", "t");
    log.text.pop_back();
    auto state = parsed(log);
    RolloutParser::finishEOF(state);
    feed(state, CodexLog().output("c1", "x").tokens(usage(100, 0, 10)).text);
    EXPECT_EQ(labels(state), (Labels{"mcp:s/t", "tool:query"}));

    state = parsed(CodexLog().meta().text +
                   "{\"type\":\"response_item\",\"payload\":{\"type\":\"function_call\",\"name\":\"grep\","
                   "\"call_id\":\"c1\",\"x\":\"\xFF\"}}");
    RolloutParser::finishEOF(state);
    EXPECT_EQ(state.malformedLines, 1) << "as it was, the line is malformed";
    feed(state, CodexLog().output("c1", "x").tokens(usage(100, 0, 10)).text);
    EXPECT_EQ(labels(state), (Labels{"tool:grep"}));
}

TEST(CodexLabels, onlyAssistantItemsWithAToolLabelCountAsCalls) {
    const auto state = parsed(CodexLog()
                                  .meta()
                                  .message("user", "u")
                                  .message("assistant", "a")
                                  .call("c1", "grep")
                                  .output("c1", "x")
                                  .tokens(usage(100, 0, 10)));
    EXPECT_EQ(stat(state, "user messages")->calls, 0);
    EXPECT_EQ(stat(state, "assistant output (replayed)")->calls, 0);
    EXPECT_EQ(stat(state, "tool:grep")->calls, 1);
}

TEST(CodexLabels, toolLabelsAreKnownByTheirBeginning) {
    for (const auto label : {"tool:x", "mcp:a/b", "exec:x", "Shell · x", "exec", "exec_command", "tool:"})
        EXPECT_TRUE(RolloutParser::isToolLabel(label)) << label;
    for (const auto label : {"user messages", "assistant output (replayed)", "executive", "Shell - x", ""})
        EXPECT_FALSE(RolloutParser::isToolLabel(label)) << label;
}

}  // namespace
}  // namespace ledgerfern
