#include "RolloutParser/Envelope.h"

#include "UsageRecords/TSDate.h"

namespace ledgerfern::RolloutParser {

namespace {

LineType lineType(const OptionalJson& value) {
    const auto type = asString(value);
    if (equals(type, "response_item")) return LineType::responseItem;
    if (equals(type, "event_msg")) return LineType::eventMsg;
    if (equals(type, "session_meta")) return LineType::sessionMeta;
    if (equals(type, "compacted")) return LineType::compacted;
    return LineType::other;
}

PayloadType payloadTypeOf(const OptionalJson& value) {
    const auto type = asString(value);
    if (equals(type, "token_count")) return PayloadType::tokenCount;
    if (equals(type, "function_call")) return PayloadType::functionCall;
    if (equals(type, "function_call_output")) return PayloadType::functionCallOutput;
    if (equals(type, "message")) return PayloadType::message;
    if (equals(type, "reasoning")) return PayloadType::reasoning;
    if (equals(type, "custom_tool_call")) return PayloadType::customToolCall;
    if (equals(type, "custom_tool_call_output")) return PayloadType::customToolCallOutput;
    if (equals(type, "local_shell_call")) return PayloadType::localShellCall;
    if (equals(type, "web_search_call")) return PayloadType::webSearchCall;
    if (equals(type, "tool_search_call")) return PayloadType::toolSearchCall;
    if (equals(type, "mcp_tool_call_end")) return PayloadType::mcpToolCallEnd;
    if (equals(type, "context_compacted")) return PayloadType::contextCompacted;
    if (equals(type, "thread_settings_applied")) return PayloadType::threadSettingsApplied;
    return PayloadType::other;
}

}  // namespace

Envelope::Envelope(const JsonObject& object) {
    const auto [timestamp, typeValue, payloadValue, ordinalValue] =
        members(object, "timestamp", "type", "payload", "ordinal");
    ts = TSDate::parse(asString(timestamp));
    type = lineType(typeValue);
    ordinal = ordinalValue;
    payload = asObject(payloadValue);
    if (!payload) return;
    members_ =
        members(*payload, "type", "call_id", "name", "role", "content", "output", "info", "rate_limits");
    payloadType = payloadTypeOf(members_[0]);
}

}  // namespace ledgerfern::RolloutParser
