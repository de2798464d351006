#include <string>
#include <utility>

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
    if (line.payloadType == PayloadType::mcpToolCallEnd) {
        labelMcpCall(line);
    } else if (line.type == LineType::responseItem && (line.payloadType == PayloadType::functionCall ||
                                                       line.payloadType == PayloadType::customToolCall)) {
        labelCall(line);
    }
}

/// The first label of a call stands.
void Update::labelCall(const Envelope& line) {
    const auto id = asString(line.callId());
    if (!id) return;
    const auto call = state_.labels.number(*id);
    if (state_.labels.label(call) != StringPool::none) return;
    const std::string label = itemLabel(rawLabel(line));
    state_.labels.setLabel(call, state_.names.intern(label));
}

std::string Update::rawLabel(const Envelope& line) {
    const std::string_view name = asString(line.name()).value_or("?");
    if (equals(name, "exec") || equals(name, "exec_command") || equals(name, "shell")) {
        auto category = shellCategoryLabel(commandString(line.payload, scratch_.texts()));
        if (category) return std::move(category->label);
    }
    return std::string(name);
}

/// The end of an MCP call names its server and tool, and so overrules what the call was known by.
void Update::labelMcpCall(const Envelope& line) {
    const auto id = asString(line.callId());
    if (!id) return;
    std::array<OptionalJson, 2> values;
    if (const auto invocation = asObject(member(*line.payload, "invocation")))
        values = members(*invocation, "server", "tool");
    const auto& [server, tool] = values;
    std::string label = "mcp:";
    label.append(asString(server).value_or("?")).append("/").append(asString(tool).value_or("?"));
    state_.labels.setLabel(state_.labels.number(*id), state_.names.intern(label));
}

}  // namespace ledgerfern::RolloutParser
