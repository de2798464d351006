#include "ClaudeLimits/StatusLineScript.h"

namespace ledgerfern::ClaudeStatusLine {

const std::string_view ownLine =
    R"sh(  five=$(printf '%s' "$input" | plutil -extract rate_limits.five_hour.used_percentage raw -o - - 2>/dev/null)
  week=$(printf '%s' "$input" | plutil -extract rate_limits.seven_day.used_percentage raw -o - - 2>/dev/null)
  model=$(printf '%s' "$input" | plutil -extract model.display_name raw -o - - 2>/dev/null)
  line="${model:-Claude}"
  [ -n "$five" ] && line="$line · 5h $(printf '%.0f' "$five")%"
  [ -n "$week" ] && line="$line · 7d $(printf '%.0f' "$week")%"
)sh";

}  // namespace ledgerfern::ClaudeStatusLine
