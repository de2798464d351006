#pragma once

#include <algorithm>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "Analytics/Snapshot.h"
#include "CommandLine.h"
#include "Engine/Engine.h"
#include "Foundation/Clock.h"
#include "Foundation/Files.h"
#include "tool/LogFolder.h"
#include "tool/TextOutput.h"

namespace ledgerfern {

/// 2026-03-20 16:00:00 UTC, a Friday.
inline constexpr Instant demoNow = 1774022400;

/// The contents of all files below a folder, by their paths from there.
inline std::map<std::string, std::string> filesBelow(const std::string& folder) {
    std::map<std::string, std::string> files;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder))
        if (entry.is_regular_file())
            files[std::filesystem::relative(entry.path(), folder).string()] =
                readWholeFile(entry.path().string()).value_or("unreadable");
    return files;
}

struct DemoOutcome {
    int status = -1;
    std::string out;
    std::string err;
};

inline DemoOutcome runDemoCommand(std::vector<std::string> arguments) {
    TextConsole text;
    arguments.insert(arguments.begin(), "demo");
    const int status = runCommandLine(arguments, text.console);
    return {status, text.out.text(), text.err.text()};
}

/// A home folder as the demo makes it, and what a scan finds there.
class MadeUpHome {
public:
    explicit MadeUpHome(std::vector<std::string> options = {}) {
        options.insert(options.end(), {"--now", std::to_string(static_cast<long long>(demoNow)), path()});
        outcome = runDemoCommand(options);
        Engine engine(
            {{path(".codex/sessions"), ToolKind::codex}, {path(".claude/projects"), ToolKind::claudeCode}},
            fixedClock(demoNow));
        snapshot = engine.rescan();
    }

    std::string path(const std::string& name = "") const {
        return above.path(name.empty() ? "home" : "home/" + name);
    }
    /// Sessions for which `test` holds.
    template <class Test>
    SessionList sessionsWith(const Test& test) const {
        SessionList found;
        std::copy_if(snapshot.sessions.begin(), snapshot.sessions.end(), std::back_inserter(found),
                     [&](const SessionPointer& session) { return test(*session); });
        return found;
    }

    LogFolder above;  ///< Where nothing but the home folder may be.
    DemoOutcome outcome;
    Snapshot snapshot;
};

}  // namespace ledgerfern
