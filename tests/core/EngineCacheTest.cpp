#include "EngineCacheFixture.h"

// What is read, restored, written and removed, run by run and scan by scan.

namespace ledgerfern {
namespace {

using test::CodexLog;
using test::EngineCacheFixture;
using test::setModified;
using test::usage;

using EngineCache = EngineCacheFixture;

TEST_F(EngineCache, noFileIsTouchedBeforeAScanThatUsesTheCache) {
    write("codex/a.jsonl", codexLog(100));
    Engine engine = newEngine();
    engine.currentSnapshot();
    engine.rescan();
    EXPECT_FALSE(std::filesystem::exists(database()));
    engine.rescan(cached());
    EXPECT_TRUE(std::filesystem::exists(database()));
}

TEST_F(EngineCache, eachFileThatIsReadForTheFirstTimeGetsARow) {
    const std::string text = codexLog(100);
    write("codex/a.jsonl", text, 1000.25);
    write("claude/p/c.jsonl", claudeLog(200), 2000);
    write("codex/nothing.jsonl", "{}\n");
    run();
    const Rows found = rows();
    ASSERT_EQ(found.size(), 3U);
    const Row& row = found.at("codex/a.jsonl");
    const auto size = static_cast<std::int64_t>(text.size());
    EXPECT_EQ(row.size, size);
    EXPECT_EQ(row.mtime, 1'000'250);
    EXPECT_EQ(row.consumed, size);
    EXPECT_EQ(row.tool, "codex");
    EXPECT_TRUE(row.wasUsable);
    EXPECT_EQ(found.at("claude/p/c.jsonl").tool, "claude");
    EXPECT_FALSE(found.at("codex/nothing.jsonl").wasUsable);
}

TEST_F(EngineCache, theNextRunReadsNothingThatHasNotChanged) {
    write("codex/a.jsonl", codexLog(100));
    write("claude/c.jsonl", claudeLog(200));
    run();
    const Rows before = rows();
    disguise("codex/a.jsonl", codexLog(900));
    disguise("claude/c.jsonl", claudeLog(900));
    EXPECT_EQ(inputs(run()), (Inputs{{"codex/a.jsonl", 100}, {"claude/c.jsonl", 200}}));
    EXPECT_EQ(rows(), before);
    EXPECT_EQ(inputs(run(ScanOptions())), (Inputs{{"codex/a.jsonl", 900}, {"claude/c.jsonl", 900}}));
}

/// The run before has left rows of two old files and a recent one.
class StartWithACache : public EngineCacheFixture {
protected:
    StartWithACache() {
        write("codex/old.jsonl", codexLog(100));
        write("codex/grown.jsonl", codexLog(200));
        write("codex/recent.jsonl", codexLog(300), recently);
        EngineCacheFixture::run();
        before = rows();
        disguise("codex/old.jsonl", codexLog(900));
        disguise("codex/recent.jsonl", codexLog(900));
        append("codex/grown.jsonl", CodexLog().tokens(usage(250, 0, 20)).text, longAgo + 1);
        write("codex/late.jsonl", codexLog(400));
        write("codex/new.jsonl", codexLog(500), recently);
    }

    Engine engine = newEngine();
    Rows before;
};

TEST_F(StartWithACache, aQuickScanRestoresWhatItCanAndReadsTheRecentRest) {
    const Snapshot first = engine.rescan(quick());
    EXPECT_EQ(inputs(first),
              (Inputs{{"codex/old.jsonl", 100}, {"codex/recent.jsonl", 300}, {"codex/new.jsonl", 500}}));
    EXPECT_EQ(files(first, ToolKind::codex), 3);
    EXPECT_EQ(first.aggregates.filesScanned, 3);
    EXPECT_EQ(engine.skippedOldFiles(), 0);
    EXPECT_EQ(writtenSince(before), Names{"codex/new.jsonl"});
    EXPECT_EQ(rows().at("codex/grown.jsonl"), before.at("codex/grown.jsonl"));
}

TEST_F(StartWithACache, theFullScanThatFollowsReadsOnlyWhatWasPassedOver) {
    engine.rescan(quick());
    before = rows();
    disguise("codex/new.jsonl", codexLog(900));
    const Snapshot whole = engine.rescan(cached());
    EXPECT_EQ(inputs(whole), (Inputs{{"codex/old.jsonl", 100},
                                     {"codex/grown.jsonl", 250},
                                     {"codex/recent.jsonl", 300},
                                     {"codex/late.jsonl", 400},
                                     {"codex/new.jsonl", 500}}));
    EXPECT_EQ(files(whole, ToolKind::codex), 5);
    EXPECT_EQ(writtenSince(before), (Names{"codex/grown.jsonl", "codex/late.jsonl"}));
    EXPECT_EQ(whole.aggregates.totals.inputTokens, 1'550);
    EXPECT_EQ(engine.currentSnapshot().filesPerTool, whole.filesPerTool);
}

TEST_F(StartWithACache, aSecondQuickScanCountsWhatIsKnown) {
    engine.rescan(quick());
    const Snapshot second = engine.rescan(quick());
    EXPECT_EQ(second.sessions.size(), 3U);
    EXPECT_EQ(files(second, ToolKind::codex), 5);
}

TEST_F(StartWithACache, aFileThatIsLeftOutForItsAgeKeepsItsRow) {
    ScanOptions options = cached();
    options.skipFilesModifiedBefore = quick().quickCutoff;
    EXPECT_EQ(inputs(engine.rescan(options)),
              (Inputs{{"codex/recent.jsonl", 300}, {"codex/new.jsonl", 500}}));
    EXPECT_EQ(engine.skippedOldFiles(), 3);
    EXPECT_EQ(writtenSince(before), Names{"codex/new.jsonl"});
    EXPECT_EQ(rows().size(), 4U);
}

TEST_F(EngineCache, aQuickScanOnAnEmptyCacheTakesTheRecentAlone) {
    write("codex/old.jsonl", codexLog(100));
    write("codex/recent.jsonl", codexLog(200), recently);
    Engine engine = newEngine();
    const Snapshot first = engine.rescan(quick());
    EXPECT_EQ(inputs(first), (Inputs{{"codex/recent.jsonl", 200}}));
    EXPECT_EQ(files(first, ToolKind::codex), 1);
    EXPECT_EQ(files(engine.rescan(cached()), ToolKind::codex), 2);
    EXPECT_EQ(rows().size(), 2U);
}

TEST_F(EngineCache, aRestoredSessionThatHasChangedStandsUntilItIsRead) {
    write("codex/a.jsonl", codexLog(100));
    run();
    Engine engine = newEngine();
    engine.rescan(cached());
    write("codex/a.jsonl", codexLog(200), longAgo + 1);
    EXPECT_EQ(inputs(engine.rescan(quick())), (Inputs{{"codex/a.jsonl", 100}}));
    EXPECT_EQ(inputs(engine.rescan(cached())), (Inputs{{"codex/a.jsonl", 200}}));
}

TEST_F(EngineCache, eachKindOfChangeIsTakenInItsWay) {
    write("codex/gone.jsonl", codexLog(100));
    write("codex/kept.jsonl", codexLog(200));
    write("codex/changed.jsonl", codexLog(300));
    run();
    write("codex/live.jsonl", codexLog(400));
    Engine engine = newEngine();
    engine.rescan(cached());
    const Rows before = rows();
    // The live file's beginning isn't read again, the changed one is read whole.
    disguise("codex/live.jsonl", codexLog(900));
    append("codex/live.jsonl", CodexLog().tokens(usage(450, 0, 20)).text, recently);
    write("codex/changed.jsonl", codexLog(350), recently);
    write("codex/new.jsonl", codexLog(500), recently);
    remove("codex/gone.jsonl");
    const Snapshot after = engine.rescan(cached());
    EXPECT_EQ(inputs(after), (Inputs{{"codex/kept.jsonl", 200},
                                     {"codex/changed.jsonl", 350},
                                     {"codex/live.jsonl", 450},
                                     {"codex/new.jsonl", 500}}));
    EXPECT_EQ(files(after, ToolKind::codex), 5) << "what has just vanished counts once more";
    EXPECT_EQ(files(engine.rescan(cached()), ToolKind::codex), 4);
    EXPECT_EQ(writtenSince(before), (Names{"codex/changed.jsonl", "codex/new.jsonl"}));
    EXPECT_FALSE(rows().contains("codex/gone.jsonl"));
    EXPECT_EQ(rows().at("codex/live.jsonl"), before.at("codex/live.jsonl"));
}

TEST_F(EngineCache, whatGrewWhileItWasLiveIsReadWholeByTheNextRun) {
    write("codex/a.jsonl", codexLog(100));
    Engine engine = newEngine();
    engine.rescan(cached());
    append("codex/a.jsonl", CodexLog().tokens(usage(150, 0, 20)).text, recently);
    const Rows before = rows();
    EXPECT_EQ(inputs(engine.rescan(cached())), (Inputs{{"codex/a.jsonl", 150}}));
    EXPECT_EQ(rows(), before);
    EXPECT_EQ(inputs(run()), (Inputs{{"codex/a.jsonl", 150}}));
    EXPECT_EQ(writtenSince(before), Names{"codex/a.jsonl"});
}

TEST_F(EngineCache, aShortenedFileIsReadAnewLiveOrNot) {
    const std::string longer = codexLog(100) + CodexLog().tokens(usage(150, 0, 20)).text;
    write("codex/a.jsonl", longer);
    Engine engine = newEngine();
    engine.rescan(cached());
    const Rows before = rows();
    write("codex/a.jsonl", codexLog(70));
    EXPECT_EQ(inputs(engine.rescan(cached())), (Inputs{{"codex/a.jsonl", 70}}));
    EXPECT_EQ(rows(), before);
    EXPECT_EQ(inputs(run()), (Inputs{{"codex/a.jsonl", 70}}));
    EXPECT_EQ(writtenSince(before), Names{"codex/a.jsonl"});
}

TEST_F(EngineCache, eitherSizeOrTimeTellsOfAChange) {
    write("codex/size.jsonl", codexLog(100));
    write("codex/time.jsonl", codexLog(100));
    run();
    write("codex/size.jsonl", codexLog(2000));
    write("codex/time.jsonl", codexLog(200), longAgo + 0.001);
    EXPECT_EQ(inputs(run()), (Inputs{{"codex/size.jsonl", 2000}, {"codex/time.jsonl", 200}}));
}

TEST_F(EngineCache, aReturnedFileIsTakenFromTheRowThatTheEngineRemembers) {
    write("codex/a.jsonl", codexLog(100));
    run();
    Engine engine = newEngine();
    engine.rescan(cached());
    remove("codex/a.jsonl");
    EXPECT_TRUE(engine.rescan(cached()).sessions.empty());
    EXPECT_TRUE(rows().empty());
    write("codex/a.jsonl", codexLog(900));
    EXPECT_EQ(inputs(engine.rescan(cached())), (Inputs{{"codex/a.jsonl", 100}}));
    EXPECT_TRUE(rows().empty());
    EXPECT_EQ(inputs(run()), (Inputs{{"codex/a.jsonl", 900}}));
}

TEST_F(EngineCache, aFileThatReturnsInTheRunThatReadItIsRestoredToo) {
    const std::string text =
        CodexLog().meta().message("user", "Hello").withoutTime().tokens(usage(100, 0, 10)).text;
    write("codex/a.jsonl", text);
    Engine engine = newEngine();
    const Snapshot live = engine.rescan(cached());
    EXPECT_FALSE(live.sessions[0]->requests[0].ts);
    EXPECT_TRUE(live.sessions[0]->requests[0].dominant);
    remove("codex/a.jsonl");
    engine.rescan(cached());
    write("codex/a.jsonl", text);
    const Snapshot restored = engine.rescan(cached());
    EXPECT_EQ(restored.sessions[0]->requests[0].ts, now);
    EXPECT_FALSE(restored.sessions[0]->requests[0].dominant);
}

TEST_F(EngineCache, aRowRemainsWhatItIsWhereTheFileOfAnotherRunIsGone) {
    write("codex/a.jsonl", codexLog(100));
    write("codex/b.jsonl", codexLog(200));
    run();
    remove("codex/a.jsonl");
    run(ScanOptions());
    EXPECT_EQ(rowNames(), (Names{"codex/a.jsonl", "codex/b.jsonl"})) << "no cache, no removal";
    run(quick());
    EXPECT_EQ(rowNames(), Names{"codex/b.jsonl"});
}

TEST_F(EngineCache, aFileWithoutASessionIsCountedAndNotReadAgain) {
    const std::string text = codexLog(100);
    write("codex/a.jsonl", std::string(text.size() - 1, ' ') + "\n");
    EXPECT_TRUE(run().sessions.empty());
    disguise("codex/a.jsonl", text);
    Engine engine = newEngine();
    const Snapshot snapshot = engine.rescan(cached());
    EXPECT_TRUE(snapshot.sessions.empty());
    EXPECT_EQ(files(snapshot, ToolKind::codex), 1);
    EXPECT_FALSE(engine.fullResult(home / "codex/a.jsonl"));
    setModified(home / "codex/a.jsonl", recently);
    EXPECT_EQ(inputs(engine.rescan(cached())), (Inputs{{"codex/a.jsonl", 100}}));
}

TEST_F(EngineCache, aFileThatCanNotBeOpenedHasAnEmptyRowAndIsTriedAgain) {
    std::filesystem::create_directories(home / "codex");
    std::filesystem::create_symlink(home / "later.jsonl", home / "codex/link.jsonl");
    Engine engine = newEngine();
    const Snapshot first = engine.rescan(cached());
    EXPECT_TRUE(first.sessions.empty());
    EXPECT_EQ(files(first, ToolKind::codex), 1);
    const Rows before = rows();
    const Row& row = before.at("codex/link.jsonl");
    EXPECT_EQ(row.size, 0);
    EXPECT_EQ(row.mtime, 0);
    EXPECT_EQ(row.consumed, 0);
    EXPECT_FALSE(row.wasUsable);
    write("later.jsonl", codexLog(100));
    EXPECT_EQ(inputs(engine.rescan(cached())), (Inputs{{"codex/link.jsonl", 100}}));
    EXPECT_EQ(rows(), before) << "it has a live state by now";
    EXPECT_EQ(inputs(run()), (Inputs{{"codex/link.jsonl", 100}}));
    EXPECT_EQ(writtenSince(before), Names{"codex/link.jsonl"});
}

TEST_F(EngineCache, aFileTakenForFinishedIsKeptSo) {
    const std::string text = codexLog(100);
    write("codex/a.jsonl", text.substr(0, text.size() - 1));
    ScanOptions options = cached();
    options.finishFiles = true;
    EXPECT_EQ(inputs(run(options)), (Inputs{{"codex/a.jsonl", 100}}));
    EXPECT_EQ(inputs(run()), (Inputs{{"codex/a.jsonl", 100}})) << "its last line isn't ended";
    EXPECT_TRUE(run(ScanOptions()).sessions.empty());
}

}  // namespace
}  // namespace ledgerfern
