#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include "Foundation/JsonReader.h"
#include "UsageRecords/Records.h"

namespace ledgerfern::RolloutParser {

enum class LineType : std::uint8_t { other, sessionMeta, eventMsg, compacted, responseItem };

enum class PayloadType : std::uint8_t {
    other,
    message,
    reasoning,
    functionCall,
    functionCallOutput,
    customToolCall,
    customToolCallOutput,
    localShellCall,
    webSearchCall,
    toolSearchCall,
    mcpToolCallEnd,
    tokenCount,
    contextCompacted,
    threadSettingsApplied,
};

/// A line's outer object and the members of its payload that most lines are about: each object is gone
/// through once, which is most of the work on a line that has been parsed.
class Envelope {
public:
    explicit Envelope(const JsonObject& object);

    std::optional<Instant> ts;
    LineType type = LineType::other;
    PayloadType payloadType = PayloadType::other;  ///< Also where there is no payload, or none with a type.
    std::optional<JsonObject> payload;
    OptionalJson ordinal;

    // Of the payload:
    const OptionalJson& callId() const { return members_[1]; }
    const OptionalJson& name() const { return members_[2]; }
    const OptionalJson& role() const { return members_[3]; }
    const OptionalJson& content() const { return members_[4]; }
    const OptionalJson& output() const { return members_[5]; }
    const OptionalJson& info() const { return members_[6]; }
    const OptionalJson& rateLimits() const { return members_[7]; }

private:
    std::array<OptionalJson, 8> members_;  ///< In the order of the names that they are looked for by.
};

}  // namespace ledgerfern::RolloutParser
