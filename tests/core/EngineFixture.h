#pragma once

#include <gtest/gtest.h>

#include "CodexLog.h"
#include "Engine/Engine.h"
#include "TempFolder.h"

namespace ledgerfern::test {

inline constexpr Instant now = 1772400000;  // 2026-03-01 21:20 UTC

inline std::string log(std::int64_t input = 100, std::string_view cwd = "/home/ada/app") {
    return CodexLog().meta(cwd).tokens(usage(input, 0, 10)).text;
}

/// An engine over one Codex root, with a fixed clock.
class EngineFixture : public testing::Test {
protected:
    std::string root() const { return home / "sessions"; }
    static ScanOptions finished() {
        ScanOptions options;
        options.finishFiles = true;
        return options;
    }
    static std::int64_t totalInput(const Snapshot& snapshot) {
        return snapshot.aggregates.totals.inputTokens;
    }
    static std::int64_t codexFiles(const Snapshot& snapshot) {
        const auto entry = snapshot.filesPerTool.find(ToolKind::codex);
        return entry == snapshot.filesPerTool.end() ? 0 : entry->second;
    }

    TempFolder home;
    Engine engine{{{root(), ToolKind::codex}}, fixedClock(now), 2};
};

}  // namespace ledgerfern::test
