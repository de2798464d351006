#include <string>

#include "Parsing/ShellCommands.h"
#include "RolloutParser/RolloutParser.h"
#include "RolloutParser/Update.h"

namespace ledgerfern::RolloutParser {

bool isToolLabel(std::string_view label) {
    return label.starts_with("tool:") || label.starts_with("mcp:") || label.starts_with("exec:") ||
           label.starts_with("Shell · ") || label == "exec" || label == "exec_command";
}

std::string itemLabel(std::string_view rawLabel) {
    const bool standsAsItIs = rawLabel.starts_with("mcp:") || rawLabel == "exec" ||
                              rawLabel == "exec_command" || rawLabel.starts_with("exec:") ||
                              rawLabel.starts_with("Shell · ");
    return standsAsItIs ? std::string(rawLabel) : "tool:" + std::string(rawLabel);
}

void Update::resolveLabels(const Envelope& line) {
    if (line.payloadType == "mcp_tool_call_end") {
        labelMcpCall(*line.payload);
    } else if (line.type == "response_item" &&
               (line.payloadType == "function_call" || line.payloadType == "custom_tool_call")) {
        labelCall(*line.payload);
    }
}

/// The first label of a call stands.
void Update::labelCall(const JsonObject& payload) {
    const auto [idValue, nameValue] = members(payload, "call_id", "name");
    const auto id = asString(idValue);
    if (!id) return;
    const auto call = state_.labels.number(*id);
    if (state_.labels.label(call) != StringPool::none) return;
    const std::string label = itemLabel(rawLabel(payload, asString(nameValue).value_or("?")));
    state_.labels.setLabel(call, state_.names.intern(label));
}

std::string Update::rawLabel(const JsonObject& payload, std::string_view name) {
    if (name == "exec" || name == "exec_command" || name == "shell") {
        const auto category = shellCategoryLabel(commandString(payload, scratch_.texts()));
        if (category) return category->label;
    }
    return std::string(name);
}

/// The end of an MCP call names its server and tool, and so overrules what the call was known by.
void Update::labelMcpCall(const JsonObject& payload) {
    const auto [idValue, invocationValue] = members(payload, "call_id", "invocation");
    const auto id = asString(idValue);
    if (!id) return;
    std::array<OptionalJson, 2> values;
    if (const auto invocation = asObject(invocationValue)) values = members(*invocation, "server", "tool");
    const auto& [server, tool] = values;
    std::string label = "mcp:";
    label.append(asString(server).value_or("?")).append("/").append(asString(tool).value_or("?"));
    state_.labels.setLabel(state_.labels.number(*id), state_.names.intern(label));
}

}  // namespace ledgerfern::RolloutParser
