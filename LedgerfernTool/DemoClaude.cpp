#include "DemoClaude.h"

#include <algorithm>

#include "DemoActions.h"
#include "Foundation/UnicodeText.h"
#include "JsonText.h"

namespace ledgerfern::DemoClaude {

namespace {

using DemoTime::Milliseconds;
using Members = std::vector<JsonText::Member>;

/// How many requests of a session are those of a sub-agent, where there is a side chain.
constexpr std::size_t sideChainLength = 12;

class Log {
public:
    Log(const DemoSession& session, const std::string& parentId)
        : session_(session),
          sessionId_(parentId.empty() ? session.id : parentId),
          random_(session.textSeed) {}

    std::string text() {
        at_ = session_.start();
        if (session_.role == DemoRole::main) snapshot();
        for (std::size_t i = 0; i < session_.requests.size(); ++i) {
            setSideChain(i);
            addRequest(session_.requests[i], i == 0 ? at_ : session_.requests[i - 1].at);
        }
        return std::move(text_);
    }

private:
    void setSideChain(std::size_t place) {
        const bool isInside = session_.hasSideChain && place > 0 && place <= sideChainLength;
        isSideChain_ = session_.role == DemoRole::subagent || isInside;
        agentId_ = isSideChain_ ? session_.nickname : "";
    }

    void add(const JsonText& record) {
        text_ += record.text();
        text_ += '\n';
    }

    /// A record of the conversation: what all have, then its own.
    void record(std::string_view type, const Members& own) {
        const std::string id = random_.uuid();
        Members members = {{"parentUuid", lastId_.empty() ? JsonText(nullptr) : JsonText(lastId_)},
                           {"isSidechain", isSideChain_},
                           {"userType", "external"},
                           {"cwd", demoFolder(session_)},
                           {"sessionId", sessionId_},
                           {"version", "2.1.227"},
                           {"gitBranch", session_.project->branch}};
        if (isSideChain_) members.emplace_back("agentId", agentId_);
        members.emplace_back("type", type);
        members.insert(members.end(), own.begin(), own.end());
        members.emplace_back("uuid", id);
        members.emplace_back("timestamp", DemoTime::stamp(at_));
        add(JsonText::object(members));
        lastId_ = id;
    }

    void user(const JsonText& content) {
        record("user", {{"message", JsonText::object({{"role", "user"}, {"content", content}})}});
    }

    void snapshot() {
        add(JsonText::object({{"type", "file-history-snapshot"},
                              {"messageId", random_.uuid()},
                              {"snapshot", JsonText::object({{"timestamp", DemoTime::stamp(at_)}})},
                              {"isSnapshotUpdate", false}}));
    }

    void addRequest(const DemoRequest& request, Milliseconds before) {
        // Every line of a request stands between those of the one before and its instant.
        at_ = std::max(before, request.at - 2 * DemoTime::second);
        answerOpenCalls();
        if (request.compacted) compact(request);
        if (request.opensTurn) openTurn(request);
        const std::string requestId = "req_011C" + random_.word(20);
        const std::string messageId = "msg_01" + random_.word(22);
        const auto block = [&](const JsonText& content) {
            assistant(request, requestId, messageId, content);
        };
        at_ = std::max(before, request.at - DemoTime::second);
        if (random_.chance(30)) block(thought());
        if (random_.chance(25)) block(text(random_.pick(remarks())));
        at_ = request.at;
        block(request.closesTurn ? text(random_.pick(summaries())) : action());
    }

    void openTurn(const DemoRequest& request) {
        const std::string_view model = session_.models[request.model];
        if (!model_.empty() && model_ != model)
            user("<command-name>/model</command-name>\n<command-args>" + std::string(model) +
                 "</command-args>");
        model_ = model;
        if (session_.role == DemoRole::main && !hasAsked_ && session_.textSeed % 2 == 0) attachment();
        if (session_.role == DemoRole::subagent)
            user(filledIn(random_.pick(errands()), random_));
        else
            user(hasAsked_ ? random_.pick(session_.project->followUps) : demoTask(session_).prompt);
        hasAsked_ = true;
        if (random_.chance(4)) hitLimit();
    }

    void attachment() {
        const JsonText skills =
            JsonText::object({{"type", "skill_listing"},
                              {"content", "- review: Look over a change\n- release: Prepare a release"}});
        record("attachment", {{"attachment", skills}});
    }

    /// What Claude Code itself says where the service doesn't answer; no request.
    void hitLimit() {
        const JsonText message =
            JsonText::object({{"model", "<synthetic>"},
                              {"role", "assistant"},
                              {"content", JsonText::array({text("The service is busy. Trying again …")})},
                              {"usage", usage(0, 0, 0, 0)}});
        record("assistant", {{"message", message}, {"isApiErrorMessage", true}});
    }

    void compact(const DemoRequest& request) {
        const JsonText details = JsonText::object({{"trigger", "auto"}, {"preTokens", request.input * 5}});
        record("system", {{"subtype", "compact_boundary"},
                          {"content", "Conversation compacted"},
                          {"compactMetadata", details}});
        user("What happened so far: " + filledInLines(summaries(), 3, random_));
    }

    JsonText text(std::string_view words) {
        return JsonText::object({{"type", "text"}, {"text", filledIn(words, random_)}});
    }
    JsonText thought() {
        const std::string words = filledIn(random_.pick(thoughts()), random_);
        return JsonText::object({{"type", "thinking"}, {"thinking", words}, {"signature", random_.word(48)}});
    }

    static JsonText usage(std::int64_t input, std::int64_t written, std::int64_t cached,
                          std::int64_t output) {
        return JsonText::object({{"input_tokens", input},
                                 {"cache_creation_input_tokens", written},
                                 {"cache_read_input_tokens", cached},
                                 {"output_tokens", output},
                                 {"service_tier", "standard"}});
    }

    /// One line of a request, which has one for each block. All tell its tokens.
    void assistant(const DemoRequest& request, const std::string& requestId, const std::string& messageId,
                   const JsonText& block) {
        const std::int64_t fresh = std::min<std::int64_t>(8, request.input - request.cached);
        const JsonText message =
            JsonText::object({{"model", session_.models[request.model]},
                              {"id", messageId},
                              {"type", "message"},
                              {"role", "assistant"},
                              {"content", JsonText::array({block})},
                              {"stop_reason", nullptr},
                              {"usage", usage(fresh, request.input - request.cached - fresh, request.cached,
                                              request.output)}});
        record("assistant", {{"message", message}, {"requestId", requestId}});
    }

    /// What the request asks for: a tool's call, whose result the next request reads.
    JsonText action() {
        switch (pickAction(random_)) {
            case DemoActionKind::say:
                return text(random_.pick(remarks()));
            case DemoActionKind::shell:
            case DemoActionKind::scripting:
                return runCommand();
            case DemoActionKind::tool:
                return useTool();
            case DemoActionKind::search:
                return search();
            case DemoActionKind::mcp:
                return callServer();
        }
        return nullptr;
    }

    JsonText search() {
        const std::string query = filledIn("{w} {w} best practice", random_);
        return call("WebSearch", {{"query", query}}, filledInLines(remarks(), 3, random_));
    }
    JsonText delegate() {
        const std::string errand = filledIn(random_.pick(errands()), random_);
        return call("Task", {{"subagent_type", "Explore"}, {"prompt", errand}},
                    filledIn(random_.pick(summaries()), random_));
    }

    JsonText call(std::string_view name, const Members& input, std::string result) {
        openCall_ = "toolu_01" + random_.word(22);
        openResult_ = std::move(result);
        return JsonText::object(
            {{"type", "tool_use"}, {"id", openCall_}, {"name", name}, {"input", JsonText::object(input)}});
    }

    void answerOpenCalls() {
        if (openCall_.empty()) return;
        user(JsonText::array({JsonText::object({{"tool_use_id", openCall_},
                                                {"type", "tool_result"},
                                                {"content", openResult_},
                                                {"is_error", false}})}));
        openCall_.clear();
    }

    JsonText runCommand() {
        const DemoCommandLine& command = pickCommandLine(random_);
        const std::string text = filledIn(command.text, random_);
        return call("Bash", {{"command", text}, {"description", "Run " + text.substr(0, text.find(' '))}},
                    filledInLines(command.output, random_.between(2, 11), random_));
    }

    JsonText useTool() {
        const JsonText file = demoFolder(session_) + "/" + std::string(pickFile(random_));
        const std::string code = filledInLines(codeLines(), random_.between(4, 16), random_);
        switch (random_.between(0, 9)) {
            case 0:
                return call("Grep", {{"pattern", filledIn("{w}Of", random_)}, {"output_mode", "content"}},
                            code.substr(0, 300));
            case 1:
                return call("TodoWrite",
                            {{"todos", JsonText::array({filledIn(random_.pick(remarks()), random_)})}},
                            "Todos have been modified");
            case 2:
                return delegate();
            case 3:
            case 4:
            case 5:
                return call("Edit", {{"file_path", file}, {"new_string", code}},
                            "The file has been updated.");
            case 6:
                return call("Write", {{"file_path", file}, {"content", code}}, "File created.");
            default:
                return call("Read", {{"file_path", file}}, code);
        }
    }

    JsonText callServer() {
        const DemoServerTool& tool = pickServerTool(random_);
        const std::string value = filledIn(tool.value, random_);
        return call(std::string("mcp__").append(tool.server).append("__").append(tool.tool),
                    {{tool.argument, value}}, filledInLines(tool.output, random_.about(tool.lines), random_));
    }

    const DemoSession& session_;
    const std::string& sessionId_;
    DemoRandom random_;
    std::string text_;
    Milliseconds at_ = 0;
    std::string lastId_;
    bool isSideChain_ = false;
    std::string agentId_;
    std::string_view model_;
    bool hasAsked_ = false;
    std::string openCall_;  // the call whose result is still to come; empty: none
    std::string openResult_;
};

/// The name that Claude Code gives to a project's folder: every character that is no letter or digit of ASCII
/// becomes a hyphen.
std::string projectFolder(const DemoSession& session) {
    return mappedCodePoints(demoFolder(session), [](char32_t c) -> std::optional<char32_t> {
        const bool isKept = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
        return isKept ? c : U'-';
    });
}

}  // namespace

std::string path(const DemoSession& session, const std::string& parentId) {
    const std::string folder = ".claude/projects/" + projectFolder(session) + "/";
    if (session.role == DemoRole::main) return folder + session.id + ".jsonl";
    return folder + parentId + "/subagents/agent-" + session.nickname + ".jsonl";
}

std::string log(const DemoSession& session, const std::string& parentId) {
    return Log(session, parentId).text();
}

}  // namespace ledgerfern::DemoClaude
