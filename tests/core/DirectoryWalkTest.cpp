#include "Foundation/DirectoryWalk.h"

#include <sys/resource.h>
#include <unistd.h>

#include "core/FileFixture.h"

namespace ledgerfern {
namespace {

class DirectoryWalkTest : public FileFixture {
protected:
    /// The paths below `root` without it; each must be there once.
    static std::set<std::string> walked(const std::string& root) {
        std::set<std::string> result;
        for (const WalkedFile& file : walkLogFiles(root)) {
            EXPECT_TRUE(file.path.starts_with(root + "/")) << file.path;
            EXPECT_TRUE(result.insert(file.path.substr(root.size() + 1)).second) << file.path;
        }
        return result;
    }
    using Names = std::set<std::string>;
};

TEST_F(DirectoryWalkTest, findsLogsAtEveryDepth) {
    write("a.jsonl", "");
    write("2026/03/01/b.jsonl", "");
    write("project/session/subagents/c.jsonl", "");
    makeFolder("empty");
    EXPECT_EQ(walked(folder()),
              (Names{"a.jsonl", "2026/03/01/b.jsonl", "project/session/subagents/c.jsonl"}));
}

TEST_F(DirectoryWalkTest, takesExactlyTheExtension) {
    for (const char* name : {"a.JSONL", "b.json", "c.jsonl.bak", "d.jsonl~", "ejsonl", ".jsonl", "f.jsonl2",
                             "g.Jsonl", "jsonl", "h.jsonl ", "sub/.jsonl"})
        write(name, "");
    EXPECT_EQ(walked(folder()), Names{});
    write("a.b.jsonl", "");
    write(" .jsonl", "");
    EXPECT_EQ(walked(folder()), (Names{"a.b.jsonl", " .jsonl"}));
}

TEST_F(DirectoryWalkTest, includesHiddenEntries) {
    write(".hidden.jsonl", "");
    write(".folder/a.jsonl", "");
    EXPECT_EQ(walked(folder()), (Names{".hidden.jsonl", ".folder/a.jsonl"}));
}

TEST_F(DirectoryWalkTest, listsAFolderOfSuchANameAndWalksIt) {
    write("x.jsonl/inner.jsonl", "");
    EXPECT_EQ(walked(folder()), (Names{"x.jsonl", "x.jsonl/inner.jsonl"}));
}

TEST_F(DirectoryWalkTest, followsNoLinkToAFolder) {
    const std::string root = makeFolder("root");
    write("other/a.jsonl", "");
    link("../other", "root/link");
    link("../other", "root/named.jsonl");
    link("..", "root/up");
    EXPECT_EQ(walked(root), Names{"named.jsonl"});
}

TEST_F(DirectoryWalkTest, walksARootThatIsALink) {
    write("real/sub/a.jsonl", "");
    link("real", "root");
    EXPECT_EQ(walked(path("root")), Names{"sub/a.jsonl"});
}

TEST_F(DirectoryWalkTest, givesWhatALinkLeadsTo) {
    write("target", "12345");
    setModified("target", 2000, 0);
    makeFolder("root");
    link("../target", "root/a.jsonl");
    link("nowhere", "root/b.jsonl");
    link("c.jsonl", "root/c.jsonl");
    std::map<std::string, std::optional<FileStat>> stats;
    for (const WalkedFile& file : walkLogFiles(path("root")))
        stats[file.path] = file.stat;
    const std::map<std::string, std::optional<FileStat>> expected = {
        {path("root/a.jsonl"), FileStat{5, 2'000'000}},
        {path("root/b.jsonl"), std::nullopt},
        {path("root/c.jsonl"), std::nullopt}};
    EXPECT_EQ(stats, expected);
}

TEST_F(DirectoryWalkTest, givesTheSameAttributesAsAStat) {
    write("sub/a.jsonl", "123");
    setModified("sub/a.jsonl", 1'700'000'000, 999'999'999);
    write("b.jsonl/c.jsonl", "");
    ASSERT_EQ(::mkfifo(path("pipe.jsonl").c_str(), 0600), 0);
    const auto files = walkLogFiles(folder());
    EXPECT_EQ(files.size(), 4u);
    for (const WalkedFile& file : files)
        EXPECT_EQ(file.stat, statFile(file.path)) << file.path;
}

TEST_F(DirectoryWalkTest, takesNamesAsBytes) {
    const std::string odd = "\xFF\xC3 \n\"\\?*.jsonl";
    write(odd, "");
    write("\x80/" + odd, "");
    EXPECT_EQ(walked(folder()), (Names{odd, "\x80/" + odd}));
}

TEST_F(DirectoryWalkTest, addsNothingForARootThatIsNoFolder) {
    write("file.jsonl", "");
    EXPECT_EQ(walkLogFiles(path("file.jsonl")).size(), 0u);
    EXPECT_EQ(walkLogFiles(path("missing")).size(), 0u);
    EXPECT_EQ(walkLogFiles("").size(), 0u);
}

TEST_F(DirectoryWalkTest, passesOverAFolderThatCannotBeRead) {
    write("shut/a.jsonl", "");
    write("open/b.jsonl", "");
    std::filesystem::permissions(folder(), std::filesystem::perms(0755));
    std::filesystem::permissions(path("shut"), std::filesystem::perms::none);
    // The superuser can read every folder, and so becomes another user meanwhile.
    const uid_t user = ::geteuid();
    ASSERT_EQ(::seteuid(user == 0 ? 65534 : user), 0);
    const Names found = walked(folder());
    const auto ofShutRoot = walkLogFiles(path("shut"));
    ASSERT_EQ(::seteuid(user), 0);
    std::filesystem::permissions(path("shut"), std::filesystem::perms::owner_all);
    EXPECT_EQ(found, Names{"open/b.jsonl"});
    EXPECT_TRUE(ofShutRoot.empty());
}

TEST_F(DirectoryWalkTest, putsOneSlashBetweenTheRootAndTheNames) {
    write("a.jsonl", "");
    const auto files = walkLogFiles(folder() + "/");
    ASSERT_EQ(files.size(), 1u);
    EXPECT_EQ(files[0].path, path("a.jsonl"));
}

TEST_F(DirectoryWalkTest, needsFewOpenFilesForADeepOrWideTree) {
    std::string deep = "d";
    for (int i = 0; i < 300; ++i) {
        deep += "/d";
        makeFolder("wide/" + std::to_string(i));
    }
    write(deep + "/a.jsonl", "");
    const int next = ::dup(0);
    ASSERT_GE(next, 0);
    ::close(next);
    struct rlimit old{};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &old), 0);
    const struct rlimit few{static_cast<rlim_t>(next) + 2, old.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &few), 0);
    const auto found = walked(folder());
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &old), 0);
    EXPECT_EQ(found, Names{deep + "/a.jsonl"});
    const int after = ::dup(0);
    EXPECT_EQ(after, next) << "every folder was closed";
    ::close(after);
}

std::set<std::string> foldersIn(const std::string& folder, bool followsLink = false) {
    const auto found = subfolders(folder, followsLink);
    return {found.begin(), found.end()};
}

TEST_F(DirectoryWalkTest, listsTheFoldersInOne) {
    makeFolder("root/a/deeper");
    makeFolder("root/.hidden");
    makeFolder("root/c.jsonl");
    write("root/file", "");
    link(path("root/a"), "root/link");
    EXPECT_EQ(foldersIn(path("root")),
              (std::set<std::string>{path("root/a"), path("root/.hidden"), path("root/c.jsonl")}));
    EXPECT_EQ(foldersIn(path("nowhere")), std::set<std::string>());
    EXPECT_EQ(foldersIn(path("root/file")), std::set<std::string>());
}

TEST_F(DirectoryWalkTest, listsWhatALinkLeadsToWhereItIsAskedTo) {
    makeFolder("root/a");
    link(path("root"), "link");
    EXPECT_EQ(foldersIn(path("link")), std::set<std::string>());
    EXPECT_EQ(foldersIn(path("link"), true), std::set<std::string>{path("link/a")});
}

}  // namespace
}  // namespace ledgerfern
