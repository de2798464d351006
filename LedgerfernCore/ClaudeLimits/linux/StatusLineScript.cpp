#include "ClaudeLimits/StatusLineScript.h"

namespace ledgerfern::ClaudeStatusLine {

// Without jq there are no values, and the line is the agent's name. Percentages have a point whatever the
// locale.
const std::string_view ownLine =
    R"sh(  five=$(printf '%s' "$input" | jq -r '.rate_limits.five_hour.used_percentage // empty' 2>/dev/null)
  week=$(printf '%s' "$input" | jq -r '.rate_limits.seven_day.used_percentage // empty' 2>/dev/null)
  model=$(printf '%s' "$input" | jq -r '.model.display_name // empty' 2>/dev/null)
  line="${model:-Claude}"
  [ -n "$five" ] && line="$line · 5h $(LC_ALL=C printf '%.0f' "$five")%"
  [ -n "$week" ] && line="$line · 7d $(LC_ALL=C printf '%.0f' "$week")%"
)sh";

}  // namespace ledgerfern::ClaudeStatusLine
