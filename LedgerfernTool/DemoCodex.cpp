#include "DemoCodex.h"

#include <algorithm>

#include "DemoActions.h"
#include "Engine/LiveLog.h"
#include "JsonText.h"

namespace ledgerfern::DemoCodex {

namespace {

using DemoTime::Milliseconds;

class Log {
public:
    Log(const DemoSession& session, const std::string& parentId)
        : session_(session), parentId_(parentId), random_(session.textSeed) {}

    std::string text() {
        start();
        for (std::size_t i = 0; i < session_.requests.size(); ++i)
            addRequest(session_.requests[i], i == 0 ? session_.start() : session_.requests[i - 1].at);
        return std::move(text_);
    }

private:
    void line(std::string_view type, const JsonText& payload) {
        text_ += JsonText::object({{"timestamp", DemoTime::stamp(at_)}, {"type", type}, {"payload", payload}})
                     .text();
        text_ += '\n';
    }
    void event(std::string_view type, std::vector<JsonText::Member> members) {
        members.insert(members.begin(), {"type", type});
        line("event_msg", JsonText::object(members));
    }
    void item(std::string_view type, std::vector<JsonText::Member> members) {
        members.insert(members.begin(), {"type", type});
        line("response_item", JsonText::object(members));
    }
    void message(std::string_view role, std::string_view text) {
        const JsonText part =
            JsonText::object({{"type", role == "assistant" ? "output_text" : "input_text"}, {"text", text}});
        item("message", {{"role", role}, {"content", JsonText::array({part})}});
    }

    JsonText source() const {
        if (session_.role == DemoRole::main) return session_.textSeed % 4 == 0 ? "vscode" : "cli";
        if (session_.role == DemoRole::guardian)
            return JsonText::object({{"subagent", JsonText::object({{"other", "guardian"}})}});
        const JsonText spawn = JsonText::object({{"parent_thread_id", parentId_},
                                                 {"depth", 1},
                                                 {"agent_nickname", session_.nickname},
                                                 {"agent_role", "explorer"}});
        return JsonText::object({{"subagent", JsonText::object({{"thread_spawn", spawn}})}});
    }

    void start() {
        at_ = session_.start();
        const JsonText git =
            JsonText::object({{"commit_hash", random_.hex(40)}, {"branch", session_.project->branch}});
        line("session_meta",
             JsonText::object({{"id", session_.id},
                               {"timestamp", DemoTime::stamp(at_)},
                               {"cwd", demoFolder(session_)},
                               {"originator", session_.textSeed % 4 == 0 ? "codex_vscode" : "codex-tui"},
                               {"cli_version", "0.147.0"},
                               {"source", source()},
                               {"model_provider", "openai"},
                               {"git", git}}));
        applyModel(session_.requests.front());
        message("user", "<environment_context>\n  <cwd>" + demoFolder(session_) +
                            "</cwd>\n  <approval_policy>on-request</approval_policy>\n  <shell>zsh</shell>\n"
                            "</environment_context>");
    }

    void applyModel(const DemoRequest& request) {
        model_ = session_.models[request.model];
        const JsonText settings = JsonText::object({{"model", model_},
                                                    {"approval_policy", "on-request"},
                                                    {"cwd", demoFolder(session_)},
                                                    {"reasoning_effort", "medium"}});
        event("thread_settings_applied", {{"thread_settings", settings}});
    }

    /// What opens a turn: the user's words, or those of the agent that asks.
    std::string question() {
        const bool isFirst = !hasAsked_;
        hasAsked_ = true;
        if (session_.role == DemoRole::guardian)
            return "<approval_request>\n" + filledIn(pickCommandLine(random_).text, random_) +
                   "\n</approval_request>";
        if (session_.role == DemoRole::subagent) {
            // Some get their errand wrapped up, so that they go by their nickname.
            const std::string errand = filledIn(random_.pick(errands()), random_);
            return session_.textSeed % 3 == 0 ? "<task>" + errand + "</task>" : errand;
        }
        return std::string(isFirst ? demoTask(session_).prompt : random_.pick(session_.project->followUps));
    }

    void openTurn(const DemoRequest& request) {
        if (session_.models[request.model] != model_) applyModel(request);
        const std::string text = question();
        message("user", text);
        event("user_message", {{"message", text}});
    }

    void addRequest(const DemoRequest& request, Milliseconds before) {
        // Every line of a request stands between the one before and its count of tokens.
        at_ = std::max(before, request.at - 3 * DemoTime::second);
        if (request.compacted) compact();
        if (request.opensTurn) openTurn(request);
        item("reasoning",
             {{"id", "rs_" + random_.hex(24)},
              {"summary", JsonText::array({})},
              {"encrypted_content", random_.word(static_cast<std::size_t>(random_.between(20, 50)))}});
        at_ = std::max(before, request.at - DemoTime::second);
        if (request.closesTurn)
            close();
        else
            act();
        at_ = request.at;
        countTokens(request);
    }

    void compact() {
        line("compacted", JsonText::object({{"message", random_.pick(summaries())}}));
        event("context_compacted", {});
    }

    void close() {
        const std::string text = filledIn(random_.pick(summaries()), random_);
        event("agent_message", {{"message", text}});
        message("assistant", text);
    }

    void act() {
        switch (pickAction(random_)) {
            case DemoActionKind::say:
                return close();
            case DemoActionKind::shell:
                return runCommand();
            case DemoActionKind::scripting:
                return runScript();
            case DemoActionKind::tool:
                return random_.chance(60) ? patch() : plan();
            case DemoActionKind::search:
                return search();
            case DemoActionKind::mcp:
                return callServer();
        }
    }

    std::string callId() { return "call_" + random_.word(24); }

    void call(std::string_view name, const std::string& id, const JsonText& arguments) {
        item("function_call", {{"name", name}, {"arguments", arguments.text()}, {"call_id", id}});
    }
    void answer(const std::string& id, std::string_view output) {
        item("function_call_output", {{"call_id", id}, {"output", output}});
    }

    void runCommand() {
        const DemoCommandLine& command = pickCommandLine(random_);
        const std::string id = callId();
        call("exec_command", id,
             JsonText::object({{"cmd", filledIn(command.text, random_)}, {"workdir", demoFolder(session_)}}));
        answer(id, "Process exited with code 0\nOutput:\n" +
                       filledInLines(command.output, random_.between(2, 11), random_));
    }

    void runScript() {
        const std::string id = callId();
        const std::string script =
            filledIn("const r = await tools.exec_command({cmd: \"cat {f}\"}); text(r);", random_);
        item("custom_tool_call",
             {{"status", "completed"}, {"call_id", id}, {"name", "exec"}, {"input", script}});
        item("custom_tool_call_output",
             {{"call_id", id}, {"output", filledInLines(codeLines(), random_.between(4, 12), random_)}});
    }

    void patch() {
        const std::string id = callId();
        const std::string file(pickFile(random_));
        const std::string change = "*** Begin Patch\n*** Update File: " + file + "\n@@\n" +
                                   filledInLines(codeLines(), random_.between(3, 9), random_) +
                                   "\n*** End Patch";
        item("custom_tool_call",
             {{"status", "completed"}, {"call_id", id}, {"name", "apply_patch"}, {"input", change}});
        item("custom_tool_call_output",
             {{"call_id", id}, {"output", "Success. Updated the following files:\nM " + file}});
    }

    void plan() {
        const std::string id = callId();
        const JsonText step = JsonText::object(
            {{"step", filledIn(random_.pick(remarks()), random_)}, {"status", "in_progress"}});
        call("update_plan", id, JsonText::object({{"plan", JsonText::array({step})}}));
        answer(id, "Plan updated");
    }

    void search() {
        const JsonText query =
            JsonText::object({{"type", "search"}, {"query", filledIn("{w} {w} best practice", random_)}});
        item("web_search_call",
             {{"id", "ws_" + random_.hex(24)}, {"status", "completed"}, {"action", query}});
    }

    void callServer() {
        const DemoServerTool& tool = pickServerTool(random_);
        const std::string id = callId();
        const JsonText arguments = JsonText::object({{tool.argument, filledIn(tool.value, random_)}});
        call(tool.tool, id, arguments);
        const JsonText invocation =
            JsonText::object({{"server", tool.server}, {"tool", tool.tool}, {"arguments", arguments}});
        const JsonText duration =
            JsonText::object({{"secs", 0}, {"nanos", random_.between(1'000'000, 900'000'000)}});
        event("mcp_tool_call_end", {{"call_id", id}, {"invocation", invocation}, {"duration", duration}});
        answer(id, filledInLines(tool.output, random_.about(tool.lines), random_));
    }

    static JsonText usage(std::int64_t input, std::int64_t cached, std::int64_t output,
                          std::int64_t reasoning) {
        return JsonText::object({{"input_tokens", input},
                                 {"cached_input_tokens", cached},
                                 {"cache_write_input_tokens", 0},
                                 {"output_tokens", output},
                                 {"reasoning_output_tokens", reasoning},
                                 {"total_tokens", input + output}});
    }

    void countTokens(const DemoRequest& request) {
        input_ += request.input;
        cached_ += request.cached;
        output_ += request.output;
        reasoning_ += request.reasoning;
        const JsonText info = JsonText::object(
            {{"total_token_usage", usage(input_, cached_, output_, reasoning_)},
             {"last_token_usage", usage(request.input, request.cached, request.output, request.reasoning)},
             {"model_context_window", 353'400}});
        const JsonText primary =
            JsonText::object({{"used_percent", JsonText::decimal(10 * request.usedPercent)},
                              {"window_minutes", 10'080},
                              {"resets_at", request.resetsAt}});
        const JsonText limits = JsonText::object(
            {{"limit_id", "codex"}, {"primary", primary}, {"secondary", nullptr}, {"plan_type", "pro"}});
        event("token_count", {{"info", info}, {"rate_limits", limits}});
    }

    const DemoSession& session_;
    const std::string& parentId_;
    DemoRandom random_;
    std::string text_;
    Milliseconds at_ = 0;
    std::string_view model_;
    bool hasAsked_ = false;
    std::int64_t input_ = 0;
    std::int64_t cached_ = 0;
    std::int64_t output_ = 0;
    std::int64_t reasoning_ = 0;
};

}  // namespace

std::string path(const DemoSession& session) {
    return ".codex/sessions/" + DemoTime::dayFolder(session.start()) + "/rollout-" +
           DemoTime::fileStamp(session.start()) + "-" + session.id + ".jsonl";
}

std::string log(const DemoSession& session, const std::string& parentId) {
    return Log(session, parentId).text();
}

std::string threadNames(const std::vector<DemoSession>& sessions) {
    std::string text;
    for (const DemoSession& session : sessions) {
        if (session.agent != ToolKind::codex || session.role != DemoRole::main) continue;
        // A thread has its own id, and its log one that follows from the file's name: the name stands for
        // both.
        for (const std::string& id : {session.id, sessionIDForPath(path(session))})
            text += JsonText::object({{"id", id},
                                      {"thread_name", demoTask(session).title},
                                      {"updated_at", DemoTime::stamp(session.end())}})
                        .text() +
                    "\n";
    }
    return text;
}

}  // namespace ledgerfern::DemoCodex
