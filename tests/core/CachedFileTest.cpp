#include "FileCache/CachedFile.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <map>
#include <set>

#include "core/CachedSamples.h"

namespace ledgerfern {
namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double twoTo63 = 9223372036854775808.0;

SessionResult restoredWith(const std::string& key, const Json& value) {
    Json record = fullRecord();
    record[key] = value;
    return restored(record);
}

bool decodesWith(const std::string& key, const Json& value) {
    Json record = fullRecord();
    record[key] = value;
    return decoded(record).has_value();
}

std::vector<std::optional<std::string>> modelsOf(const SessionResult& result) {
    std::vector<std::optional<std::string>> models;
    for (std::size_t i = 0; i < result.requests.size(); ++i) {
        const auto model = result.requests[i].model;
        models.push_back(model ? std::optional<std::string>(*model) : std::nullopt);
    }
    return models;
}

TEST(CachedFile, restoresEveryField) {
    const auto file = decoded(fullRecord());
    ASSERT_TRUE(file);
    EXPECT_EQ(file->sessionId, "0a1b");
    EXPECT_TRUE(file->wasUsable);
    EXPECT_EQ(file->v, 4);
    const SessionResult& result = *file->toSessionResult();
    EXPECT_EQ(result.path, "/logs/s.jsonl");
    EXPECT_EQ(result.tool, ToolKind::codex);
    EXPECT_EQ(result.cwd, "/home/ada/engine");
    EXPECT_EQ(result.project, "engine");
    EXPECT_EQ(result.originator, "cli");
    EXPECT_EQ(result.source, (SourceInfo{"", true, "Bee", "thread-1", true}));
    EXPECT_EQ(result.model, "m-2");
    EXPECT_EQ(result.firstMessage, "Hello");
    EXPECT_EQ(result.started, 1000.25);
    EXPECT_EQ(result.lastTs, 2000.5);
    EXPECT_EQ(result.totals, (UsageTotals{11, 12, 13, 14, 15, 16}));
    EXPECT_EQ(result.rateLimit, (RateLimitInfo{42.5, 10080, 1'772'000'000, "pro"}));
    EXPECT_EQ(result.rlDaily,
              (std::map<std::string, DailyReading>{{"2026-03-01", {1.5, 41.0, 1'772'000'000}}}));
    EXPECT_EQ(result.tools, ToolTable({{"apply_patch", {1, 2, 3}}, {"shell · git", {3, 40, 5}}}));
    EXPECT_EQ(result.insights, (SessionInsights{2, {{"compaction", 4}, {"idle", 1}}, 300, 7, 900}));
    ASSERT_EQ(result.requests.size(), 2U);
    EXPECT_EQ(result.requests[0], (RequestDelta{1001.0, {1, 2, 3, 4, 5, 6}, {}, "m-2"}));
    EXPECT_EQ(result.requests[1], (RequestDelta{1002.5, {10, 20, 30, 40, 50, 60}, {}, "m-1"}));
}

TEST(CachedFile, needsOnlyWhatIsAlwaysWritten) {
    const SessionResult result = restored(leastRecord());
    SessionResult expected = inLog("/logs/s.jsonl", session({}, "engine"));
    expected.cwd = "/home/ada/engine";
    expected.originator = "cli";
    expected.source.raw = "vscode";
    EXPECT_EQ(result, expected);
    EXPECT_EQ(result.insights, SessionInsights());
}

TEST(CachedFile, failsWithoutAKeyThatIsAlwaysWritten) {
    const std::set<std::string> omissible = {"sessionId", "model", "started", "lastTs",   "firstMessage",
                                             "rateLimit", "v",     "models",  "reqModel", "insights"};
    const Json full = fullRecord();
    for (const auto& [key, value] : full.items()) {
        Json record = fullRecord();
        record.erase(key);
        EXPECT_EQ(decoded(record).has_value(), omissible.contains(key)) << key;
        record[key] = nullptr;
        EXPECT_EQ(decoded(record).has_value(), omissible.contains(key)) << key << " as null";
    }
}

TEST(CachedFile, failsWithAnotherTypeUnderAnyKey) {
    const std::vector<Json> others = {true,
                                      5,
                                      0.5,
                                      "text",
                                      Json::array({Json::array()}),
                                      {{"a", Json::array({Json::array()})}, {"usedPercent", Json::array()}}};
    const Json full = fullRecord();
    for (const auto& [key, value] : full.items())
        for (const Json& other : others) {
            const bool isSameType = value.type() == other.type() || (value.is_number() && other.is_number());
            if (isSameType && !value.is_structured()) continue;
            EXPECT_FALSE(decodesWith(key, other)) << key << " as " << other;
        }
}

TEST(CachedFile, failsWithoutAKeyOfARecordInside) {
    const std::map<std::string, std::set<std::string>> omissible = {
        {"source", {"nickname", "parentThread"}},
        {"rateLimit", {"usedPercent", "windowMinutes", "resetsAt", "planType"}},
        {"insights", {"startupInput"}}};
    const Json full = fullRecord();
    for (const auto& [name, keys] : omissible)
        for (const auto& [key, value] : full[name].items()) {
            Json record = fullRecord();
            record[name].erase(key);
            EXPECT_EQ(decoded(record).has_value(), keys.contains(key)) << name << '.' << key;
            for (const Json& other : {Json("text"), Json(0.5), Json(Json::array())}) {
                record[name][key] = other;
                const bool fits =
                    (value.is_string() && other.is_string()) || (key == "usedPercent" && other.is_number());
                EXPECT_EQ(decoded(record).has_value(), fits) << name << '.' << key << " as " << other;
            }
        }
}

TEST(CachedFile, readsRecordsInsideThatLackWhatMayBeMissing) {
    Json record = fullRecord();
    record["source"] = {{"raw", "x"}, {"isSubagent", true}, {"isGuardian", false}, {"nickname", nullptr}};
    record["rateLimit"] = Json::object();
    record["insights"].erase("startupInput");
    const SessionResult result = restored(record);
    EXPECT_EQ(result.source, (SourceInfo{"x", true, {}, {}, false}));
    EXPECT_EQ(result.rateLimit, RateLimitInfo());
    EXPECT_EQ(result.insights.startupInput, std::nullopt);
    EXPECT_EQ(result.insights.peakInput, 900);
}

TEST(CachedFile, ignoresKeysThatNobodyKnows) {
    Json record = fullRecord();
    record["dominant"] = {1, "two", nullptr};
    record["source"]["more"] = Json::object();
    record["insights"]["more"] = "x";
    record["rateLimit"]["more"] = 1e300;
    EXPECT_EQ(restored(record), restored(fullRecord()));
}

TEST(CachedFile, takesTheLastOfTwoEqualKeys) {
    const std::string text = fullRecord().dump();
    const auto with = [&](const std::string& more) {
        return decodedText(text.substr(0, text.size() - 1) + more);
    };
    const auto file = with(R"(,"cwd":"/last","tools":{"a":[1],"a":[1,2,3],"b":[4,5,6],"b":[7]}})");
    ASSERT_TRUE(file);
    EXPECT_EQ(file->session->cwd, "/last");
    EXPECT_EQ(file->session->tools, ToolTable({{"a", {1, 2, 3}}}));
    EXPECT_FALSE(with(R"(,"cwd":5})"));
}

TEST(CachedFile, failsWhereTheTextIsNoJsonObject) {
    const std::string text = fullRecord().dump();
    for (const std::string wrong : {"", " ", "null", "4", "[]", "\"text\"", "{", "{}", "{\"path\":"})
        EXPECT_FALSE(decodedText(wrong)) << wrong;
    for (std::size_t length = 0; length < text.size(); ++length)
        ASSERT_FALSE(decodedText(text.substr(0, length))) << length;
    EXPECT_FALSE(decodedText(text + "x"));
    EXPECT_FALSE(decodedText("\xEF\xBB\xBF" + text));
    EXPECT_TRUE(decodedText(" " + text + "\n"));
}

TEST(CachedFile, readsTheAgentFromItsShortNameOnly) {
    EXPECT_EQ(restoredWith("tool", "claude").tool, ToolKind::claudeCode);
    for (const auto* tool : {"codex", "claudeCode", "", "Claude", "x"})
        EXPECT_EQ(restoredWith("tool", tool).tool, ToolKind::codex) << tool;
}

TEST(CachedFile, takesTheSixTotalsAndNoOthers) {
    const SessionResult result = restoredWith("totals", {{"output_tokens", 5}, {"other", 6}});
    EXPECT_EQ(result.totals, (UsageTotals{0, 0, 0, 5, 0, 0}));
    EXPECT_FALSE(decodesWith("totals", {{"output_tokens", 5}, {"other", "6"}}));
    EXPECT_FALSE(decodesWith("totals", {{"output_tokens", nullptr}}));
}

TEST(CachedFile, dropsAToolThatHasntThreeNumbers) {
    const SessionResult result = restoredWith(
        "tools", {{"two", {1, 2}}, {"three", {1, 2, 3}}, {"four", {1, 2, 3, 4}}, {"none", Json::array()}});
    EXPECT_EQ(result.tools, ToolTable({{"three", {1, 2, 3}}}));
    EXPECT_FALSE(decodesWith("tools", {{"two", {1, 0.5}}}));
    EXPECT_FALSE(decodesWith("tools", {{"two", {1, nullptr}}}));
}

TEST(CachedFile, dropsADailyReadingWithoutTimeOrPercentage) {
    const auto daily = [](const Json& reading) { return restoredWith("rlDaily", {{"d", reading}}).rlDaily; };
    using Readings = std::map<std::string, DailyReading>;
    EXPECT_EQ(daily({1.0, 2.0}), (Readings{{"d", {1, 2, {}}}}));
    EXPECT_EQ(daily({1.0, 2.0, nullptr}), (Readings{{"d", {1, 2, {}}}}));
    EXPECT_EQ(daily({1.0, 2.0, 3.0}), (Readings{{"d", {1, 2, 3}}}));
    EXPECT_EQ(daily({1, 2, 3.9}), (Readings{{"d", {1, 2, 3}}}));
    EXPECT_EQ(daily({1.0, 2.0, -3.9, 4.0}), (Readings{{"d", {1, 2, -3}}}));
    for (const Json& reading :
         {Json{1.0, nullptr, 3.0}, Json{nullptr, 2.0, 3.0}, Json::array({1.0}), Json::array()})
        EXPECT_EQ(daily(reading), Readings()) << reading;
    EXPECT_FALSE(decodesWith("rlDaily", {{"d", {1.0, "2"}}}));
    EXPECT_FALSE(decodesWith("rlDaily", {{"d", {1.0, true}}}));
}

TEST(CachedFile, takesWholeRequestsOnly) {
    const auto count = [](std::size_t bytes) {
        return restoredWith("reqs", base64(std::string(bytes, '\0'))).requests.size();
    };
    EXPECT_EQ(count(0), 0U);
    EXPECT_EQ(count(55), 0U);
    EXPECT_EQ(count(56), 1U);
    EXPECT_EQ(count(63), 1U) << "a rest of a double";
    EXPECT_EQ(count(56 + 48), 1U) << "a rest of six doubles";
    EXPECT_EQ(count(112), 2U);
}

TEST(CachedFile, failsWhereTheRequestsArentBase64) {
    const std::string request = base64(std::string(56, '\0'));
    EXPECT_TRUE(decodesWith("reqs", request));
    for (const std::string& wrong : {request + "\n", " " + request, request.substr(1), request + "=",
                                     request.substr(0, request.size() - 1), "-" + request.substr(1)})
        EXPECT_FALSE(decodesWith("reqs", wrong)) << wrong;
}

TEST(CachedFile, cutsTheFractionOfACounter) {
    const SessionResult result =
        restoredWith("reqs", base64(bytesOf({0.5, 1.9, -1.9, -0.0, 0.1, 9e15, -twoTo63})));
    EXPECT_EQ(result.requests[0].ts, 0.5);
    EXPECT_EQ(result.requests[0].d,
              (UsageTotals{1, -1, 0, 0, 9'000'000'000'000'000, std::numeric_limits<std::int64_t>::min()}));
}

TEST(CachedFile, failsWithADoubleThatDoesntFit64Bits) {
    for (std::size_t place = 0; place < 14; ++place)
        for (const double wrong : {std::nan(""), infinity, -infinity, twoTo63, -twoTo63 * 1.01, 1e300}) {
            std::vector<double> numbers(14, 1.0);
            numbers[place] = wrong;
            EXPECT_FALSE(decodesWith("reqs", base64(bytesOf(numbers)))) << place << ' ' << wrong;
        }
    for (const double wrong : {twoTo63, -twoTo63 * 1.01, 1e300}) {
        EXPECT_FALSE(decodesWith("started", wrong));
        EXPECT_FALSE(decodesWith("lastTs", wrong));
        EXPECT_FALSE(decodesWith("rateLimit", {{"usedPercent", wrong}}));
        for (std::size_t place = 0; place < 3; ++place) {
            Json reading = {1.0, 2.0, 3.0};
            reading[place] = wrong;
            EXPECT_FALSE(decodesWith("rlDaily", {{"d", reading}})) << place;
        }
    }
}

TEST(CachedFile, doesntMindWhatTheRestOfTheRequestsHolds) {
    std::vector<double> numbers(13, std::nan(""));
    std::fill_n(numbers.begin(), 7, 1.0);
    EXPECT_EQ(restoredWith("reqs", base64(bytesOf(numbers))).requests.size(), 1U);
}

TEST(CachedFile, countsANumberBeyondDoublesAsMissing) {
    const auto with = [](const std::string& key, const std::string& number) {
        std::string text = fullRecord().dump();
        return decodedText(text.insert(text.size() - 1, ",\"" + key + "\":" + number));
    };
    const auto file = with("started", "1e400");
    ASSERT_TRUE(file);
    EXPECT_EQ(file->session->started, std::nullopt);
    EXPECT_FALSE(with("totals", R"({"output_tokens":1e400})"));
}

TEST(CachedFile, takesIntegersHoweverTheyAreWritten) {
    const auto peak = [](const std::string& number) -> std::optional<std::int64_t> {
        const auto file = decodedText(
            R"({"path":"","tool":"","cwd":"","project":"","originator":"","wasUsable":false,"totals":{},)"
            R"("source":{"raw":"","isSubagent":false,"isGuardian":false},"tools":{},"rlDaily":{},"reqs":"",)"
            R"("insights":{"cacheBreaks":0,"breakReasons":{},"rebuiltTokens":0,"peakInput":)" +
            number + "}}");
        if (!file) return std::nullopt;
        return file->session->insights.peakInput;
    };
    EXPECT_EQ(peak("1"), 1);
    EXPECT_EQ(peak("1.0"), 1);
    EXPECT_EQ(peak("-0.0"), 0);
    EXPECT_EQ(peak("25e2"), 2500);
    EXPECT_EQ(peak("1e18"), 1'000'000'000'000'000'000);
    EXPECT_EQ(peak("9223372036854775807"), std::numeric_limits<std::int64_t>::max());
    EXPECT_EQ(peak("-9223372036854775808"), std::numeric_limits<std::int64_t>::min());
    EXPECT_EQ(peak("-9223372036854775809"), std::numeric_limits<std::int64_t>::min()) << "the nearest double";
    for (const auto* wrong :
         {"0.5", "1e-3", "1e19", "9223372036854775808", "-9223372036854777000", "18446744073709551615",
          "18446744073709551616", "1e400", "true", "\"1\"", "null"})
        EXPECT_EQ(peak(wrong), std::nullopt) << wrong;
}

TEST(CachedFile, givesARequestAModelOnlyWhereTheTableHasIt) {
    Json record = fullRecord();
    record["reqs"] = base64(bytesOf(std::vector<double>(5 * 7, 1.0)));
    record["models"] = {"a", "b"};
    record["reqModel"] = {1, -1, 2, 0};
    using Models = std::vector<std::optional<std::string>>;
    EXPECT_EQ(modelsOf(restored(record)), (Models{"b", {}, {}, "a", {}}));
    record["reqModel"] = {0,
                          std::numeric_limits<std::int64_t>::min(),
                          std::numeric_limits<std::int64_t>::max(),
                          4'294'967'295,
                          4'294'967'296,
                          0,
                          1};
    EXPECT_EQ(modelsOf(restored(record)), (Models{"a", {}, {}, {}, {}})) << "more indices than requests";
    record.erase("reqModel");
    EXPECT_EQ(modelsOf(restored(record)), Models(5));
    record["reqModel"] = {0, 1};
    record.erase("models");
    EXPECT_EQ(modelsOf(restored(record)), Models(5)) << "no label is taken for a model";
    EXPECT_FALSE(decodesWith("reqModel", {0, 0, "x"}));
    EXPECT_FALSE(decodesWith("reqModel", {0, 0, nullptr})) << "behind the last request too";
    EXPECT_FALSE(decodesWith("models", {"a", nullptr}));
}

TEST(CachedFile, doesntJudgeTheVersion) {
    EXPECT_EQ(decoded(leastRecord())->v, 4);
    Json record = leastRecord();
    record["v"] = 3;
    EXPECT_EQ(decoded(record)->v, 3);
    record["v"] = nullptr;
    EXPECT_EQ(decoded(record)->v, std::nullopt);
    record.erase("v");
    EXPECT_EQ(decoded(record)->v, std::nullopt);
}

TEST(CachedFile, readsOneRecordAfterAnother) {
    CachedFileDecoder decoder;
    Json other = leastRecord();
    other["reqs"] = base64(bytesOf(std::vector<double>(7, 8.0)));
    for (int i = 0; i < 3; ++i) {
        const auto first = decoder.decode(fullRecord().dump());
        const auto bad = decoder.decode("{}");
        const auto second = decoder.decode(other.dump());
        EXPECT_FALSE(bad);
        ASSERT_TRUE(first && second);
        EXPECT_EQ(*first->session, restored(fullRecord()));
        EXPECT_EQ(*second->session, restored(other));
    }
}

TEST(CachedFile, takesThePathsBytesFromTheRow) {
    const auto pathFrom = [](const std::string& written, const std::string& row) {
        Json record = leastRecord();
        record["path"] = written;
        const std::string text = record.dump();
        const std::string padded = text + std::string(JsonReader::padding, '\0');
        const auto file =
            CachedFileDecoder().decodePadded(std::string_view(padded).substr(0, text.size()), row);
        return file ? file->session->path : "no record";
    };
    EXPECT_EQ(pathFrom("/a/\uFFFD.jsonl", "/a/\xFF.jsonl"), "/a/\xFF.jsonl");
    EXPECT_EQ(pathFrom("/a/b.jsonl", "/a/b.jsonl"), "/a/b.jsonl");
    EXPECT_EQ(pathFrom("/a/b.jsonl", "/a/c.jsonl"), "/a/b.jsonl") << "the record of another file";
}

}  // namespace
}  // namespace ledgerfern
