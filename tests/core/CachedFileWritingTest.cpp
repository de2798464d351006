#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "FileCache/CachedFile.h"
#include "core/CachedSamples.h"

namespace ledgerfern {
namespace {

CachedFile built(const SessionResult& result) {
    return CachedFile::of(result, "an id", true, 5000);
}

TEST(CachedFileWriting, writesEveryKey) {
    SessionResult result = restored(fullRecord());
    const Json record = written(CachedFile::of(result, "0a1b", true, 5000));
    Json expected = fullRecord();
    expected["models"] = {"m-2", "m-1"};  // in the order in which the requests name them
    expected["reqModel"] = {0, 1};
    EXPECT_EQ(record, expected);
}

TEST(CachedFileWriting, leavesOutWhatIsAbsent) {
    SessionResult result = restored(leastRecord());
    const Json record = written(CachedFile::of(result, std::nullopt, false, 5000));
    Json expected = leastRecord();
    expected["wasUsable"] = false;
    expected["totals"] = {
        {"input_tokens", 0},  {"cached_input_tokens", 0},     {"cache_write_input_tokens", 0},
        {"output_tokens", 0}, {"reasoning_output_tokens", 0}, {"total_tokens", 0}};
    expected["models"] = Json::array();
    expected["reqModel"] = Json::array();
    expected["insights"] = {
        {"cacheBreaks", 0}, {"breakReasons", Json::object()}, {"rebuiltTokens", 0}, {"peakInput", 0}};
    EXPECT_EQ(record, expected);
}

TEST(CachedFileWriting, writesTheAgentsShortName) {
    SessionResult result = session({});
    result.tool = ToolKind::claudeCode;
    EXPECT_EQ(written(built(result))["tool"], "claude");
    EXPECT_EQ(encode(built(result))->tool, ToolKind::claudeCode);
}

TEST(CachedFileWriting, packsARequestIntoSevenDoubles) {
    const SessionResult result = session({requestAt(1000.5, UsageTotals{1, 2, 3, 4, 5, -6})});
    EXPECT_EQ(written(built(result))["reqs"], base64(bytesOf({1000.5, 1, 2, 3, 4, 5, -6})));
    EXPECT_EQ(written(built(session({})))["reqs"], "");
    EXPECT_EQ(base64(bytesOf({1.0})), "AAAAAAAA8D8=") << "little-endian";
}

TEST(CachedFileWriting, givesARequestWithoutATimeThatOfTheRecord) {
    const SessionResult result = session({requestAt(1000, 1), requestAt({}, 2)});
    const CachedFile file = built(result);
    EXPECT_EQ(file.toSessionResult()->requests[0].ts, 1000);
    EXPECT_EQ(file.toSessionResult()->requests[1].ts, 5000);
    EXPECT_EQ(decodedText(encode(file)->json)->session->requests[1].ts, 5000);
}

TEST(CachedFileWriting, numbersModelsInTheOrderInWhichTheyAppear) {
    const SessionResult result = withModels(session(std::vector<RequestRecord>(5)), {"b", {}, "a", "b", "a"});
    const Json record = written(built(result));
    EXPECT_EQ(record["models"], Json::array({"b", "a"}));
    EXPECT_EQ(record["reqModel"], Json::array({0, -1, 1, 0, 1}));
}

TEST(CachedFileWriting, writesNoLabelAmongTheModels) {
    StringIndex names;
    names.intern("label");
    RequestRecord record;
    record.dominant = names.intern("another label");
    record.model = names.intern("model");
    SharedArray<RequestRecord> records;
    records.push_back(record);
    SessionResult result = session({});
    result.requests = {records, names.pool()};
    const CachedFile file = built(result);
    EXPECT_EQ(written(file)["models"], Json::array({"model"}));
    EXPECT_EQ(file.session->requests[0].model, "model");
    EXPECT_EQ(file.session->requests[0].dominant, std::nullopt);
    EXPECT_EQ(result.requests[0].dominant, "another label") << "the session itself stays as it is";
}

TEST(CachedFileWriting, losesOnlyWhatItIsToLose) {
    SessionResult result = restored(fullRecord());
    const auto file = decodedText(encode(built(result)).value().json);
    ASSERT_TRUE(file);
    EXPECT_EQ(*file->session, result);
    EXPECT_EQ(file->sessionId, "an id");
    EXPECT_TRUE(file->wasUsable);
    EXPECT_EQ(file->v, 4);
}

TEST(CachedFileWriting, keepsTheModelTableThroughARestoredRecord) {
    Json record = fullRecord();
    record["models"] = {"unused", "m-1", "m-1"};
    record["reqModel"] = {2, 1};
    const auto file = decoded(record);
    ASSERT_TRUE(file);
    EXPECT_EQ(written(*file)["models"], Json::array({"m-1"}));
    EXPECT_EQ(written(*file)["reqModel"], Json::array({0, 0}));
}

TEST(CachedFileWriting, isNotWrittenWithANumberThatJsonHasntGot) {
    constexpr double infinity = std::numeric_limits<double>::infinity();
    for (const double wrong : {std::nan(""), infinity, -infinity}) {
        SessionResult result = restored(fullRecord());
        EXPECT_TRUE(encode(built(result)));
        auto changed = result;
        changed.started = wrong;
        EXPECT_FALSE(encode(built(changed)));
        changed = result;
        changed.lastTs = wrong;
        EXPECT_FALSE(encode(built(changed)));
        changed = result;
        changed.rateLimit->usedPercent = wrong;
        EXPECT_FALSE(encode(built(changed)));
        changed = result;
        changed.rlDaily["2026-03-01"].ts = wrong;
        EXPECT_FALSE(encode(built(changed)));
        changed = result;
        changed.rlDaily["2026-03-01"].usedPercent = wrong;
        EXPECT_FALSE(encode(built(changed)));
    }
}

TEST(CachedFileWriting, writesAnyBytesAsText) {
    SessionResult result = inLog("/a/\xFF\xC3.jsonl", session({}));
    result.firstMessage = "\"\\/\b\f\n\r\t\x1F\x7F é 😀" + std::string(1, '\0');
    const auto encoded = encode(built(result));
    ASSERT_TRUE(encoded);
    EXPECT_EQ(encoded->path, "/a/\xFF\xC3.jsonl");
    const auto file = decodedText(encoded->json);
    ASSERT_TRUE(file);
    EXPECT_EQ(file->session->firstMessage, result.firstMessage);
    EXPECT_EQ(file->session->path, "/a/\uFFFD\uFFFD.jsonl");
}

TEST(CachedFileWriting, takesAsManyBytesARequestAsItShould) {
    std::vector<RequestRecord> records(10'000, requestAt(1'772'000'000.123, UsageTotals{1, 2, 3, 4, 5, 6}));
    const SessionResult result =
        withModels(session(records), std::vector<std::optional<std::string>>(10'000, "m"));
    EXPECT_LT(encode(built(result))->json.size(), 77U * 10'000 + 2048);
}

}  // namespace
}  // namespace ledgerfern
