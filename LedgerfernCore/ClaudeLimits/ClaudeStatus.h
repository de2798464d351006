#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "UsageRecords/Records.h"

namespace ledgerfern {

/// How full Claude Code's rate-limit windows were when it last told.
///
/// Its logs don't hold that, but it hands it to its status-line command, and the script that
/// `ClaudeStatusLine` puts there keeps it in a file. However old a reading is, it stays valid: `current` says
/// what it means later on.
struct ClaudeStatus {
    static constexpr std::string_view fileName = "claude-status.json";

    std::optional<RateLimitInfo> fiveHour;
    std::optional<RateLimitInfo> sevenDay;
    Instant observedAt = 0;  ///< When the reading was written.

    /// Reads the JSON object that Claude Code gives its status-line command. Absent where it isn't one, or
    /// holds neither window. A window without a usable percentage is missing; a reset that can't be read is
    /// absent, and its window stands.
    static std::optional<ClaudeStatus> parse(std::string_view bytes, Instant observedAt);
    /// The reading in a folder, as of the file's last modification, or `now` where that isn't known. Absent
    /// where there is none.
    static std::optional<ClaudeStatus> load(const std::string& directory, Instant now);
    /// The same of any file.
    static std::optional<ClaudeStatus> loadFile(const std::string& path, Instant now);

    /// The reading as it stands at an instant: a window whose reset has passed is empty, and resets at its
    /// first boundary after that instant.
    ClaudeStatus current(Instant now) const;

    bool operator==(const ClaudeStatus&) const = default;
};

}  // namespace ledgerfern
