#include "UsageRecords/Records.h"

#include "Foundation/Arithmetic.h"

namespace ledgerfern {

std::string_view rawValue(ToolKind kind) {
    return kind == ToolKind::codex ? "codex" : "claude";
}

std::optional<ToolKind> toolKind(std::string_view rawValue) {
    if (rawValue == "codex") return ToolKind::codex;
    if (rawValue == "claude") return ToolKind::claudeCode;
    return std::nullopt;
}

std::string_view rawValue(RequestItemKind kind) {
    return kind == RequestItemKind::assistant ? "asst" : "add";
}

std::optional<RequestItemKind> requestItemKind(std::string_view rawValue) {
    if (rawValue == "asst") return RequestItemKind::assistant;
    if (rawValue == "add") return RequestItemKind::addition;
    return std::nullopt;
}

void ToolStat::add(const ToolStat& other) {
    addFromOutside(calls, other.calls);
    addFromOutside(attribInput, other.attribInput);
    addFromOutside(attribOutput, other.attribOutput);
}

}  // namespace ledgerfern
