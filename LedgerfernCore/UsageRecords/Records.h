#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace ledgerfern {

/// Seconds since the Unix epoch (1970-01-01T00:00:00Z), fractions allowed.
using Instant = double;

/// The agent that a session belongs to.
enum class ToolKind { codex, claudeCode };

/// "codex" or "claude": the stored and serialised form, deliberately shorter than the case's name.
std::string_view rawValue(ToolKind kind);
/// Absent for any other text.
std::optional<ToolKind> toolKind(std::string_view rawValue);

/// The two sorts of entry in a Codex request's context window.
enum class RequestItemKind {
    assistant,  ///< Something the model produced in this request.
    addition,   ///< Something that entered the context from outside: user text, a tool's output.
};

/// "asst" or "add".
std::string_view rawValue(RequestItemKind kind);
std::optional<RequestItemKind> requestItemKind(std::string_view rawValue);

/// What one tool label cost in one session.
struct ToolStat {
    std::int64_t calls = 0;
    std::int64_t attribInput = 0;   ///< Input tokens attributed to the label.
    std::int64_t attribOutput = 0;  ///< Output tokens attributed to the label.

    void add(const ToolStat& other);
    bool operator==(const ToolStat&) const = default;
};

/// One rate-limit reading. It may hold any subset of its fields.
struct RateLimitInfo {
    std::optional<double> usedPercent;          ///< A percentage as logged: 42.5, not 0.425.
    std::optional<std::int64_t> windowMinutes;  ///< Length of the window.
    std::optional<std::int64_t> resetsAt;       ///< Seconds since the Unix epoch.
    std::optional<std::string> planType;        ///< The account's plan as the log names it.

    bool operator==(const RateLimitInfo&) const = default;
};

/// Where a session came from.
struct SourceInfo {
    std::string raw;          ///< The log's source where that is a plain string, otherwise empty.
    bool isSubagent = false;  ///< The session was started by another session.
    std::optional<std::string> nickname;
    std::optional<std::string> parentThread;  ///< Id of the thread that spawned it.
    bool isGuardian = false;

    bool operator==(const SourceInfo&) const = default;
};

/// The rate-limit reading kept for one UTC day.
struct DailyReading {
    Instant ts = 0;
    double usedPercent = 0;
    std::optional<std::int64_t> resetsAt;

    bool operator==(const DailyReading&) const = default;
};

}  // namespace ledgerfern
