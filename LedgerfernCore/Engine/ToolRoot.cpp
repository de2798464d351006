#include "Engine/ToolRoot.h"

#include "Foundation/Locations.h"

namespace ledgerfern {

ToolRoot ToolRoot::codexDefault() {
    return {homeDirectory() + "/.codex/sessions", ToolKind::codex};
}
// Claude Code's logs have no reader yet.
std::vector<ToolRoot> ToolRoot::defaults() {
    return {codexDefault()};
}

ToolRoot ToolRoot::claudeDefault() {
    return {homeDirectory() + "/.claude/projects", ToolKind::claudeCode};
}

}  // namespace ledgerfern
