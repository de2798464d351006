#include <gtest/gtest.h>

#include <random>

#include "CodexLog.h"

namespace ledgerfern {
namespace {

using test::CodexLog;
using test::feed;
using test::Json;
using test::parsed;
using test::session;
using test::usage;

/// A log with something of everything, some of it broken, in several scripts, with both kinds of line end.
std::string fixture() {
    CodexLog log;
    log.meta("/home/ada/äpp", {{"originator", "codex"}, {"source", {{"subagent", {{"other", "guardian"}}}}}})
        .model("gpt-5")
        .message("user", "Grüße \U0001F468\u200D\U0001F469 \u4F60\u597D")
        .shell("c1", "git push")
        .output("c1", Json::array({{{"text", "done \u2713"}}}))
        .tokens(usage(5'000, 100, 50), usage(5'000, 100, 50),
                Json{{"primary", {{"used_percent", 12.5}, {"resets_at", 1772900000}}}})
        .raw("{\"type\":\"event_msg\",\"broken\r")
        .raw("\r")
        .raw("")
        .call("c2", "query", {{"q", "select \"x\""}})
        .mcpEnd("c2", "db", "query")
        .output("c2", std::string(40, 'r'))
        .event("context_compacted")
        .tokens(usage(12'000, 200, 90));
    log.text.insert(log.text.size() - 1, "\r");
    log.meta("/home/ada/other")
        .item("reasoning", {{"encrypted_content", "QUJD"}})
        .record("compacted", Json::object())
        .raw("no json, no marker")
        .raw(
            R"({"type":"event_msg","cut":"\ud83d","payload":{"type":"token_count","info":{"total_token_usage":{"input_tokens":7}}}})");
    return log.text + "{\"type\":\"event_msg\",\"unfinished";
}

/// What must be the same however the bytes arrived.
void expectSameButLabels(const ParseState& a, const ParseState& b, const std::string& how) {
    SCOPED_TRACE(how);
    const SessionResult ra = session(a), rb = session(b);
    EXPECT_EQ(ra.cwd, rb.cwd);
    EXPECT_EQ(ra.source, rb.source);
    EXPECT_EQ(ra.model, rb.model);
    EXPECT_EQ(ra.firstMessage, rb.firstMessage);
    EXPECT_EQ(ra.started, rb.started);
    EXPECT_EQ(ra.lastTs, rb.lastTs);
    EXPECT_EQ(ra.totals, rb.totals);
    EXPECT_EQ(ra.rateLimit, rb.rateLimit);
    EXPECT_EQ(ra.rlDaily, rb.rlDaily);
    EXPECT_EQ(ra.insights, rb.insights);
    ASSERT_EQ(ra.requests.size(), rb.requests.size());
    for (std::size_t i = 0; i < ra.requests.size(); ++i) {
        EXPECT_EQ(ra.requests[i].ts, rb.requests[i].ts);
        EXPECT_EQ(ra.requests[i].d, rb.requests[i].d);
        EXPECT_EQ(ra.requests[i].model, rb.requests[i].model);
        EXPECT_EQ(ra.requests[i].dominant.has_value(), rb.requests[i].dominant.has_value());
    }
    ToolStat sumA, sumB;
    for (const auto& [label, stat] : ra.tools)
        sumA.add(stat);
    for (const auto& [label, stat] : rb.tools)
        sumB.add(stat);
    EXPECT_EQ(sumA, sumB);
    EXPECT_EQ(a.malformedLines, b.malformedLines);
    EXPECT_EQ(a.responseItems, b.responseItems);
    EXPECT_EQ(a.compactions, b.compactions);
    EXPECT_EQ(a.pendingPartial, b.pendingPartial);
    EXPECT_EQ(a.bytesConsumed, b.bytesConsumed);
    EXPECT_EQ(a.window.size(), b.window.size());
    EXPECT_EQ(a.tcLog.size(), b.tcLog.size());
}

void expectSame(const ParseState& a, const ParseState& b, const std::string& how) {
    expectSameButLabels(a, b, how);
    EXPECT_EQ(session(a), session(b)) << how;
}

TEST(CodexSplit, everySizeOfReadGivesTheStateOfOneRead) {
    const std::string text = fixture();
    const ParseState whole = parsed(text);
    ASSERT_EQ(whole.requests.size(), 3U);
    ASSERT_EQ(whole.malformedLines, 1);
    for (std::size_t size = 1; size <= text.size() + 1; size += size < 200 ? 1 : 37) {
        ParseState state;
        feed(state, text, size);
        expectSame(state, whole, "reads of " + std::to_string(size));
    }
}

TEST(CodexSplit, everyPrefixAndItsRestGiveTheStateOfTheWholeButForLabels) {
    const std::string text = fixture();
    const ParseState whole = parsed(text);
    for (std::size_t cut = 0; cut <= text.size(); ++cut) {
        ParseState state = parsed(text.substr(0, cut));
        feed(state, text.substr(cut));
        expectSameButLabels(state, whole, "cut at " + std::to_string(cut));
    }
}

TEST(CodexSplit, aCutBetweenLinesChangesNoLabelThatNoLaterLineTouches) {
    CodexLog log;
    log.meta()
        .shell("c1", "git push")
        .output("c1", "x")
        .tokens(usage(10, 0, 1))
        .call("c2", "grep")
        .tokens(usage(30, 0, 2));
    const ParseState whole = parsed(log);
    for (std::size_t cut = 0; cut <= log.text.size(); ++cut) {
        if (cut != 0 && log.text[cut - 1] != '\n') continue;
        ParseState state = parsed(log.text.substr(0, cut));
        feed(state, log.text.substr(cut));
        expectSame(state, whole, "cut at " + std::to_string(cut));
    }
}

TEST(CodexSplit, randomCutsAndReadsGiveTheStateOfTheWholeButForLabels) {
    const std::string text = fixture();
    const ParseState whole = parsed(text);
    std::mt19937 random(7);
    for (int round = 0; round < 1'000; ++round) {
        ParseState state;
        std::string_view rest = text;
        while (!rest.empty()) {
            const std::size_t step = std::min<std::size_t>(rest.size(), random() % 400);
            feed(state, rest.substr(0, step), 1 + random() % 100);
            rest.remove_prefix(step);
        }
        expectSameButLabels(state, whole, "round " + std::to_string(round));
    }
}

TEST(CodexSplit, everyPrefixCanBeFinished) {
    const std::string text = fixture();
    for (std::size_t cut = 0; cut <= text.size(); ++cut) {
        ParseState state = parsed(text.substr(0, cut));
        const std::int64_t open = session(state).totals.inputTokens;
        const std::size_t requests = state.requests.size();
        RolloutParser::finishEOF(state);
        EXPECT_TRUE(state.pendingPartial.empty());
        EXPECT_EQ(state.segCum, std::nullopt);
        EXPECT_LE(state.requests.size(), requests + 1);
        if (state.requests.size() == requests) {
            EXPECT_EQ(state.totals.inputTokens, open);
        }
    }
}

TEST(CodexSplit, whatStraddlesAFullBlockComesOutWhole) {
    const std::size_t blockSize = ReadScratch::defaultBlockSize;
    CodexLog tail;
    tail.message("user", "Grüße").tokens(usage(100, 0, 10));
    tail.text.insert(tail.text.size() - 1, "\r");
    tail.tokens(usage(150, 0, 20));
    const std::string head = CodexLog().meta().text;
    const std::size_t firstEnd = tail.text.find('\n');
    const std::size_t letter = tail.text.find("ü");
    const std::size_t lineEnd = tail.text.find("\r\n");
    // How much of the tail still lies in the first block.
    for (const std::size_t before :
         {std::size_t{0}, std::size_t{1}, letter, letter + 1, letter + 2, firstEnd, firstEnd + 1,
          firstEnd + 2, lineEnd, lineEnd + 1, lineEnd + 2, tail.text.size()}) {
        const std::size_t filler = blockSize - head.size() - before;
        const std::string text = head + std::string(filler - 1, 'x') + "\n" + tail.text;
        ParseState state;
        feed(state, text, blockSize);
        ASSERT_EQ(state.requests.size(), 2U) << before;
        EXPECT_EQ(session(state).totals.inputTokens, 150);
        EXPECT_EQ(state.firstUserMessage, "Grüße");
        EXPECT_EQ(state.malformedLines, 0);
    }
}

}  // namespace
}  // namespace ledgerfern
