#include "tool/LogFolder.h"

#include <cstdlib>
#include <fstream>
#include <stdexcept>

namespace ledgerfern {

namespace fs = std::filesystem;

namespace {

/// Tests reckon in UTC, whatever the zone of the machine.
const bool zoneIsSet = [] {
    ::setenv("TZ", "UTC", 1);
    return true;
}();

}  // namespace

LogFolder::LogFolder() {
    std::string name = (fs::temp_directory_path() / "ledgerfern-tool-XXXXXX").string();
    if (::mkdtemp(name.data()) == nullptr) throw std::runtime_error("no temporary folder");
    folder_ = fs::canonical(name);
}

LogFolder::~LogFolder() {
    std::error_code ignored;
    fs::remove_all(folder_, ignored);
}

std::string LogFolder::path(std::string_view name) const {
    return name.empty() ? folder_.string() : (folder_ / name).string();
}

std::string LogFolder::write(std::string_view name, std::string_view content) const {
    const fs::path file = folder_ / name;
    fs::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << content;
    return file.string();
}

RolloutLog& RolloutLog::line(std::string_view time, std::string_view type, std::string_view payload) {
    text_ += "{";
    if (!time.empty()) text_ += "\"timestamp\":\"" + std::string(time) + "\",";
    text_ += "\"type\":\"" + std::string(type) + "\",\"payload\":" + std::string(payload) + "}\n";
    return *this;
}

RolloutLog& RolloutLog::meta(std::string_view time, std::string_view cwd, std::string_view source) {
    return line(time, "session_meta",
                R"({"cwd":")" + std::string(cwd) + R"(","originator":"codex_cli","source":)" +
                    std::string(source) + "}");
}

RolloutLog& RolloutLog::model(std::string_view name) {
    return line(
        "", "event_msg",
        R"({"type":"thread_settings_applied","thread_settings":{"model":")" + std::string(name) + "\"}}");
}

RolloutLog& RolloutLog::user(std::string_view text) {
    return line("", "response_item",
                R"({"type":"message","role":"user","content":[{"text":")" + std::string(text) + "\"}]}");
}

RolloutLog& RolloutLog::tokens(std::string_view time, const Cumulative& total, std::string_view limits) {
    std::string payload =
        R"({"type":"token_count","info":{"total_token_usage":{"input_tokens":)" +
        std::to_string(total.input) + R"(,"cached_input_tokens":)" + std::to_string(total.cached) +
        R"(,"output_tokens":)" + std::to_string(total.output) + R"(,"reasoning_output_tokens":)" +
        std::to_string(total.reasoning) + R"(,"total_tokens":)" + std::to_string(total.total) + "}}";
    if (!limits.empty()) payload += ",\"rate_limits\":" + std::string(limits);
    return line(time, "event_msg", payload + "}");
}

RolloutLog& RolloutLog::raw(std::string_view text) {
    text_ += text;
    return *this;
}

std::string rolloutName(std::string_view id) {
    // The id of a session is the name without its first 20 characters and its last.
    return "rollout-2026-03-01T1" + std::string(id) + ".jsonl";
}

}  // namespace ledgerfern
