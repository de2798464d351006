#pragma once

#include <string>
#include <vector>

#include "UsageRecords/Records.h"

namespace ledgerfern {

/// A folder to look for logs in, and the agent whose logs they are.
struct ToolRoot {
    std::string
        path;  ///< Bytes, absolute and lexically normalised (`lexicallyAbsolute`). May be a link to a folder.
    ToolKind kind = ToolKind::codex;

    /// ".codex/sessions" below the home directory.
    static ToolRoot codexDefault();
    /// ".claude/projects" below the home directory.
    static ToolRoot claudeDefault();
    /// The roots that are scanned where none are named.
    static std::vector<ToolRoot> defaults();
    /// The folders to watch for changes of the roots: each root that exists; for one that doesn't, the folder
    /// it would be in, if that exists, so that an agent is noticed that is installed later.
    static std::vector<std::string> existingWatchPaths(const std::vector<ToolRoot>& roots);
};

}  // namespace ledgerfern
