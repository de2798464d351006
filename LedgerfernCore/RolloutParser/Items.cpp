#include "Parsing/FirstText.h"
#include "Parsing/JsonSize.h"
#include "RolloutParser/RolloutParser.h"
#include "RolloutParser/Update.h"

namespace ledgerfern::RolloutParser {

void Update::takeItem(const JsonObject& payload, std::string_view type) {
    if (type == "message" || type == "reasoning") {
        takeMessage(payload);
    } else if (type == "function_call" || type == "custom_tool_call") {
        takeCall(payload);
    } else if (type == "function_call_output" || type == "custom_tool_call_output") {
        takeOutput(payload);
    } else if (type == "web_search_call" || type == "tool_search_call") {
        addItem(RequestItemKind::assistant, "tool:web_search", jsonLen(payload));
    } else if (type == "local_shell_call") {
        addItem(RequestItemKind::assistant, "tool:shell", jsonLen(payload));
    }
}

void Update::takeMessage(const JsonObject& payload) {
    const auto [roleValue, content] = members(payload, "role", "content");
    const std::string_view role = asString(roleValue).value_or("assistant");
    if (role != "user" && role != "system") {
        addItem(RequestItemKind::assistant, "assistant output (replayed)", jsonLen(payload));
        return;
    }
    addItem(RequestItemKind::addition, "user messages", approxLen(content));
    if (role != "user" || state_.firstUserMessage) return;
    const auto text = firstText(content);
    // A text that starts with "<" is a block of tags that the client put there.
    if (text && !text->starts_with('<')) state_.firstUserMessage = text;
}

void Update::takeCall(const JsonObject& payload) {
    const auto [id, name] = members(payload, "call_id", "name");
    addCallItem(RequestItemKind::assistant, asString(id), asString(name).value_or("?"), jsonLen(payload));
}

void Update::takeOutput(const JsonObject& payload) {
    const auto [id, output] = members(payload, "call_id", "output");
    addCallItem(RequestItemKind::addition, asString(id), "result", approxLen(output));
}

void Update::addItem(RequestItemKind kind, std::string_view label, std::int64_t bytes) {
    state_.window.push_back({bytes, StringPool::none, state_.names.intern(label), kind});
}

/// An item whose label is open until the update ends. Without a label of its call it is "tool:" and
/// `fallback`, which becomes a name of the session only where it may be needed.
void Update::addCallItem(RequestItemKind kind, std::optional<std::string_view> callId,
                         std::string_view fallback, std::int64_t bytes) {
    WindowItem item{bytes, StringPool::none, StringPool::none, kind};
    if (callId) item.call = state_.labels.number(*callId);
    if (state_.labels.label(item.call) == StringPool::none)
        item.label = state_.names.intern("tool:" + std::string(fallback));
    state_.window.push_back(item);
}

}  // namespace ledgerfern::RolloutParser
