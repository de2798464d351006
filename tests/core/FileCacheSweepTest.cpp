#include "core/FaultyFiles.h"
#include "core/FileCacheFixture.h"

// Each step that changes a file is made to fail, one after the other, until none is left to fail. Whatever
// happens, each row is then the old one or the new one.

namespace ledgerfern {
namespace {

using Kind = FaultyFiles::Kind;

class FileCacheSweepTest : public FileCacheFixture {
protected:
    static constexpr std::int64_t oldVersion = 21;
    static constexpr std::int64_t newVersion = 46;  // several pages

    /// A database with rows a, b, c of the old version.
    void prepare() const {
        forgetDatabase();
        FileCacheStore opened = store();
        for (const auto* path : {"/a", "/b", "/c"})
            upsertVersion(opened, path, oldVersion);
    }

    /// Replaces a, removes b, leaves c and adds d and e; with the checkpoint that closing brings.
    void work() const {
        FileCacheStore opened = store();
        upsertVersion(opened, "/a", newVersion);
        opened.remove({"/b"});
        upsertVersion(opened, "/d", newVersion);
        upsertVersion(opened, "/e", oldVersion);
        upsertVersion(opened, "/e", newVersion);
    }

    void expectOldOrNew() const {
        const Versions found = versions();
        for (const auto& [path, version] : found)
            EXPECT_TRUE(version == newVersion || (version == oldVersion && path != "/d")) << path << version;
        EXPECT_TRUE(found.contains("/a"));
        EXPECT_EQ(found.contains("/b") ? found.at("/b") : oldVersion, oldVersion);
        EXPECT_EQ(found.contains("/c") ? found.at("/c") : -1, oldVersion);
        EXPECT_EQ(query("PRAGMA integrity_check"), std::vector<std::string>{"ok"});
    }

    /// Afterwards the cache works as if nothing had been.
    void expectThatItWorks() const {
        work();
        const Versions found = versions();
        for (const auto* path : {"/a", "/d", "/e"})
            EXPECT_TRUE(found.contains(path) && found.at(path) == newVersion) << path;
    }

    /// Fails one step after the other of the work on what `begin` leaves, and judges with `judge`.
    template <class Begin, class Judge>
    void failEachStep(Kind kind, const Begin& begin, const Judge& judge) const {
        int step = 0;
        for (bool hasFailed = true; hasFailed && !HasFailure();) {
            SCOPED_TRACE(++step);
            FaultyFiles files;
            begin(files);
            files.failAt(step, kind);
            work();
            hasFailed = files.hasFailed();
            if (kind == Kind::powerCut) files.restart();
            files.mend();
            judge();
            expectThatItWorks();
        }
        EXPECT_GT(step, 30) << "the steps weren't seen";
    }

    void sweep(Kind kind) const {
        prepare();
        const std::string before = read("filecache.sqlite");
        const auto begin = [&](FaultyFiles& files) {
            forgetDatabase();
            files.remember(write("filecache.sqlite", before));
        };
        failEachStep(kind, begin, [this] { expectOldOrNew(); });
    }

    void sweepCreation(Kind kind) const {
        const auto judge = [this] {
            for (const auto& [path, version] : versions())
                EXPECT_TRUE(version == newVersion || (version == oldVersion && path == "/e")) << path;
        };
        failEachStep(kind, [this](FaultyFiles&) { forgetDatabase(); }, judge);
    }
};

TEST_F(FileCacheSweepTest, rowsAreOldOrNewWhereOneStepFails) {
    sweep(Kind::once);
}

TEST_F(FileCacheSweepTest, rowsAreOldOrNewWhereTheDiskIsFull) {
    sweep(Kind::forGood);
}

TEST_F(FileCacheSweepTest, rowsAreOldOrNewWhereThePowerIsCut) {
    sweep(Kind::powerCut);
}

TEST_F(FileCacheSweepTest, aNewDatabaseOutlivesAStepThatFails) {
    sweepCreation(Kind::once);
}

TEST_F(FileCacheSweepTest, aNewDatabaseOutlivesAFullDisk) {
    sweepCreation(Kind::forGood);
}

TEST_F(FileCacheSweepTest, aNewDatabaseOutlivesAPowerCut) {
    sweepCreation(Kind::powerCut);
}

}  // namespace
}  // namespace ledgerfern
