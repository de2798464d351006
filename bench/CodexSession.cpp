#include "CodexSession.h"

#include <algorithm>
#include <array>

namespace ledgerfern::bench {

CodexSession::CodexSession(const SessionTexts& texts, Random random, std::int64_t start)
    : SessionWriter(texts, random, start) {
    static constexpr std::array<std::string_view, 3> models = {"gpt-5.4", "gpt-5.5", "gpt-5.6-sol"};
    model_ = models[dice.below(models.size())];
}

void CodexSession::writeBeginning() {
    sessionMeta();
    // A forked session repeats the meta data of those it stems from.
    if (dice.percent(4)) {
        for (std::size_t more = 1 + dice.below(3); more > 0; --more)
            sessionMeta();
    }
    message("developer", 8000);
}

void CodexSession::writeTurn(std::size_t limit) {
    turnID_ = uuid();
    open("event_msg", "task_started");
    member("turn_id", turnID_);
    count("model_context_window", 353400);
    close();
    if (dice.percent(25)) worldState();
    turnContext();
    if (dice.percent(10)) settings();
    message("user", 900);
    open("event_msg", "user_message");
    text("message", allTexts.prose, 500, 1);
    close();
    for (std::size_t requests = 3 + dice.below(16); requests > 0 && length() < limit; --requests)
        request();
    open("event_msg", "task_complete");
    member("turn_id", turnID_);
    text("last_agent_message", allTexts.prose, 1200, 0.8);
    close();
}

void CodexSession::request() {
    reasoning();
    if (dice.percent(45)) answer();
    for (std::size_t calls = 1 + dice.below(2); calls > 0; --calls)
        toolCall();
    tokenCount();
    if (context_ > 300'000) compaction();
}

void CodexSession::open(std::string_view type, std::string_view payloadType) {
    presentTime += static_cast<std::int64_t>(dice.below(4000));
    raw(R"({"timestamp":")");
    raw(timestamp());
    raw(R"(","type":")");
    raw(type);
    raw(R"(","payload":{)");
    if (payloadType.empty())
        member("model_provider", "openai");
    else
        member("type", payloadType);
}

void CodexSession::close() {
    endObject();
    raw("}\n");
}

void CodexSession::usage(std::string_view key, const Counters& counters) {
    raw("\"");
    raw(key);
    raw(R"(":{)");
    count("input_tokens", counters.input);
    count("cached_input_tokens", counters.cached);
    count("output_tokens", counters.output);
    count("reasoning_output_tokens", counters.reasoning);
    count("total_tokens", counters.input + counters.output);
    endObject();
    raw(",");
}

void CodexSession::sessionMeta() {
    open("session_meta");
    member("id", sessionId);
    member("timestamp", timestamp());
    member("cwd", workFolder);
    member("originator", "codex_cli_rs");
    member("cli_version", "0.142.5");
    member("source", "cli");
    raw(R"("base_instructions":{)");
    text("text", allTexts.prose, 20000, 0.3);
    endObject();
    raw(R"(,"git":{)");
    member("commit_hash", hexadecimal(40));
    member("branch", "main");
    endObject();
    raw(",");
    close();
}

void CodexSession::worldState() {
    open("world_state");
    raw(R"("full":true,"state":{"agents_md":{)");
    member("directory", workFolder);
    text("text", allTexts.prose, 14000, 0.8);
    endObject();
    raw(R"(,"host_skills":{)");
    text("body", allTexts.prose, 9000, 0.8);
    endObject();
    raw(R"(,"permissions":{"approved_command_prefixes":[["git","log"],["ls"],["rg"]]},)");
    member("model", model_);
    endObject();
    raw(",");
    close();
}

void CodexSession::turnContext() {
    open("turn_context");
    member("turn_id", turnID_);
    member("cwd", workFolder);
    member("current_date", timestamp().substr(0, 10));
    member("timezone", "Europe/Paris");
    member("approval_policy", "on-request");
    raw(R"("sandbox_policy":{"type":"workspace-write","network_access":false},)");
    member("model", model_);
    member("effort", "high");
    text("user_instructions", allTexts.prose, 1000, 0.5);
    close();
}

void CodexSession::settings() {
    open("event_msg", "thread_settings_applied");
    raw(R"("thread_settings":{)");
    member("model", model_);
    member("cwd", workFolder);
    member("approval_policy", "on-request");
    text("developer_instructions", allTexts.prose, 900, 0.3);
    endObject();
    raw(",");
    close();
}

void CodexSession::message(std::string_view role, double median) {
    open("response_item", "message");
    member("role", role);
    raw(R"("content":[{"type":"input_text",)");
    text("text", allTexts.prose, median, 1);
    endObject();
    raw("],");
    close();
}

void CodexSession::reasoning() {
    open("response_item", "reasoning");
    member("id", "rs_" + hexadecimal(50));
    raw(R"("summary":[{"type":"summary_text",)");
    text("text", allTexts.prose, 60, 0.5);
    endObject();
    raw("],");
    text("encrypted_content", allTexts.base64, 1800, 0.9);
    close();
}

void CodexSession::answer() {
    const auto length =
        static_cast<std::size_t>(std::min(dice.logNormal(500 * allTexts.scale, 1), longestText));
    const std::string_view content = allTexts.prose.take(dice, length);
    open("event_msg", "agent_message");
    member("message", content);
    close();
    open("response_item", "message");
    member("role", "assistant");
    raw(R"("content":[{"type":"output_text",)");
    member("text", content);
    endObject();
    raw("],");
    close();
}

void CodexSession::toolCall() {
    const std::string callID = "call_" + letters(24);
    const bool custom = dice.percent(25);
    open("response_item", custom ? "custom_tool_call" : "function_call");
    member("status", "completed");
    member("call_id", callID);
    if (custom) {
        member("name", "apply_patch");
        text("input", allTexts.code, 700, 1.1);
    } else {
        static constexpr std::array<std::string_view, 5> commands = {
            "git status --short", "rg -n lantern src", "sed -n '1,200p' src/harbour/tide.rs", "cargo test -q",
            "cd build && ninja"};
        member("name", dice.percent(90) ? "shell" : "update_plan");
        member("arguments", R"({\"command\":[\"bash\",\"-lc\",\")" +
                                std::string(commands[dice.below(commands.size())]) + R"(\"],\"workdir\":\")" +
                                workFolder + R"(\"})");
    }
    close();
    if (dice.percent(8)) execCommandEnd(callID);
    if (dice.percent(3)) mcpCallEnd(callID);
    toolOutput(callID, custom);
}

void CodexSession::execCommandEnd(std::string_view callID) {
    open("event_msg", "exec_command_end");
    member("call_id", callID);
    member("turn_id", turnID_);
    raw(R"("command":["/bin/zsh","-lc","cargo test"],)");
    member("cwd", workFolder);
    text("aggregated_output", allTexts.code, 1500, 1.2);
    raw(R"("exit_code":0,"duration":{"secs":1,"nanos":216691625},)");
    close();
}

void CodexSession::mcpCallEnd(std::string_view callID) {
    open("event_msg", "mcp_tool_call_end");
    member("call_id", callID);
    raw(R"("invocation":{"server":"browser","tool":"open","arguments":{)");
    text("code", allTexts.code, 500, 0.5);
    endObject();
    raw(R"(},"duration":{"secs":1,"nanos":216691625},"result":{"Ok":{"content":[{"type":"text",)");
    text("text", allTexts.code, 2500, 1);
    endObject();
    raw(R"(],"isError":false}},)");
    close();
}

void CodexSession::toolOutput(std::string_view callID, bool custom) {
    open("response_item", custom ? "custom_tool_call_output" : "function_call_output");
    member("call_id", callID);
    text("output", allTexts.code, custom ? 600 : 2500, 1.4);
    close();
}

void CodexSession::tokenCount() {
    Counters last;
    last.input = context_;
    last.cached = dice.percent(95) ? context_ / 128 * 120 : 0;
    last.output = 100 + dice.below(1500);
    last.reasoning = last.output / 3;
    context_ += last.output + 200 + dice.below(4000);
    total_.input += last.input;
    total_.cached += last.cached;
    total_.output += last.output;
    total_.reasoning += last.reasoning;
    open("event_msg", "token_count");
    raw(R"("info":{)");
    usage("total_token_usage", total_);
    usage("last_token_usage", last);
    count("model_context_window", 353400);
    endObject();
    const auto used = static_cast<std::uint64_t>(presentTime / 600'000 % 1000);
    raw(R"(,"rate_limits":{"limit_id":"codex","primary":{"used_percent":)");
    raw(std::to_string(used / 10) + "." + std::to_string(used % 10));
    raw(R"(,"window_minutes":10080,"resets_at":)");
    raw(std::to_string((presentTime / 604'800'000 + 1) * 604'800));
    raw(R"(},"secondary":null,"credits":null,"plan_type":"team"},)");
    close();
}

void CodexSession::compaction() {
    open("compacted");
    text("message", allTexts.prose, 6000, 0.5);
    close();
    open("event_msg", "context_compacted");
    close();
    context_ = 15'000 + dice.below(10'000);
}

}  // namespace ledgerfern::bench
