#include "ClaudeSession.h"

#include <array>

namespace ledgerfern::bench {

ClaudeSession::ClaudeSession(const SessionTexts& texts, Random random, std::int64_t start)
    : SessionWriter(texts, random, start) {
    static constexpr std::array<std::string_view, 3> models = {"claude-opus-4-7", "claude-sonnet-5",
                                                               "claude-haiku-4-5-20251001"};
    model_ = models[dice.below(models.size())];
}

void ClaudeSession::writeBeginning() {
    snapshot();
    if (dice.percent(40)) attachment();
}

void ClaudeSession::writeTurn(std::size_t limit) {
    user();
    for (std::size_t requests = 3 + dice.below(16); requests > 0 && length() < limit; --requests)
        request();
    if (dice.percent(30)) snapshot();
}

void ClaudeSession::open(std::string_view type) {
    presentTime += static_cast<std::int64_t>(dice.below(6000));
    raw("{");
    member("parentUuid", uuid());
    raw(R"("isSidechain":false,"userType":"external",)");
    member("cwd", workFolder);
    member("sessionId", sessionId);
    member("version", "2.1.227");
    member("gitBranch", "main");
    member("type", type);
}

void ClaudeSession::close() {
    member("uuid", uuid());
    member("timestamp", timestamp());
    endObject();
    raw("\n");
}

/// A record without a marker.
void ClaudeSession::snapshot() {
    raw(R"({"type":"file-history-snapshot",)");
    member("messageId", uuid());
    raw(R"("snapshot":{"trackedFileBackups":{)");
    for (std::size_t files = 1 + dice.below(6); files > 0; --files) {
        raw("\"src/" + hexadecimal(8) + R"(.rs":{)");
        member("backupFileName", hexadecimal(16) + "@v2");
        count("version", 2);
        endObject();
        raw(",");
    }
    endObject();
    raw("},\"isSnapshotUpdate\":false}\n");
}

void ClaudeSession::user() {
    open("user");
    raw(R"("message":{"role":"user",)");
    text("content", allTexts.prose, 500, 1.2);
    endObject();
    raw(",");
    close();
}

void ClaudeSession::attachment() {
    open("attachment");
    raw(R"("attachment":{"type":"hook_success",)");
    text("stdout", allTexts.prose, 2500, 0.8);
    endObject();
    raw(",");
    close();
}

void ClaudeSession::request() {
    requestID_ = "req_" + letters(24);
    messageID_ = "msg_" + letters(24);
    cached_ = dice.percent(95) ? context_ / 128 * 120 : 0;
    output_ = 100 + dice.below(1500);
    if (dice.percent(75)) {
        openBlock();
        raw(R"({"type":"thinking",)");
        text("thinking", allTexts.prose, 700, 0.9);
        text("signature", allTexts.base64, 1400, 0.7);
        closeBlock();
    }
    if (dice.percent(60)) {
        openBlock();
        raw(R"({"type":"text",)");
        text("text", allTexts.prose, 500, 1);
        closeBlock();
    }
    for (std::size_t calls = 1 + dice.below(2); calls > 0; --calls)
        toolCall();
    context_ += output_ + 200 + dice.below(4000);
    if (context_ > 180'000) compaction();
}

void ClaudeSession::openBlock() {
    open("assistant");
    raw(R"("message":{)");
    member("model", model_);
    member("id", messageID_);
    raw(R"("type":"message","role":"assistant","content":[)");
}

void ClaudeSession::closeBlock() {
    endObject();
    raw(R"(],"stop_reason":null,"stop_sequence":null,"usage":{)");
    count("input_tokens", 8);
    count("cache_creation_input_tokens", context_ - cached_);
    count("cache_read_input_tokens", cached_);
    raw(R"("cache_creation":{"ephemeral_5m_input_tokens":0,"ephemeral_1h_input_tokens":0},)");
    count("output_tokens", output_);
    raw(R"("service_tier":"standard"}},)");
    member("requestId", requestID_);
    close();
}

void ClaudeSession::toolCall() {
    static constexpr std::array<std::string_view, 5> commands = {"git status --short", "rg -n lantern src",
                                                                 "cd src && cargo test -q",
                                                                 "npm run build; git diff", "ls -la"};
    const std::string callID = "toolu_" + letters(24);
    openBlock();
    raw(R"({"type":"tool_use",)");
    member("id", callID);
    if (dice.percent(40)) {
        member("name", "Bash");
        raw(R"("input":{)");
        member("command", commands[dice.below(commands.size())]);
        member("description", "Run a command");
    } else if (dice.percent(30)) {
        member("name", "Edit");
        raw(R"("input":{)");
        text("old_string", allTexts.code, 500, 1);
        text("new_string", allTexts.code, 700, 1);
    } else {
        member("name", dice.percent(90) ? "Read" : "mcp__browser__open");
        raw(R"("input":{)");
        member("file_path", workFolder + "/src/tide.rs");
    }
    endObject();
    raw(",");
    closeBlock();
    toolResult(callID);
}

/// A result stands twice: as the model gets it, and as the client shows it.
void ClaudeSession::toolResult(std::string_view callID) {
    open("user");
    raw(R"("message":{"role":"user","content":[{)");
    member("tool_use_id", callID);
    member("type", "tool_result");
    text("content", allTexts.code, 2200, 1.4);
    endObject();
    raw(R"(]},"toolUseResult":{"type":"text",)");
    text("stdout", allTexts.code, 2200, 1.4);
    endObject();
    raw(",");
    close();
}

void ClaudeSession::compaction() {
    open("system");
    member("subtype", "compact_boundary");
    member("content", "Conversation compacted");
    close();
    context_ = 15'000 + dice.below(10'000);
}

}  // namespace ledgerfern::bench
