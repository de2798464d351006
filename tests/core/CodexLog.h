#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>

#include "ParsedText.h"
#include "RolloutParser/RolloutParser.h"

namespace ledgerfern::test {

using Json = nlohmann::json;

/// Usage as a log writes it; `total` is input and output together.
inline Json usage(std::int64_t input, std::int64_t cached, std::int64_t output, std::int64_t reasoning = 0) {
    return {{"input_tokens", input},
            {"cached_input_tokens", cached},
            {"output_tokens", output},
            {"reasoning_output_tokens", reasoning},
            {"total_tokens", input + output}};
}

/// Builds the text of a rollout file line by line. Every line has a timestamp one second after the one
/// before, from 2026-03-01T10:00:01Z on, unless `at` says otherwise or `withoutTime` is set.
class CodexLog {
public:
    std::string text;

    CodexLog& raw(std::string_view line) {
        text.append(line).append("\n");
        return *this;
    }
    CodexLog& at(std::string timestamp) {
        nextTimestamp_ = std::move(timestamp);
        return *this;
    }
    CodexLog& withoutTime() {
        nextTimestamp_ = "none";
        return *this;
    }
    CodexLog& record(std::string_view type, const Json& payload) {
        Json line = {{"type", type}, {"payload", payload}};
        const std::string timestamp = takeTimestamp();
        if (timestamp != "none") line["timestamp"] = timestamp;
        return raw(line.dump());
    }
    CodexLog& meta(std::string_view cwd = "/home/ada/app", Json more = Json::object()) {
        more["cwd"] = cwd;
        return record("session_meta", more);
    }
    CodexLog& event(std::string_view type, Json payload = Json::object()) {
        payload["type"] = type;
        return record("event_msg", payload);
    }
    CodexLog& item(std::string_view type, Json payload = Json::object()) {
        payload["type"] = type;
        return record("response_item", payload);
    }
    CodexLog& message(std::string_view role, const Json& content) {
        return item("message", {{"role", role}, {"content", content}});
    }
    CodexLog& call(std::string_view id, std::string_view name, const Json& arguments = Json::object()) {
        return item("function_call", {{"call_id", id}, {"name", name}, {"arguments", arguments.dump()}});
    }
    CodexLog& shell(std::string_view id, std::string_view command) {
        return call(id, "exec_command", {{"cmd", command}});
    }
    CodexLog& output(std::string_view id, const Json& output) {
        return item("function_call_output", {{"call_id", id}, {"output", output}});
    }
    CodexLog& mcpEnd(std::string_view id, std::string_view server, std::string_view tool) {
        return event("mcp_tool_call_end",
                     {{"call_id", id}, {"invocation", {{"server", server}, {"tool", tool}}}});
    }
    CodexLog& tokens(const Json& total, const std::optional<Json>& last = std::nullopt,
                     const std::optional<Json>& limits = std::nullopt) {
        Json info = {{"total_token_usage", total}};
        if (last) info["last_token_usage"] = *last;
        Json payload = {{"info", info}};
        if (limits) payload["rate_limits"] = *limits;
        return event("token_count", payload);
    }
    CodexLog& model(std::string_view name) {
        return event("thread_settings_applied", {{"thread_settings", {{"model", name}}}});
    }

private:
    std::string takeTimestamp() {
        ++lines_;
        if (!nextTimestamp_.empty()) return std::exchange(nextTimestamp_, {});
        const auto two = [](int n) { return std::string(n < 10 ? "0" : "") + std::to_string(n); };
        return "2026-03-01T10:" + two(lines_ / 60) + ":" + two(lines_ % 60) + "Z";
    }

    int lines_ = 0;
    std::string nextTimestamp_;
};

/// The instant of line `n` of a `CodexLog`, counted from 1, where every line has its usual time.
inline Instant lineTime(int n) {
    return 1772359200.0 + n;
}

/// Feeds `text` to the state in one update, in reads of at most `readSize` bytes.
inline void feed(ParseState& state, std::string_view text, std::size_t readSize = 1 << 20) {
    ReadScratch scratch(readSize);
    RolloutParser::updateState(readsOf(text), state, scratch);
}

inline ParseState parsed(std::string_view text) {
    ParseState state;
    feed(state, text);
    return state;
}

inline ParseState parsed(const CodexLog& log) {
    return parsed(log.text);
}

inline SessionResult session(const ParseState& state) {
    return RolloutParser::finalize(state, "/logs/x.jsonl");
}

inline std::optional<ToolStat> stat(const ParseState& state, std::string_view label) {
    return stat(session(state), label);
}

inline std::vector<std::string> labels(const ParseState& state) {
    return labels(session(state));
}

inline RequestDelta request(const ParseState& state, std::size_t index) {
    static thread_local SessionResult kept;  // the names of the request live in it
    kept = session(state);
    return kept.requests[index];
}

}  // namespace ledgerfern::test
