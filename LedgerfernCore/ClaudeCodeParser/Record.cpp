#include "ClaudeCodeParser/Record.h"

#include <algorithm>
#include <array>

#include "ClaudeCodeParser/Attribution.h"
#include "ClaudeCodeParser/ClaudeCodeParser.h"
#include "Foundation/Arithmetic.h"
#include "Foundation/Paths.h"
#include "Parsing/FirstText.h"
#include "Parsing/JsonSize.h"
#include "Parsing/MarkerSearch.h"
#include "Parsing/StringSize.h"
#include "UsageRecords/TSDate.h"

namespace ledgerfern::ClaudeCodeParser {

namespace {

/// The bytes that decide whether a line is worth parsing.
constexpr std::array<std::string_view, 4> markers = {"\"cache_read_input_tokens\"", "\"input_tokens\"",
                                                     "\"cwd\"", "\"compact_boundary\""};

constexpr std::string_view userLabel = "user messages";

bool isTrue(const OptionalJson& value) {
    bool result = false;
    return value && value->get_bool().get(result) == simdjson::SUCCESS && result;
}

/// A line's outer object: what every record has.
struct Record {
    explicit Record(const JsonObject& object) {
        const auto found =
            members(object, "timestamp", "type", "cwd", "sessionId", "session_id", "isSidechain", "agentId",
                    "subtype", "requestId", "message", "content", "attachment");
        ts = TSDate::parse(asString(found[0]));
        type = asString(found[1]);
        cwd = asString(found[2]);
        sessionId = asString(found[3]);
        if (!sessionId) sessionId = asString(found[4]);
        isSidechain = isTrue(found[5]);
        agentId = asString(found[6]);
        subtype = asString(found[7]);
        requestId = asString(found[8]);
        content = found[10];
        attachment = found[11];
        if (const auto message = asObject(found[9])) {
            const auto [modelValue, usageValue, contentValue] =
                members(*message, "model", "usage", "content");
            model = asString(modelValue);
            usage = asObject(usageValue);
            messageContent = contentValue;
        }
    }

    /// What the conversation chain is called that the record belongs to.
    std::string chain() const {
        return isSidechain ? "side:" + std::string(agentId.value_or("")) : std::string("main");
    }

    std::optional<Instant> ts;
    std::optional<std::string_view> type, cwd, sessionId, agentId, subtype, requestId;
    bool isSidechain = false;
    OptionalJson content, attachment;
    // Of its message:
    std::optional<std::string_view> model;
    std::optional<JsonObject> usage;
    OptionalJson messageContent;
};

bool isSynthetic(const Record& record) {
    return equals(record.model, "<synthetic>");
}

void takeTime(const Record& record, State& state) {
    if (!record.ts) return;
    if (!state.started) state.started = record.ts;
    if (!state.lastTs || *record.ts > *state.lastTs) state.lastTs = record.ts;
}

/// The first record that names a working directory ends the search for meta data.
void takeMeta(const Record& record, State& state) {
    if (state.metaSet) return;
    if (record.cwd) {
        state.metaSet = true;
        state.cwd = *record.cwd;
        const std::string_view project = lastPathComponent(state.cwd);
        state.project = project.empty() ? "?" : project;
    }
    if (!state.sessionId && record.sessionId) state.sessionId = *record.sessionId;
}

void takeFirstMessage(const Record& record, State& state) {
    if (state.firstUserMessage || !equals(record.type, "user")) return;
    auto text = RolloutParser::firstText(record.messageContent ? record.messageContent : record.content);
    // A text that starts with "<" is a block of tags that the client put there.
    if (text && !text->starts_with('<')) state.firstUserMessage = std::move(text);
}

void addEntry(std::vector<ContextEntry>& entries, State& state, std::string_view label, std::int64_t bytes) {
    entries.push_back({state.names.intern(label), bytes});
}

/// Hands each block to `take`, or none of them where an element isn't an object.
template <class Take>
void forEachBlock(const JsonArray& blocks, const Take& take) {
    for (const JsonValue block : blocks)
        if (!block.is_object()) return;
    for (const JsonValue block : blocks)
        take(*asObject(block));
}

void takeUserBlock(const JsonObject& block, State& state) {
    const auto [type, id, content, text] = members(block, "type", "tool_use_id", "content", "text");
    if (equals(asString(type), "tool_result")) {
        const auto callId = asString(id);
        const auto label = callId ? state.labels.labelOf(*callId) : StringPool::none;
        if (label == StringPool::none)
            addEntry(state.nextAdds, state, "tool:result", approxLen(content));
        else
            state.nextAdds.push_back({label, approxLen(content)});
    } else {
        addEntry(state.nextAdds, state, userLabel, text ? approxLen(text) : jsonLen(block));
    }
}

void takeUser(const Record& record, State& state) {
    if (const auto text = asString(record.messageContent))
        addEntry(state.nextAdds, state, userLabel, utf16Size(*text));
    else if (const auto blocks = asArray(record.messageContent))
        forEachBlock(*blocks, [&](const JsonObject& block) { takeUserBlock(block, state); });
}

/// Closes the request before, and counts a new one.
void openRequest(const Record& record, State& state) {
    state.seenRequestIds.intern(*record.requestId);
    state.assistantRecords = checkedAdd(state.assistantRecords, 1);
    attributePending(state, state.stats);

    const auto model = isSynthetic(record) ? std::nullopt : record.model;
    if (!state.model && model) state.model = *model;
    RequestRecord request;
    if (record.ts) request.time = *record.ts;
    request.d = deltas(*record.usage);
    if (model) request.model = state.names.intern(*model);
    // What it is the first to read is known already, and what it writes doesn't compete.
    request.dominant = dominantLabel(state.nextAdds);
    state.totals.add(request.d);
    state.requests.push_back(request);
    state.trackers[record.chain()].observe(request.d, record.ts, model, state.insights);

    state.pendingIdx = state.requests.size() - 1;
    state.curAdds.swap(state.nextAdds);
    state.nextAdds.clear();
    state.curAsst.clear();
}

void takeToolUse(const JsonObject& block, State& state) {
    const auto [nameValue, input, idValue] = members(block, "name", "input", "id");
    const auto label = state.names.intern(toolLabel(asString(nameValue).value_or("?"), asObject(input)));
    if (const auto id = asString(idValue)) state.labels.setLabel(state.labels.number(*id), label);
    state.curAsst.push_back({label, approxLen(input)});
}

/// Blocks belong to the pending request, also those of a repeated line of an older one.
void takeAssistantBlock(const JsonObject& block, State& state) {
    const auto [typeValue, text, thinking] = members(block, "type", "text", "thinking");
    const auto type = asString(typeValue);
    if (equals(type, "tool_use"))
        takeToolUse(block, state);
    else if (equals(type, "text"))
        addEntry(state.curAsst, state, replayedLabel, approxLen(text));
    else if (equals(type, "thinking"))
        addEntry(state.curAsst, state, replayedLabel, approxLen(thinking));
}

/// Most lines go on with the request before.
bool wasSeen(std::string_view requestId, State& state) {
    StringIndex& seen = state.seenRequestIds;
    if (seen.size() > 0 && seen[static_cast<StringPool::Index>(seen.size() - 1)] == requestId) return true;
    return seen.find(requestId) != StringPool::none;
}

void takeAssistant(const Record& record, State& state) {
    if (!record.usage || !record.requestId) {
        if (!isSynthetic(record)) state.assistantWithoutUsage = checkedAdd(state.assistantWithoutUsage, 1);
        return;
    }
    if (!wasSeen(*record.requestId, state)) openRequest(record, state);
    if (const auto blocks = asArray(record.messageContent))
        forEachBlock(*blocks, [&](const JsonObject& block) { takeAssistantBlock(block, state); });
}

void dispatch(const Record& record, State& state) {
    if (equals(record.type, "system")) {
        if (equals(record.subtype, "compact_boundary"))
            state.trackers[record.chain()].pendingCompaction = true;
    } else if (equals(record.type, "user")) {
        takeUser(record, state);
    } else if (equals(record.type, "attachment")) {
        addEntry(state.nextAdds, state, "attachments", approxLen(record.attachment));
    } else if (equals(record.type, "assistant")) {
        takeAssistant(record, state);
    }
}

}  // namespace

void applyPadded(std::string_view line, State& state, JsonReader& reader) {
    using Markers = MarkerSearch<markers>;
    if (Markers::first(line).position == Markers::npos) return;
    const auto object = asObject(reader.readPadded(line));
    if (!object) {
        state.malformedLines = checkedAdd(state.malformedLines, 1);
        return;
    }
    const Record record(*object);
    takeTime(record, state);
    takeMeta(record, state);
    if (record.isSidechain)
        state.sidechainRecords = checkedAdd(state.sidechainRecords, 1);
    else
        state.sawMainChain = true;
    takeFirstMessage(record, state);
    dispatch(record, state);
}

UsageTotals deltas(const JsonObject& usage) {
    const auto [plain, read, written, output] = members(usage, "input_tokens", "cache_read_input_tokens",
                                                        "cache_creation_input_tokens", "output_tokens");
    UsageTotals d;
    d.cachedInputTokens = asInteger(read).value_or(0);
    d.cacheWriteInputTokens = asInteger(written).value_or(0);
    d.outputTokens = asInteger(output).value_or(0);
    for (const std::int64_t part :
         {asInteger(plain).value_or(0), d.cachedInputTokens, d.cacheWriteInputTokens})
        addFromOutside(d.inputTokens, part);
    d.totalTokens = d.inputTokens;
    addFromOutside(d.totalTokens, d.outputTokens);
    return d;
}

}  // namespace ledgerfern::ClaudeCodeParser
