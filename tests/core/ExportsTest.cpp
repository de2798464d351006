#include "Analytics/Exports.h"

#include <gtest/gtest.h>

#include <limits>
#include <nlohmann/json.hpp>

#include "SessionSamples.h"
#include "ZoneTesting.h"

namespace ledgerfern {
namespace {

using nlohmann::json;

const std::string header =
    "Name,Project,Tool,Model,Requests,Input Tokens,Cached Input,Output Tokens,Reasoning Tokens,Total "
    "Tokens,First Message,Started,Last Active\n";

SessionResult sample() {
    SessionResult result = inLog("/a", session({requestAt(1, 1), requestAt(2, 2)}, "fern"));
    result.totals = {1'000, 800, 7, 60, 50, 1'060};
    result.model = "gpt-5";
    result.firstMessage = "Hello";
    result.started = 1772360430.75;
    result.lastTs = 1772364030;
    return result;
}

std::string csv(const std::vector<SessionResult>& sessions, const SessionCounts& reqs = {}) {
    return CSVExport::sessionsCSV(listOf(sessions), {{"/a", 5}}, reqs, {}, {});
}

json document(const std::vector<SessionResult>& sessions) {
    return json::parse(JSONExport::sessionsJSON(listOf(sessions), true, {}, {}, 1.5));
}

// CSV

TEST(CSVExport, ofNoSessionsIsItsHeadings) {
    EXPECT_EQ(csv({}), header);
    EXPECT_STREQ(CSVExport::defaultFileName, "ledgerfern-sessions.csv");
}

TEST(CSVExportDeathTest, hasALineForASession) {
    expectInZone("Asia/Kathmandu", [] {
        EXPECT_EQ(csv({sample()}),
                  header +
                      "\"Hello\",\"fern\",\"codex\",\"gpt-5\",2,1000,800,60,50,1060,\"Hello\","
                      "\"2026-03-01 16:05\",\"2026-03-01 17:05\"\n");
    });
}

/// The two times at the end of a session's line.
std::string timesOf(Instant started, Instant lastTs) {
    SessionResult result = sample();
    result.started = started;
    result.lastTs = lastTs;
    const std::string text = csv({result}), before = "\"Hello\",";
    return text.substr(text.rfind(before) + before.size());
}

constexpr Instant firstInstant = -62'135'596'800, lastInstant = 253'402'300'799.5;

TEST(CSVExportDeathTest, hasTheFirstAndTheLastTimeOfTheCalendar) {
    expectInZone("UTC0", [] {
        EXPECT_EQ(timesOf(firstInstant, lastInstant), "\"0001-01-01 00:00\",\"9999-12-31 23:59\"\n");
    });
    // Where local time leaves the calendar, it is written all the same.
    expectInZone("<+0545>-5:45", [] {
        EXPECT_EQ(timesOf(firstInstant, lastInstant), "\"0001-01-01 05:45\",\"10000-01-01 05:44\"\n");
    });
    expectInZone("<-05>5", [] {
        EXPECT_EQ(timesOf(firstInstant, lastInstant), "\"0000-12-31 19:00\",\"9999-12-31 18:59\"\n");
    });
}

TEST(CSVExport, leavesEmptyATimeOutsideTheCalendar) {
    EXPECT_EQ(timesOf(firstInstant - 1, lastInstant + 0.5), "\"\",\"\"\n");
    EXPECT_EQ(timesOf(-std::numeric_limits<double>::infinity(), 1e300), "\"\",\"\"\n");
}

TEST(CSVExport, leavesEmptyWhatIsAbsent) {
    SessionResult bare = inLog("/b", session({}, "?"));
    bare.tool = ToolKind::claudeCode;
    EXPECT_EQ(csv({bare}), header + "\"?\",\"?\",\"claude\",\"\",0,0,0,0,0,0,\"\",\"\",\"\"\n");
}

TEST(CSVExport, doublesQuotes) {
    SessionResult quoted = inLog("/b", session({}, "a\"b"));
    EXPECT_EQ(csv({quoted}), header + "\"a\"\"b\",\"a\"\"b\",\"codex\",\"\",0,0,0,0,0,0,\"\",\"\",\"\"\n");
}

TEST(CSVExport, keepsCommasAndLineBreaksInsideQuotes) {
    SessionResult spanning = inLog("/b", session({}));
    spanning.firstMessage = "one, two\nthree\r\n";
    EXPECT_EQ(csv({spanning}), header +
                                   "\"one, two\nthree\r\n\",\"p\",\"codex\",\"\",0,0,0,0,0,0,"
                                   "\"one, two\nthree\r\n\",\"\",\"\"\n");
}

TEST(CSVExport, countsRequestsInScopeAndAllWhereThatIsUnknown) {
    EXPECT_NE(csv({sample()}, {{"/a", 1}}).find("\"gpt-5\",1,1000"), std::string::npos);
    EXPECT_NE(csv({sample()}, {{"/a", 0}}).find("\"gpt-5\",0,1000"), std::string::npos);
    EXPECT_NE(csv({sample()}, {{"/b", 1}}).find("\"gpt-5\",2,1000"), std::string::npos);
}

TEST(CSVExport, putsTheLatestSessionFirst) {
    const auto with = [](const char* project, std::optional<Instant> lastTs) {
        SessionResult result = session({}, project);
        result.lastTs = lastTs;
        return result;
    };
    const std::string text =
        csv({with("e", {}), with("d", -1e10), with("c", {}), with("b", 100), with("a", 200), with("f", 100)});
    std::string order;
    for (std::size_t line = text.find('\n') + 1; line < text.size(); line = text.find('\n', line) + 1)
        order += text[line + 1];
    EXPECT_EQ(order, "abfdec");
}

TEST(CSVExport, namesSessionsAsTheScreensDo) {
    const std::string text =
        CSVExport::sessionsCSV(listOf({sample()}), {}, {}, {{"/a", "id"}}, {{"id", "Named"}});
    EXPECT_EQ(text.substr(header.size(), 16), "\"Named\",\"fern\",\"");
}

TEST(CSVExport, repairsWhatIsNotUtf8) {
    SessionResult bad = inLog("/b", session({}, "a\xFFz"));
    EXPECT_NE(csv({bad}).find("\"a\uFFFDz\",\"a\uFFFDz\",\"codex\""), std::string::npos);
}

// JSON

TEST(JSONExport, ofNoSessionsHasAnEmptyArray) {
    EXPECT_EQ(JSONExport::sessionsJSON({}, false, {}, {}, 1772360430.25),
              "{\n  \"all_time\": false,\n  \"generated_at\": 1772360430.25,\n  \"sessions\": []\n}");
    EXPECT_STREQ(JSONExport::defaultFileName, "ledgerfern-export.json");
}

TEST(JSONExport, isPrettyWithSortedKeys) {
    EXPECT_EQ(JSONExport::sessionsJSON(listOf({sample()}), true, {}, {}, 5), R"({
  "all_time": true,
  "generated_at": 5,
  "sessions": [
    {
      "first_message": "Hello",
      "last_active": 1772364030,
      "model": "gpt-5",
      "name": "Hello",
      "project": "fern",
      "requests": 2,
      "started": 1772360430.75,
      "tool": "codex",
      "totals": {
        "cache_write_input_tokens": 7,
        "cached_input_tokens": 800,
        "input_tokens": 1000,
        "output_tokens": 60,
        "reasoning_output_tokens": 50,
        "total_tokens": 1060
      }
    }
  ]
})");
}

TEST(JSONExport, hasEmptyTextsAndZerosForWhatIsAbsent) {
    SessionResult bare = inLog("/b", session({}, "?"));
    bare.tool = ToolKind::claudeCode;
    const json row = document({bare})["sessions"][0];
    EXPECT_EQ(row["model"], "");
    EXPECT_EQ(row["first_message"], "");
    EXPECT_EQ(row["tool"], "claude");
    EXPECT_EQ(row["requests"], 0);
    EXPECT_TRUE(row["started"].is_number_integer());
    EXPECT_EQ(row["started"], 0);
    EXPECT_EQ(row["last_active"], 0);
}

TEST(JSONExport, keepsTheOrderOfTheRows) {
    SessionResult late = inLog("/b", session({}, "late"));
    late.lastTs = 1e9;
    const json rows = document({inLog("/a", session({}, "early")), late})["sessions"];
    EXPECT_EQ(rows[0]["project"], "early");
    EXPECT_EQ(rows[1]["project"], "late");
}

TEST(JSONExport, namesSessionsAsTheScreensDo) {
    const json rows = json::parse(
        JSONExport::sessionsJSON(listOf({sample()}), true, {{"/a", "id"}}, {{"id", "Na\"med"}}, 0));
    EXPECT_EQ(rows["sessions"][0]["name"], "Na\"med");
}

TEST(JSONExport, repairsWhatIsNotUtf8) {
    EXPECT_EQ(document({inLog("/b", session({}, "a\xFFz"))})["sessions"][0]["project"], "a\uFFFDz");
}

TEST(JSONExport, takesAnInstantThatIsNoNumberAsAbsent) {
    SessionResult odd = sample();
    odd.started = std::numeric_limits<double>::infinity();
    EXPECT_EQ(document({odd})["sessions"][0]["started"], 0);
}

}  // namespace
}  // namespace ledgerfern
