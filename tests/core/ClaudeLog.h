#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>

#include "ClaudeCodeParser/ClaudeCodeParser.h"
#include "ParsedText.h"

namespace ledgerfern::test {

using Json = nlohmann::json;

/// Usage as a Claude Code log writes it.
inline Json claudeUsage(std::int64_t input, std::int64_t output, std::int64_t read = 0,
                        std::int64_t written = 0) {
    return {{"input_tokens", input},
            {"cache_read_input_tokens", read},
            {"cache_creation_input_tokens", written},
            {"output_tokens", output}};
}

/// Blocks of an assistant's message.
inline Json textBlock(std::string_view text) {
    return {{"type", "text"}, {"text", text}};
}
inline Json toolUse(std::string_view id, std::string_view name, const Json& input = Json::object()) {
    return {{"type", "tool_use"}, {"id", id}, {"name", name}, {"input", input}};
}
/// A block of a user's message.
inline Json toolResult(std::string_view id, const Json& content) {
    return {{"type", "tool_result"}, {"tool_use_id", id}, {"content", content}};
}

/// Builds the text of a Claude Code log line by line. Every line has a working directory, so that it is read,
/// and a timestamp one second after the one before, from 2026-03-01T10:00:01Z on; `more` overrides both.
class ClaudeLog {
public:
    std::string text;

    ClaudeLog& raw(std::string_view line) {
        text.append(line).append("\n");
        return *this;
    }
    ClaudeLog& record(std::string_view type, const Json& more = Json::object()) {
        ++lines_;
        const auto two = [](int n) { return std::string(n < 10 ? "0" : "") + std::to_string(n); };
        Json line = {{"type", type},
                     {"cwd", "/home/ada/app"},
                     {"timestamp", "2026-03-01T10:" + two(lines_ / 60) + ":" + two(lines_ % 60) + "Z"}};
        line.update(more);
        return raw(line.dump());
    }
    ClaudeLog& user(const Json& content, Json more = Json::object()) {
        more["message"] = {{"role", "user"}, {"content", content}};
        return record("user", more);
    }
    ClaudeLog& assistant(std::string_view requestId, const Json& usage, const Json& content = Json::array(),
                         Json more = Json::object()) {
        more["requestId"] = requestId;
        more["message"] = {{"model", model_}, {"usage", usage}, {"content", content}};
        return record("assistant", more);
    }
    ClaudeLog& model(std::string_view name) {
        model_ = name;
        return *this;
    }
    ClaudeLog& compaction(Json more = Json::object()) {
        more["subtype"] = "compact_boundary";
        return record("system", more);
    }

private:
    int lines_ = 0;
    std::string model_ = "claude-opus-4-1";
};

/// The instant of line `n` of a `ClaudeLog`, counted from 1.
inline Instant claudeTime(int n) {
    return 1772359200.0 + n;
}

/// Feeds `text` to the state in one update, in reads of at most `readSize` bytes.
inline void feed(ClaudeCodeParser::State& state, std::string_view text, std::size_t readSize = 1 << 20) {
    ReadScratch scratch(readSize);
    ClaudeCodeParser::updateState(readsOf(text), state, scratch);
}

inline ClaudeCodeParser::State parsed(const ClaudeLog& log) {
    ClaudeCodeParser::State state;
    feed(state, log.text);
    return state;
}

inline SessionResult session(const ClaudeCodeParser::State& state,
                             const std::string& path = "/logs/x.jsonl") {
    return ClaudeCodeParser::finalize(state, path);
}

inline std::optional<ToolStat> stat(const ClaudeCodeParser::State& state, std::string_view label) {
    return stat(session(state), label);
}

inline std::vector<std::string> labels(const ClaudeCodeParser::State& state) {
    return labels(session(state));
}

}  // namespace ledgerfern::test
