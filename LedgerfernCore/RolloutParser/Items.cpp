#include "Parsing/FirstText.h"
#include "Parsing/JsonSize.h"
#include "RolloutParser/RolloutParser.h"
#include "RolloutParser/Update.h"

namespace ledgerfern::RolloutParser {

void Update::takeItem(const Envelope& line) {
    switch (line.payloadType) {
        case PayloadType::message:
        case PayloadType::reasoning:
            takeMessage(line);
            break;
        case PayloadType::functionCall:
        case PayloadType::customToolCall:
            addCallItem(RequestItemKind::assistant, line, asString(line.name()).value_or("?"),
                        jsonLen(*line.payload));
            break;
        case PayloadType::functionCallOutput:
        case PayloadType::customToolCallOutput:
            addCallItem(RequestItemKind::addition, line, "result", approxLen(line.output()));
            break;
        case PayloadType::webSearchCall:
        case PayloadType::toolSearchCall:
            addItem(RequestItemKind::assistant, "tool:web_search", jsonLen(*line.payload));
            break;
        case PayloadType::localShellCall:
            addItem(RequestItemKind::assistant, "tool:shell", jsonLen(*line.payload));
            break;
        default:
            break;
    }
}

void Update::takeMessage(const Envelope& line) {
    const auto role = asString(line.role());
    const bool isUsers = equals(role, "user");
    if (!isUsers && !equals(role, "system")) {
        addItem(RequestItemKind::assistant, "assistant output (replayed)", jsonLen(*line.payload));
        return;
    }
    addItem(RequestItemKind::addition, "user messages", approxLen(line.content()));
    if (!isUsers || state_.firstUserMessage) return;
    const auto text = firstText(line.content());
    // A text that starts with "<" is a block of tags that the client put there.
    if (text && !text->starts_with('<')) state_.firstUserMessage = text;
}

void Update::addItem(RequestItemKind kind, std::string_view label, std::int64_t bytes) {
    state_.window.push_back({bytes, StringPool::none, state_.names.intern(label), kind});
}

/// An item whose label is open until the update ends. Without a label of its call it is "tool:" and
/// `fallback`, which becomes a name of the session only where it may be needed.
void Update::addCallItem(RequestItemKind kind, const Envelope& line, std::string_view fallback,
                         std::int64_t bytes) {
    WindowItem item{bytes, StringPool::none, StringPool::none, kind};
    if (const auto callId = asString(line.callId())) item.call = state_.labels.number(*callId);
    if (state_.labels.label(item.call) == StringPool::none)
        item.label = state_.names.intern("tool:" + std::string(fallback));
    state_.window.push_back(item);
}

}  // namespace ledgerfern::RolloutParser
