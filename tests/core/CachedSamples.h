#pragma once

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "FileCache/CachedFile.h"
#include "Foundation/Base64.h"
#include "core/SessionSamples.h"

/// Cached records for tests.
namespace ledgerfern {

using Json = nlohmann::json;

inline std::string base64(std::string_view bytes) {
    std::string text;
    appendBase64(text, bytes);
    return text;
}

inline std::string bytesOf(const std::vector<double>& numbers) {
    return {reinterpret_cast<const char*>(numbers.data()), numbers.size() * sizeof(double)};
}

/// What a record holds at least.
inline Json leastRecord() {
    return {{"path", "/logs/s.jsonl"},
            {"tool", "codex"},
            {"cwd", "/home/ada/engine"},
            {"project", "engine"},
            {"originator", "cli"},
            {"source", {{"raw", "vscode"}, {"isSubagent", false}, {"isGuardian", false}}},
            {"wasUsable", true},
            {"v", 4},
            {"totals", Json::object()},
            {"tools", Json::object()},
            {"rlDaily", Json::object()},
            {"reqs", ""}};
}

/// A record with everything that there is.
inline Json fullRecord() {
    Json record = leastRecord();
    record["sessionId"] = "0a1b";
    record["model"] = "m-2";
    record["started"] = 1000.25;
    record["lastTs"] = 2000.5;
    record["firstMessage"] = "Hello";
    record["rateLimit"] = {
        {"usedPercent", 42.5}, {"windowMinutes", 10080}, {"resetsAt", 1'772'000'000}, {"planType", "pro"}};
    record["source"] = {{"raw", ""},
                        {"isSubagent", true},
                        {"nickname", "Bee"},
                        {"parentThread", "thread-1"},
                        {"isGuardian", true}};
    record["totals"] = {
        {"input_tokens", 11},  {"cached_input_tokens", 12},     {"cache_write_input_tokens", 13},
        {"output_tokens", 14}, {"reasoning_output_tokens", 15}, {"total_tokens", 16}};
    record["tools"] = {{"shell · git", {3, 40, 5}}, {"apply_patch", {1, 2, 3}}};
    record["rlDaily"] = {{"2026-03-01", {1.5, 41.0, 1'772'000'000.0}}};
    record["reqs"] = base64(bytesOf({1001, 1, 2, 3, 4, 5, 6, 1002.5, 10, 20, 30, 40, 50, 60}));
    record["models"] = {"m-1", "m-2"};
    record["reqModel"] = {1, 0};
    record["insights"] = {{"cacheBreaks", 2},
                          {"breakReasons", {{"idle", 1}, {"compaction", 4}}},
                          {"rebuiltTokens", 300},
                          {"startupInput", 7},
                          {"peakInput", 900}};
    return record;
}

inline std::optional<CachedFile> decodedText(const std::string& text) {
    return CachedFileDecoder().decode(text);
}
inline std::optional<CachedFile> decoded(const Json& record) {
    return decodedText(record.dump());
}

/// The session of the record; a test of its own fails where there is none.
inline SessionResult restored(const Json& record) {
    const auto file = decoded(record);
    EXPECT_TRUE(file) << record.dump();
    return file ? *file->toSessionResult() : SessionResult();
}

/// The record's JSON as it is written.
inline Json written(const CachedFile& file) {
    return Json::parse(encode(file).value().json);
}

/// A session that tells by each of its parts which version of its file it belongs to, so that one put
/// together from two versions is noticed.
inline SessionResult sessionOfVersion(const std::string& path, std::int64_t version) {
    const std::string text = std::to_string(version);
    std::vector<RequestRecord> records;
    for (std::int64_t i = 0; i < 5 + version % 200; ++i)
        records.push_back(requestAt(static_cast<double>(version), UsageTotals{version, i, 0, 0, 0, version}));
    SessionResult result = inLog(path, session(records, text));
    result.cwd = std::string(static_cast<std::size_t>(version % 7) * 1000, 'x') + text;
    result.tools = ToolTable({{"label", {version, version, version}}});
    result.insights.peakInput = version;
    return result;
}

/// The version that all parts of a session agree on; absent where they don't.
inline std::optional<std::int64_t> wholeVersion(const SessionResult& found) {
    const std::int64_t version = found.insights.peakInput;
    if (found != sessionOfVersion(found.path, version)) return std::nullopt;
    return version;
}

}  // namespace ledgerfern
