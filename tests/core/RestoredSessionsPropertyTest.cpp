#include <gtest/gtest.h>
#include <rapidcheck.h>

#include "FileCache/CachedFile.h"
#include "RandomWorld.h"

namespace ledgerfern {
namespace {

TEST(RestoredSessionsProperty, aSecondRunHasTheNumbersOfTheFirst) {
    EXPECT_TRUE(rc::check("sessions are as read, but for what the cache drops", [] {
        const test::World world;
        ScanOptions options;
        options.useCache = true;
        const auto run = [&](Instant present) {
            return Engine({{world.home / "codex", ToolKind::codex},
                           {world.home / "claude", ToolKind::claudeCode}},
                          fixedClock(present), 1, world.home / "cache.sqlite")
                .rescan(options);
        };
        const Snapshot first = run(test::firstLogInstant);
        const Snapshot second = run(test::firstLogInstant + 1);
        RC_ASSERT(first.sessions.size() == world.snapshot.sessions.size());
        RC_ASSERT(second.sessions.size() == first.sessions.size());
        RC_ASSERT(second.aggregates.totals == first.aggregates.totals);
        RC_ASSERT(second.filesPerTool == first.filesPerTool);
        std::map<std::string, SessionPointer> restored;
        for (const SessionPointer& session : second.sessions)
            restored[session->path] = session;
        for (const SessionPointer& session : first.sessions) {
            const CachedFile kept = CachedFile::of(*session, std::nullopt, true, test::firstLogInstant);
            RC_ASSERT(*restored.at(session->path) == *kept.toSessionResult());
        }
    }));
}

}  // namespace
}  // namespace ledgerfern
