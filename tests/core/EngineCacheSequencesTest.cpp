#include "EngineCacheFixture.h"

// What one engine does over several scans of different kinds, and what the next one finds.

namespace ledgerfern {
namespace {

using test::CodexLog;
using test::EngineCacheFixture;
using test::setModified;
using test::usage;

using EngineCacheSequences = EngineCacheFixture;

TEST_F(EngineCacheSequences, aScanWithoutTheCacheNeitherReadsNorWritesWhatIsOpen) {
    write("codex/a.jsonl", codexLog(100));
    write("codex/b.jsonl", codexLog(200));
    run();
    Engine engine = newEngine();
    engine.rescan(cached());
    disguise("codex/a.jsonl", codexLog(900));
    write("codex/c.jsonl", codexLog(300));
    remove("codex/b.jsonl");
    const Rows before = rows();
    EXPECT_EQ(inputs(engine.rescan()), (Inputs{{"codex/a.jsonl", 900}, {"codex/c.jsonl", 300}}));
    EXPECT_EQ(rows(), before);
    engine.rescan(cached());
    EXPECT_EQ(rowNames(), Names{"codex/a.jsonl"}) << "what was read meanwhile has a state, and gets no row";
}

TEST_F(EngineCacheSequences, aQuickScanWithoutTheCacheLeavesARestoredSessionAsItIs) {
    write("codex/a.jsonl", codexLog(100));
    run();
    Engine engine = newEngine();
    engine.rescan(cached());
    disguise("codex/a.jsonl", codexLog(900));
    ScanOptions options = quick();
    options.useCache = false;
    EXPECT_EQ(inputs(engine.rescan(options)), (Inputs{{"codex/a.jsonl", 100}}));
}

TEST_F(EngineCacheSequences, aQuickScanReadsRecentFilesWhoseRowsAreStale) {
    write("codex/a.jsonl", codexLog(100), recently);
    run();
    const Rows before = rows();
    write("codex/a.jsonl", codexLog(200), recently + 1);
    EXPECT_EQ(inputs(run(quick())), (Inputs{{"codex/a.jsonl", 200}}));
    EXPECT_EQ(writtenSince(before), Names{"codex/a.jsonl"});
}

TEST_F(EngineCacheSequences, aQuickScanRestoresOldSessionsOfBothAgents) {
    write("claude/old.jsonl", claudeLog(100));
    write("codex/old.jsonl", codexLog(200));
    run();
    disguise("claude/old.jsonl", claudeLog(900));
    disguise("codex/old.jsonl", codexLog(900));
    write("claude/recent.jsonl", claudeLog(300), recently);
    EXPECT_EQ(inputs(run(quick())),
              (Inputs{{"claude/old.jsonl", 100}, {"codex/old.jsonl", 200}, {"claude/recent.jsonl", 300}}));
}

TEST_F(EngineCacheSequences, aQuickScanFollowsWhatItHasReadHoweverOld) {
    write("codex/a.jsonl", codexLog(100));
    Engine engine = newEngine();
    engine.rescan(cached());
    append("codex/a.jsonl", CodexLog().tokens(usage(150, 0, 20)).text, longAgo + 1);
    EXPECT_EQ(inputs(engine.rescan(quick())), (Inputs{{"codex/a.jsonl", 150}}));
}

TEST_F(EngineCacheSequences, theRowsAreReadOncePerEngine) {
    Engine engine = newEngine();
    engine.rescan(cached());
    write("codex/a.jsonl", codexLog(100));
    run();
    disguise("codex/a.jsonl", codexLog(900));
    EXPECT_EQ(inputs(engine.rescan(cached())), (Inputs{{"codex/a.jsonl", 900}}));
}

TEST_F(EngineCacheSequences, theNewestRowOfAFileIsTheOneThatIsRemembered) {
    write("codex/a.jsonl", codexLog(100));
    run();
    Engine engine = newEngine();
    engine.rescan(cached());
    write("codex/a.jsonl", codexLog(200), longAgo + 1);
    engine.rescan(cached());
    remove("codex/a.jsonl");
    engine.rescan(cached());
    write("codex/a.jsonl", codexLog(900), longAgo + 1);
    EXPECT_EQ(inputs(engine.rescan(cached())), (Inputs{{"codex/a.jsonl", 200}}));
}

TEST_F(EngineCacheSequences, aRowStandsEvenWhereFilesAreTakenForFinished) {
    const std::string text = codexLog(100);
    write("codex/a.jsonl", text + text.substr(0, 20));
    write("codex/open.jsonl", text.substr(0, text.size() - 1));
    run();
    ScanOptions finishing = cached();
    finishing.finishFiles = true;
    EXPECT_EQ(inputs(run(finishing)), (Inputs{{"codex/a.jsonl", 100}}));
    EXPECT_EQ(inputs(run()), (Inputs{{"codex/a.jsonl", 100}}));
}

TEST_F(EngineCacheSequences, aStateIsFinishedWithTheCacheToo) {
    const std::string text = codexLog(100);
    write("codex/a.jsonl", text.substr(0, text.size() - 1));
    Engine engine = newEngine();
    EXPECT_TRUE(engine.rescan(cached()).sessions.empty());
    const Rows before = rows();
    ScanOptions finishing = cached();
    finishing.finishFiles = true;
    EXPECT_EQ(inputs(engine.rescan(finishing)), (Inputs{{"codex/a.jsonl", 100}}));
    EXPECT_EQ(rows(), before);
}

TEST_F(EngineCacheSequences, aRestoredSessionStaysWhereALaterScanLeavesItsFileOut) {
    write("codex/a.jsonl", codexLog(100));
    run();
    Engine engine = newEngine();
    engine.rescan(cached());
    ScanOptions options = cached();
    options.skipFilesModifiedBefore = recently;
    EXPECT_EQ(inputs(engine.rescan(options)), (Inputs{{"codex/a.jsonl", 100}}));
    EXPECT_EQ(engine.skippedOldFiles(), 1);
    EXPECT_EQ(rowNames(), Names{"codex/a.jsonl"});
}

TEST_F(EngineCacheSequences, aRootThatIsAwayForAWhileTakesItsRowsWithIt) {
    write("codex/a.jsonl", codexLog(100));
    write("claude/c.jsonl", claudeLog(200));
    run();
    Engine engine = newEngine();
    engine.rescan(cached());
    std::filesystem::rename(home / "claude", home / "away");
    const Snapshot without = engine.rescan(cached());
    EXPECT_EQ(inputs(without), (Inputs{{"codex/a.jsonl", 100}}));
    EXPECT_EQ(files(without, ToolKind::claudeCode), 1) << "what has just vanished counts once more";
    EXPECT_EQ(rowNames(), Names{"codex/a.jsonl"});
    EXPECT_EQ(files(engine.rescan(cached()), ToolKind::claudeCode), 0);

    std::filesystem::rename(home / "away", home / "claude");
    disguise("claude/c.jsonl", claudeLog(900));
    EXPECT_EQ(inputs(engine.rescan(cached())), (Inputs{{"codex/a.jsonl", 100}, {"claude/c.jsonl", 200}}));
    EXPECT_EQ(rowNames(), Names{"codex/a.jsonl"});
    EXPECT_EQ(inputs(run()), (Inputs{{"codex/a.jsonl", 100}, {"claude/c.jsonl", 900}}));
    EXPECT_EQ(rows().size(), 2U);
}

TEST_F(EngineCacheSequences, rowsThatCanNotBeReadGoWithTheirFiles) {
    const auto pathsOfRows = [this] {
        Names names;
        for (const std::string& path : FileCacheStore(database()).paths())
            names.insert(nameOf(path));
        return names;
    };
    for (const auto* const name : {"old", "old there", "undecodable", "empty", "number", "readable"})
        write("codex/" + std::string(name) + ".jsonl", codexLog(100));
    run();
    ASSERT_TRUE(SqliteDatabase::open(database())
                    ->execute("UPDATE files SET blob=CAST(replace(CAST(blob AS TEXT),'\"v\":4','\"v\":3') AS "
                              "BLOB) WHERE path LIKE '%/old%';"
                              "UPDATE files SET blob=x'00' WHERE path LIKE '%/undecodable.%';"
                              "UPDATE files SET blob=x'' WHERE path LIKE '%/empty.%';"
                              "UPDATE files SET size=-1 WHERE path LIKE '%/number.%'"));
    Engine engine = newEngine();
    for (const auto* const name : {"old", "undecodable", "empty", "number", "readable"})
        remove("codex/" + std::string(name) + ".jsonl");
    ScanOptions options = cached();
    options.skipFilesModifiedBefore = recently;
    engine.rescan(options);
    EXPECT_EQ(pathsOfRows(), Names{"codex/old there.jsonl"});
    EXPECT_EQ(inputs(engine.rescan(cached())), (Inputs{{"codex/old there.jsonl", 100}}));
    EXPECT_EQ(rowNames(), Names{"codex/old there.jsonl"}) << "replaced by a row that can be read";
}

TEST_F(EngineCacheSequences, aRowThatCanNotBeReadAnswersForNoFile) {
    write("codex/a.jsonl", "");
    run();
    ASSERT_TRUE(SqliteDatabase::open(database())->execute("UPDATE files SET mtime=0, blob=x'00'"));
    setModified(home / "codex/a.jsonl", 0);
    ASSERT_TRUE(run().sessions.empty());
    EXPECT_EQ(rows().at("codex/a.jsonl").mtime, 0);
}

}  // namespace
}  // namespace ledgerfern
