#include "EngineCacheFixture.h"

// Roots that lie inside each other, or look as if they did.

namespace ledgerfern {
namespace {

using test::CodexLog;
using test::EngineCacheFixture;
using test::usage;

using EngineRoots = EngineCacheFixture;

/// What the engine makes of its files by their paths alone.
std::map<ToolKind, std::int64_t> filesByPath(Engine& engine) {
    return engine.currentSnapshot().filesPerTool;
}

TEST_F(EngineRoots, aRootWhoseNameAnotherBeginsWithIsNotAround) {
    write("x/abc/f.jsonl", codexLog(100));
    Engine engine({{home / "x", ToolKind::codex}, {home / "x/ab", ToolKind::claudeCode}}, fixedClock(now), 1);
    engine.rescan();
    EXPECT_EQ(filesByPath(engine), (std::map<ToolKind, std::int64_t>{{ToolKind::codex, 1}}));
}

TEST_F(EngineRoots, aFileOfTheSamePathAsARootIsTheRoots) {
    std::filesystem::create_directories(home / "x/y.jsonl");
    Engine engine({{home / "x", ToolKind::codex}, {home / "x/y.jsonl", ToolKind::claudeCode}},
                  fixedClock(now), 1);
    EXPECT_EQ(files(engine.rescan(), ToolKind::codex), 1) << "as the root that has found it says";
    EXPECT_EQ(filesByPath(engine), (std::map<ToolKind, std::int64_t>{{ToolKind::claudeCode, 1}}));
}

TEST_F(EngineRoots, theLongestPathIsTheOneOfTheMostCharacters) {
    home.write("éééé/session_index.jsonl", "{\"id\":\"t1\",\"thread_name\":\"Most bytes\"}\n");
    home.write("abcdef/session_index.jsonl", "{\"id\":\"t1\",\"thread_name\":\"Most characters\"}\n");
    Engine engine({{home / "éééé/s", ToolKind::codex}, {home / "abcdef/s", ToolKind::codex}}, fixedClock(now),
                  1);
    EXPECT_EQ(engine.rescan().threadNames.at("t1"), "Most characters");
}

TEST_F(EngineRoots, theFullResultOfARestoredSessionIsReadAsItsDeepestRootSays) {
    write("codex/inner/a.jsonl", codexLog(100));
    const std::vector<ToolRoot> overlapping = {{home / "codex", ToolKind::codex},
                                               {home / "codex/inner", ToolKind::claudeCode}};
    Engine(overlapping, fixedClock(now), 1, database()).rescan(cached());
    Engine engine(overlapping, fixedClock(now), 1, database());
    const Snapshot restored = engine.rescan(cached());
    ASSERT_EQ(inputs(restored), (Inputs{{"codex/inner/a.jsonl", 100}}));
    EXPECT_EQ(restored.sessions[0]->tool, ToolKind::codex);
    const auto full = engine.fullResult(home / "codex/inner/a.jsonl");
    ASSERT_TRUE(full.has_value());
    EXPECT_EQ(full->tool, ToolKind::claudeCode);
    EXPECT_TRUE(full->requests.empty());
}

}  // namespace
}  // namespace ledgerfern
