#include "Engine/ToolRoot.h"

#include "Foundation/Locations.h"

namespace ledgerfern {

ToolRoot ToolRoot::codexDefault() {
    return {homeDirectory() + "/.codex/sessions", ToolKind::codex};
}

ToolRoot ToolRoot::claudeDefault() {
    return {homeDirectory() + "/.claude/projects", ToolKind::claudeCode};
}

std::vector<ToolRoot> ToolRoot::defaults() {
    return {codexDefault(), claudeDefault()};
}

}  // namespace ledgerfern
