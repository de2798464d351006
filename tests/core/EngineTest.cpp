#include "EngineFixture.h"

#include <thread>

#include "Foundation/Locations.h"

namespace ledgerfern {
namespace {

using test::CodexLog;
using test::EngineFixture;
using test::log;
using test::now;
using test::setModified;
using test::usage;

using EngineTest = EngineFixture;

TEST_F(EngineTest, aFolderThatIsNotThereGivesAnEmptySnapshot) {
    const Snapshot snapshot = engine.rescan();
    EXPECT_TRUE(snapshot.sessions.empty());
    EXPECT_TRUE(snapshot.filesPerTool.empty());
    EXPECT_TRUE(snapshot.formatWarnings.empty());
    EXPECT_EQ(snapshot.aggregates, Aggregates({}, 0, std::nullopt));
    EXPECT_EQ(snapshot.generatedAt, now);
}

TEST_F(EngineTest, beforeTheFirstScanNothingIsKnown) {
    home.write("sessions/a.jsonl", log());
    const Snapshot snapshot = engine.currentSnapshot();
    EXPECT_TRUE(snapshot.sessions.empty());
    EXPECT_TRUE(snapshot.filesPerTool.empty());
}

TEST_F(EngineTest, findsLogsInEveryFolderAndNothingElse) {
    home.write("sessions/2026/03/a.jsonl", log());
    home.write("sessions/.hidden/.b.jsonl", log());
    home.write("sessions/c.JSONL", log());
    home.write("sessions/d.jsonl.bak", log());
    home.write("sessions/.jsonl", log());
    home.write("elsewhere/e.jsonl", log());
    const Snapshot snapshot = engine.rescan();
    EXPECT_EQ(snapshot.sessions.size(), 2U);
    EXPECT_EQ(codexFiles(snapshot), 2);
    EXPECT_EQ(snapshot.aggregates.filesScanned, 2);
}

TEST_F(EngineTest, aFolderNamedLikeALogIsCountedAndGivesNothing) {
    home.write("sessions/x.jsonl/inner.jsonl", log());
    const Snapshot snapshot = engine.rescan();
    EXPECT_EQ(codexFiles(snapshot), 2);
    ASSERT_EQ(snapshot.sessions.size(), 1U);
    EXPECT_EQ(snapshot.sessions[0]->path, root() + "/x.jsonl/inner.jsonl");
    EXPECT_EQ(codexFiles(engine.rescan()), 2);
}

TEST_F(EngineTest, linksToFilesAreReadAndLinksToFoldersNotFollowed) {
    const std::string target = home.write("outside/real.jsonl", log());
    std::filesystem::create_directories(root());
    std::filesystem::create_symlink(target, root() + "/link.jsonl");
    std::filesystem::create_symlink(home / "outside", root() + "/folder");
    std::filesystem::create_symlink(home / "outside", root() + "/folder.jsonl");
    std::filesystem::create_symlink(home / "nowhere", root() + "/dead.jsonl");
    const Snapshot snapshot = engine.rescan();
    EXPECT_EQ(codexFiles(snapshot), 3);
    ASSERT_EQ(snapshot.sessions.size(), 1U);
    EXPECT_EQ(snapshot.sessions[0]->path, root() + "/link.jsonl");
}

TEST_F(EngineTest, theRootMayBeALink) {
    home.write("outside/a.jsonl", log());
    std::filesystem::create_symlink(home / "outside", root());
    EXPECT_EQ(engine.rescan().sessions.size(), 1U);
}

TEST_F(EngineTest, namesThatAreNotUtf8ArePathsLikeAnyOther) {
    const std::string path = home.write("sessions/bad\xFF name.jsonl", log());
    const Snapshot snapshot = engine.rescan();
    ASSERT_EQ(snapshot.sessions.size(), 1U);
    EXPECT_EQ(snapshot.sessions[0]->path, path);
    EXPECT_TRUE(engine.fullResult(path).has_value());
}

TEST_F(EngineTest, aQuickScanPassesOldFilesOverUncounted) {
    setModified(home.write("sessions/old.jsonl", log()), 1000.0);
    setModified(home.write("sessions/edge.jsonl", log()), 2000.0);
    ScanOptions quick;
    quick.quickCutoff = 2000.0;
    const Snapshot first = engine.rescan(quick);
    EXPECT_EQ(first.sessions.size(), 1U);
    EXPECT_EQ(codexFiles(first), 1);
    EXPECT_EQ(engine.skippedOldFiles(), 0);
    const Snapshot second = engine.rescan(quick);
    EXPECT_EQ(second.sessions.size(), 1U);
    EXPECT_EQ(codexFiles(second), 2) << "by then it is known, if not read";
    EXPECT_EQ(engine.rescan().sessions.size(), 2U);
}

TEST_F(EngineTest, theAttributionCutOffReachesFilesReadForTheFirstTime) {
    home.write("sessions/a.jsonl", CodexLog().meta().message("user", "x").tokens(usage(100, 0, 10)).text);
    ScanOptions options;
    options.attribCutoff = now;
    EXPECT_TRUE(engine.rescan(options).sessions[0]->tools.empty());
    // A file read anew has no cut-off.
    home.write("sessions/a.jsonl", CodexLog().meta("/").message("user", "x").tokens(usage(9, 0, 1)).text);
    EXPECT_EQ(engine.rescan(options).sessions[0]->tools.size(), 1U);
}

TEST_F(EngineTest, aFileKeepsTheCutOffOfItsFirstReading) {
    home.write("sessions/a.jsonl", CodexLog().meta().message("user", "x").tokens(usage(100, 0, 10)).text);
    ScanOptions options;
    options.attribCutoff = now;
    engine.rescan(options);
    home.append("sessions/a.jsonl", CodexLog().message("user", "y").tokens(usage(200, 0, 20)).text);
    const Snapshot snapshot = engine.rescan();
    EXPECT_EQ(snapshot.sessions[0]->requests.size(), 2U);
    EXPECT_TRUE(snapshot.sessions[0]->tools.empty());
}

TEST_F(EngineTest, ofTwoCutOffsTheOneThatCountsGoesFirst) {
    setModified(home.write("sessions/a.jsonl", log()), 1'000);
    setModified(home.write("sessions/b.jsonl", log()), 2'000);
    setModified(home.write("sessions/c.jsonl", log()), 3'000);
    ScanOptions options;
    options.skipFilesModifiedBefore = 2'000;
    options.quickCutoff = 3'000;
    EXPECT_EQ(engine.rescan(options).sessions.size(), 1U);
    EXPECT_EQ(engine.skippedOldFiles(), 1);
}

TEST_F(EngineTest, sessionsComeLatestFirstAndTiesByPath) {
    home.write("sessions/c.jsonl", log());
    home.write("sessions/a.jsonl", log());
    home.write("sessions/none.jsonl",
               CodexLog().withoutTime().meta().withoutTime().tokens(usage(1, 0, 1)).text);
    home.write("sessions/b.jsonl", CodexLog().meta().at("2026-03-01T15:00:00Z").tokens(usage(1, 0, 1)).text);
    std::vector<std::string> names;
    for (const auto& session : engine.rescan().sessions)
        names.push_back(session->path.substr(root().size() + 1));
    EXPECT_EQ(names, (std::vector<std::string>{"b.jsonl", "a.jsonl", "c.jsonl", "none.jsonl"}));
}

TEST_F(EngineTest, theFullResultHasWhatASnapshotLacks) {
    CodexLog whole;
    whole.meta().tokens(usage(100, 0, 10)).message("user", "last").tokens(usage(150, 0, 20));
    whole.text.pop_back();
    const std::string path = home.write("sessions/a.jsonl", whole.text);
    EXPECT_EQ(engine.rescan().sessions[0]->requests.size(), 1U);
    const auto full = engine.fullResult(path);
    ASSERT_TRUE(full.has_value());
    EXPECT_EQ(full->requests.size(), 2U);
    EXPECT_EQ(full->totals.inputTokens, 150);
    EXPECT_EQ(full->requests[1].dominant, "user messages");
    EXPECT_EQ(engine.currentSnapshot().sessions[0]->requests.size(), 1U) << "the live state is as it was";
    home.append("sessions/a.jsonl", "\n" + CodexLog().tokens(usage(170, 0, 22)).text);
    EXPECT_EQ(totalInput(engine.rescan()), 170);
    EXPECT_EQ(full->requests.size(), 2U);
}

TEST_F(EngineTest, theFullResultOfAFileThatMakesNoSessionIsThere) {
    const std::string path = home.write("sessions/a.jsonl", CodexLog().tokens(usage(100, 0, 10)).text);
    EXPECT_TRUE(engine.rescan().sessions.empty());
    const auto full = engine.fullResult(path);
    ASSERT_TRUE(full.has_value());
    EXPECT_EQ(full->totals.inputTokens, 100);
}

TEST_F(EngineTest, theFullResultOfAnUnknownPathIsAbsent) {
    engine.rescan();
    EXPECT_FALSE(engine.fullResult(root() + "/a.jsonl").has_value());
}

TEST_F(EngineTest, warnsOfRecentActivityWithoutTokenCounts) {
    CodexLog silent;
    silent.meta();
    for (int i = 0; i < 10; ++i)
        silent.item("message", {{"role", "user"}});
    home.write("sessions/a.jsonl", silent.text);
    ASSERT_EQ(engine.rescan().formatWarnings.size(), 1U);
    EXPECT_TRUE(engine.rescan().formatWarnings[0].starts_with("1 recent Codex session have activity"));
    const Instant last = test::lineTime(11);
    Engine atTheEdge({{root(), ToolKind::codex}}, fixedClock(last + 1'209'600), 1);
    EXPECT_EQ(atTheEdge.rescan().formatWarnings.size(), 1U);
    Engine later({{root(), ToolKind::codex}}, fixedClock(last + 1'209'600.5), 1);
    EXPECT_TRUE(later.rescan().formatWarnings.empty());
}

TEST_F(EngineTest, theDeepestRootSaysWhoseAFileIs) {
    home.write("sessions/inner/a.jsonl", log());
    home.write("sessions/b.jsonl", log());
    Engine both({{root(), ToolKind::codex}, {root() + "/inner", ToolKind::claudeCode}}, fixedClock(now), 1);
    const Snapshot first = both.rescan();
    EXPECT_EQ(first.filesPerTool.at(ToolKind::codex), 2) << "found by both walks";
    EXPECT_EQ(first.filesPerTool.at(ToolKind::claudeCode), 1);
    const Snapshot second = both.currentSnapshot();
    EXPECT_EQ(second.filesPerTool.at(ToolKind::codex), 1);
    EXPECT_EQ(second.filesPerTool.at(ToolKind::claudeCode), 1);
}

TEST_F(EngineTest, aFileFoundTwiceIsOneSession) {
    home.write("sessions/inner/a.jsonl", log(100));
    Engine twice({{root(), ToolKind::codex}, {root() + "/inner", ToolKind::codex}}, fixedClock(now), 2);
    const Snapshot first = twice.rescan();
    EXPECT_EQ(first.sessions.size(), 1U);
    EXPECT_EQ(codexFiles(first), 2);
    home.append("sessions/inner/a.jsonl", CodexLog().tokens(usage(150, 0, 20)).text);
    EXPECT_EQ(totalInput(twice.rescan()), 150);
}

TEST_F(EngineTest, threadNamesComeFromTheFirstCodexRootsParentAndStay) {
    home.write("sessions/a.jsonl", log());
    EXPECT_TRUE(engine.rescan().threadNames.empty());
    home.write("session_index.jsonl", "{\"id\":\"t1\",\"thread_name\":\"First\"}\n");
    EXPECT_EQ(engine.rescan().threadNames.at("t1"), "First") << "tried again as long as there was none";
    home.write("session_index.jsonl", "{\"id\":\"t1\",\"thread_name\":\"Second\"}\n");
    EXPECT_EQ(engine.rescan().threadNames.at("t1"), "First");
}

TEST_F(EngineTest, theFirstCodexRootIsTheOneWithTheLongestPath) {
    home.write("a/session_index.jsonl", "{\"id\":\"t1\",\"thread_name\":\"Short\"}\n");
    home.write("longer/session_index.jsonl", "{\"id\":\"t1\",\"thread_name\":\"Long\"}\n");
    Engine both({{home / "a/s", ToolKind::codex}, {home / "longer/s", ToolKind::codex}}, fixedClock(now), 1);
    EXPECT_EQ(both.rescan().threadNames.at("t1"), "Long");
}

TEST_F(EngineTest, ofRootsWithEquallyLongPathsTheFirstStaysFirst) {
    home.write("a/session_index.jsonl", "{\"id\":\"t1\",\"thread_name\":\"A\"}\n");
    home.write("b/session_index.jsonl", "{\"id\":\"t1\",\"thread_name\":\"B\"}\n");
    for (const auto& [first, second] : {std::pair("a", "b"), std::pair("b", "a")}) {
        Engine both({{home / (std::string(first) + "/s"), ToolKind::codex},
                     {home / (std::string(second) + "/s"), ToolKind::codex}},
                    fixedClock(now), 1);
        EXPECT_EQ(both.rescan().threadNames.at("t1"), std::string(first) == "a" ? "A" : "B");
    }
}

TEST_F(EngineTest, withoutACodexRootThereAreNoThreadNames) {
    home.write("session_index.jsonl", "{\"id\":\"t1\",\"thread_name\":\"Name\"}\n");
    Engine other({{root(), ToolKind::claudeCode}}, fixedClock(now), 1);
    EXPECT_TRUE(other.rescan().threadNames.empty());
}

TEST_F(EngineTest, everySessionHasAnId) {
    const std::string rollout =
        home.write("sessions/rollout-2026-03-01T10-20-30-0199aaaa-bbbb-cccc-dddd-eeeeffff0000.jsonl", log());
    const std::string other = home.write("sessions/other.jsonl", log());
    home.write("sessions/unusable.jsonl", "");
    EXPECT_EQ(engine.rescan().sessionIDs,
              (std::map<std::string, std::string>{
                  {rollout, "0-20-30-0199aaaa-bbbb-cccc-dddd-eeeeffff0000.json"}, {other, other}}));
}

TEST_F(EngineTest, aRootThatIsALogFileItselfIsNoFolderToWalk) {
    const std::string path = home.write("single.jsonl", log());
    Engine other({{path, ToolKind::codex}}, fixedClock(now), 1);
    EXPECT_TRUE(other.rescan().sessions.empty());
}

TEST_F(EngineTest, aStateWithoutATimestampIsNoRecentActivity) {
    CodexLog silent;
    silent.withoutTime().meta();
    for (int i = 0; i < 10; ++i)
        silent.withoutTime().item("message", {{"role", "user"}});
    home.write("sessions/a.jsonl", silent.text);
    EXPECT_TRUE(engine.rescan().formatWarnings.empty());
}

TEST(ToolRoot, theDefaultsLieBelowTheHomeDirectory) {
    EXPECT_EQ(ToolRoot::codexDefault().path, homeDirectory() + "/.codex/sessions");
    EXPECT_EQ(ToolRoot::codexDefault().kind, ToolKind::codex);
    EXPECT_EQ(ToolRoot::claudeDefault().path, homeDirectory() + "/.claude/projects");
    EXPECT_EQ(ToolRoot::claudeDefault().kind, ToolKind::claudeCode);
}

TEST_F(EngineTest, everyNumberOfWorkersGivesTheSameSnapshot) {
    for (int i = 0; i < 40; ++i)
        home.write("sessions/" + std::to_string(i) + ".jsonl", log(100 + i, "/p/" + std::to_string(i % 7)));
    const Snapshot expected = engine.rescan();
    for (const unsigned workers : {1U, 2U, 8U, 0U}) {
        Engine other({{root(), ToolKind::codex}}, fixedClock(now), workers);
        const Snapshot snapshot = other.rescan();
        EXPECT_EQ(snapshot.aggregates, expected.aggregates);
        ASSERT_EQ(snapshot.sessions.size(), expected.sessions.size());
        for (std::size_t i = 0; i < snapshot.sessions.size(); ++i)
            EXPECT_EQ(*snapshot.sessions[i], *expected.sessions[i]);
    }
}

TEST_F(EngineTest, operationsFromManyThreadsExcludeEachOther) {
    const std::string path = home.write("sessions/a.jsonl", CodexLog().meta().tokens(usage(100, 0, 10)).text);
    engine.rescan();
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < 20; ++i) {
                if (t == 0) home.append("sessions/a.jsonl", CodexLog().tokens(usage(200 + i, 0, 20)).text);
                const Snapshot snapshot = t % 2 ? engine.currentSnapshot() : engine.rescan();
                EXPECT_EQ(snapshot.sessions.size(), 1U);
                EXPECT_GE(engine.fullResult(path)->requests.size(), snapshot.sessions[0]->requests.size());
                EXPECT_GE(snapshot.sessions[0]->requests[0].d.inputTokens, 100);
            }
        });
    }
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(engine.rescan().sessions[0]->requests.size(), 21U);
}

TEST(SessionID, isCutFromARolloutsName) {
    EXPECT_EQ(sessionIDForPath("/s/rollout-2026-03-01T10-20-30-0199aaaa-bbbb-cccc-dddd-eeeeffff0000.jsonl"),
              "0-20-30-0199aaaa-bbbb-cccc-dddd-eeeeffff0000.json");
    EXPECT_EQ(sessionIDForPath("/s/rollout-2026-03-01.jsonl"), "/s/rollout-2026-03-01.jsonl");
    const std::string shortest = "rollout-" + std::string(38, 'x');
    EXPECT_EQ(sessionIDForPath("/s/" + shortest), std::string(25, 'x'));
    EXPECT_EQ(sessionIDForPath("/s/" + shortest.substr(1)), "/s/" + shortest.substr(1));
    EXPECT_EQ(sessionIDForPath("/s/" + shortest.substr(0, 45)), "/s/" + shortest.substr(0, 45));
    EXPECT_EQ(
        sessionIDForPath("/s/rollout-" + std::string(38, 'x').replace(0, 1, "\U0001F468\u200D\U0001F469")),
        std::string(25, 'x'));
}

}  // namespace
}  // namespace ledgerfern
