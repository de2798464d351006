#include "Engine/ToolRoot.h"

#include <filesystem>
#include <system_error>

#include "Foundation/Locations.h"
#include "Foundation/Paths.h"

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

std::vector<std::string> ToolRoot::existingWatchPaths(const std::vector<ToolRoot>& roots) {
    std::vector<std::string> paths;
    std::error_code error;
    for (const ToolRoot& root : roots) {
        const std::string parent(parentPath(root.path));
        if (std::filesystem::exists(root.path, error))
            paths.push_back(root.path);
        else if (std::filesystem::exists(parent, error))
            paths.push_back(parent);
    }
    return paths;
}

}  // namespace ledgerfern
