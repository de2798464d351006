#include <gtest/gtest.h>

#include <random>

#include "ClaudeLog.h"

namespace ledgerfern {
namespace {

using ClaudeCodeParser::State;
using test::ClaudeLog;
using test::claudeUsage;
using test::feed;
using test::Json;
using test::session;
using test::textBlock;
using test::toolResult;
using test::toolUse;

/// A log with something of everything, some of it broken, in several scripts, with both kinds of line end.
std::string fixture() {
    const Json side = {{"isSidechain", true}, {"agentId", "a"}};
    ClaudeLog log;
    log.user("<tag>", {{"cwd", 5}, {"sessionId", "s"}})
        .user("Grüße \U0001F468\u200D\U0001F469 \u4F60\u597D", {{"cwd", "/home/ada/äpp"}})
        .assistant("r1", claudeUsage(10, 5, 9'000), Json::array({textBlock("Gut \u2713")}))
        .assistant("r1", claudeUsage(10, 90, 9'000),
                   Json::array({toolUse("t1", "Bash", {{"command", "cd ä && git push"}})}));
    log.text.insert(log.text.size() - 1, "\r");
    log.raw("{\"cwd\":\"broken\r")
        .raw("\r")
        .raw("")
        .user(Json::array({toolResult("t1", "done \U0001F600"), textBlock("and more")}))
        .record("attachment", {{"attachment", {{"a", Json::array({1, 2.5})}}}})
        .assistant("a1", claudeUsage(5'000, 7), Json::array(), side)
        .compaction();
    log.text.insert(log.text.size() - 1, "\r");
    log.model("other")
        .assistant("r2", claudeUsage(9'500, 50), Json::array({toolUse("t2", "mcp__db__query", {{"q", "x"}})}))
        .assistant("r1", claudeUsage(1, 1), Json::array({textBlock("late")}))
        .record("assistant", {{"message", {{"content", "no usage"}}}})
        .raw("no json, no marker")
        .raw(R"({"cwd":"/z","cut":"\ud83d","timestamp":"2026-03-01T09:00:00Z"})")
        .user(Json::array({toolResult("t2", std::string(40, 'r'))}));
    return log.text + R"({"cwd":"/z","type":"user","message":{"content":"unfinished"}})";
}

/// Reads that hold all of it, and no more room than that.
constexpr std::size_t oneRead = 1 << 13;

State parsedText(std::string_view text) {
    State state;
    feed(state, text, oneRead);
    return state;
}

using Entries = std::vector<std::pair<std::string, std::int64_t>>;

Entries named(const State& state, const std::vector<ClaudeCodeParser::ContextEntry>& entries) {
    Entries result;
    for (const auto& entry : entries)
        result.emplace_back(state.names[entry.label], entry.bytes);
    return result;
}

/// What must be the same however the bytes arrived, and wherever between them lines were finished.
void expectSameContent(const State& a, const State& b) {
    EXPECT_EQ(session(a), session(b));
    EXPECT_EQ(a.sessionId, b.sessionId);
    EXPECT_EQ(a.malformedLines, b.malformedLines);
    EXPECT_EQ(a.assistantWithoutUsage, b.assistantWithoutUsage);
    EXPECT_EQ(a.assistantRecords, b.assistantRecords);
    EXPECT_EQ(a.sidechainRecords, b.sidechainRecords);
    EXPECT_EQ(a.sawMainChain, b.sawMainChain);
    EXPECT_EQ(a.pendingPartial, b.pendingPartial);
    EXPECT_EQ(a.pendingIdx, b.pendingIdx);
    EXPECT_EQ(named(a, a.curAdds), named(b, b.curAdds));
    EXPECT_EQ(named(a, a.curAsst), named(b, b.curAsst));
    EXPECT_EQ(named(a, a.nextAdds), named(b, b.nextAdds));
    EXPECT_EQ(a.trackers, b.trackers);
}

void expectSame(const State& a, const State& b, const std::string& how) {
    SCOPED_TRACE(how);
    expectSameContent(a, b);
    EXPECT_EQ(a.bytesConsumed, b.bytesConsumed);
}

TEST(ClaudeSplit, theWholeHasSomethingOfEverything) {
    const State whole = parsedText(fixture());
    EXPECT_LT(whole.bytesConsumed, oneRead);
    EXPECT_EQ(whole.requests.size(), 3U);
    EXPECT_EQ(whole.malformedLines, 1);
    EXPECT_EQ(whole.assistantWithoutUsage, 1);
    EXPECT_EQ(whole.trackers.size(), 2U);
    EXPECT_EQ(whole.insights.breakReasons.size(), 1U);
    EXPECT_EQ(whole.sessionId, "s");
    EXPECT_EQ(whole.project, "äpp");
    EXPECT_FALSE(whole.pendingPartial.empty());
    EXPECT_EQ(test::labels(whole),
              (std::vector<std::string>{"Shell · Git · push", "assistant output (replayed)", "attachments",
                                        "mcp:db/query", "user messages"}));
}

TEST(ClaudeSplit, everySizeOfReadGivesTheStateOfOneRead) {
    const std::string text = fixture();
    const State whole = parsedText(text);
    for (std::size_t size = 1; size <= text.size() + 1; size += size < 200 ? 1 : 37) {
        State state;
        feed(state, text, size);
        expectSame(state, whole, "reads of " + std::to_string(size));
    }
}

TEST(ClaudeSplit, everyPrefixAndItsRestGiveTheStateOfTheWhole) {
    const std::string text = fixture();
    const State whole = parsedText(text);
    for (std::size_t cut = 0; cut <= text.size(); ++cut) {
        State state = parsedText(text.substr(0, cut));
        session(state);  // leaves it as it is
        feed(state, text.substr(cut), oneRead);
        expectSame(state, whole, "cut at " + std::to_string(cut));
    }
}

TEST(ClaudeSplit, randomCutsAndReadsGiveTheStateOfTheWhole) {
    const std::string text = fixture();
    const State whole = parsedText(text);
    std::mt19937 random(7);
    for (int round = 0; round < 500; ++round) {
        State state;
        std::string_view rest = text;
        while (!rest.empty()) {
            const std::size_t step = std::min<std::size_t>(rest.size(), random() % 400);
            feed(state, rest.substr(0, step), 1 + random() % 100);
            rest.remove_prefix(step);
        }
        expectSame(state, whole, "round " + std::to_string(round));
    }
}

TEST(ClaudeSplit, everyPrefixCanBeFinishedAndGoesOnAsAfterALineFeed) {
    const std::string text = fixture();
    for (std::size_t cut = 0; cut <= text.size(); ++cut) {
        SCOPED_TRACE("cut at " + std::to_string(cut));
        const std::string head = text.substr(0, cut);
        State state = parsedText(head);
        ClaudeCodeParser::finishEOF(state);
        EXPECT_TRUE(state.pendingPartial.empty());
        EXPECT_EQ(state.bytesConsumed, cut);
        expectSameContent(state, parsedText(head + "\n"));
        feed(state, text.substr(cut), oneRead);
        expectSameContent(state, parsedText(head + "\n" + text.substr(cut)));
        EXPECT_EQ(state.bytesConsumed, text.size());
    }
}

TEST(ClaudeSplit, aFinishedWholeLineCountsOnce) {
    std::string text = ClaudeLog().assistant("r1", claudeUsage(100, 1)).text;
    text.pop_back();
    State state = parsedText(text);
    ClaudeCodeParser::finishEOF(state);
    EXPECT_EQ(state.requests.size(), 1U);
    feed(state, "\n" + ClaudeLog().assistant("r2", claudeUsage(70, 1)).text);
    EXPECT_EQ(state.requests.size(), 2U);
    EXPECT_EQ(state.totals.inputTokens, 170);
    EXPECT_EQ(state.malformedLines, 0);
}

TEST(ClaudeSplit, theHalvesOfALineThatWasFinishedTooEarlyAreMalformed) {
    const std::string text = ClaudeLog().assistant("r1", claudeUsage(100, 1)).text;
    const std::size_t middle = text.find("\"input_tokens\"");
    ASSERT_LT(text.find("\"cwd\""), middle);
    State state = parsedText(text.substr(0, middle));
    ClaudeCodeParser::finishEOF(state);
    EXPECT_EQ(state.malformedLines, 1);
    State withoutMarker = state;
    feed(state, text.substr(middle));
    EXPECT_EQ(state.malformedLines, 2);
    EXPECT_TRUE(state.requests.empty()) << "the request is lost";
    feed(withoutMarker, text.substr(text.find("\"output_tokens\"")));
    EXPECT_EQ(withoutMarker.malformedLines, 1) << "the rest has no marker";
}

TEST(ClaudeSplit, whatStraddlesAFullBlockComesOutWhole) {
    const std::size_t blockSize = ReadScratch::defaultBlockSize;
    ClaudeLog tail;
    tail.user("Grüße").assistant("r1", claudeUsage(100, 1));
    tail.text.insert(tail.text.size() - 1, "\r");
    tail.assistant("r2", claudeUsage(50, 1));
    const std::size_t firstEnd = tail.text.find('\n');
    const std::size_t letter = tail.text.find("ü");
    const std::size_t lineEnd = tail.text.find("\r\n");
    // How much of the tail still lies in the first block.
    for (const std::size_t before :
         {std::size_t{0}, std::size_t{1}, letter, letter + 1, letter + 2, firstEnd, firstEnd + 1,
          firstEnd + 2, lineEnd, lineEnd + 1, lineEnd + 2, tail.text.size()}) {
        State state;
        feed(state, std::string(blockSize - before - 1, 'x') + "\n" + tail.text, blockSize);
        ASSERT_EQ(state.requests.size(), 2U) << before;
        EXPECT_EQ(state.totals.inputTokens, 150);
        EXPECT_EQ(state.firstUserMessage, "Grüße");
        EXPECT_EQ(state.malformedLines, 0);
    }
}

}  // namespace
}  // namespace ledgerfern
