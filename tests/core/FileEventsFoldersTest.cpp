#include "core/FileEventsFixture.h"

#include <unistd.h>

#include <atomic>
#include <thread>

namespace ledgerfern {
namespace {

namespace fs = std::filesystem;
using test::never;

using FileEventsFoldersTest = test::FileEventsFixture;

TEST_F(FileEventsFoldersTest, reachDownToEveryFolder) {
    for (int i = 0; i < 300; ++i)
        write("root/" + std::to_string(i % 20) + "/" + std::to_string(i) + "/a.jsonl", "");
    watch();
    for (int i = 0; i < 300; ++i)
        EXPECT_TRUE(follows("root/" + std::to_string(i % 20) + "/" + std::to_string(i) + "/a.jsonl")) << i;
}

TEST_F(FileEventsFoldersTest, followFoldersThatAreMadeLater) {
    watch();
    makeFolder("root/a/b/c");
    EXPECT_TRUE(hasEvent());
    write("root/a/b/c/log.jsonl", "");
    EXPECT_TRUE(follows("root/a/b/c/log.jsonl"));
    write("root/a/b/x/log.jsonl", "");
    EXPECT_TRUE(follows("root/a/b/x/log.jsonl"));
}

TEST_F(FileEventsFoldersTest, followWhatIsMadeAtFullSpeedWhileTheyLook) {
    watch();
    std::atomic<bool> isDone = false;
    std::thread writer([&] {
        for (int i = 0; i < 200; ++i) {
            const std::string name = "root/" + std::to_string(i);
            makeFolder(name + "/sub/deep");
            if (i % 3 == 0) move(name, name + "-moved");
            write(i % 3 == 0 ? name + "-moved/sub/deep/log.jsonl" : name + "/sub/deep/log.jsonl", "");
            if (i % 7 == 0) remove(name);
        }
        isDone = true;
    });
    while (!isDone)
        events->wait(0.01);
    writer.join();
    settle();
    int logs = 0;
    for (const auto& entry : fs::recursive_directory_iterator(path("root")))
        if (entry.is_regular_file()) {
            ++logs;
            EXPECT_TRUE(follows(entry.path().lexically_relative(folder()))) << entry.path();
        }
    EXPECT_GT(logs, 150);
}

TEST_F(FileEventsFoldersTest, followFoldersThatAreMoved) {
    write("root/d/e/log.jsonl", "");
    watch();
    move("root/d", "root/new");
    EXPECT_TRUE(follows("root/new/e/log.jsonl"));
    makeFolder("root/new/e/f");
    write("root/new/e/f/log.jsonl", "");
    EXPECT_TRUE(follows("root/new/e/f/log.jsonl"));
    write("root/d/e/log.jsonl", "");
    EXPECT_TRUE(follows("root/d/e/log.jsonl"));
    EXPECT_TRUE(follows("root/new/e/log.jsonl"));
}

TEST_F(FileEventsFoldersTest, followFoldersThatAreMovedIn) {
    write("outside/e/log.jsonl", "");
    watch();
    move("outside", "root/in");
    EXPECT_TRUE(hasEvent());
    EXPECT_TRUE(follows("root/in/e/log.jsonl"));
}

TEST_F(FileEventsFoldersTest, letGoOfFoldersThatAreMovedOut) {
    write("root/d/e/log.jsonl", "");
    watch();
    move("root/d", "outside");
    EXPECT_TRUE(hasEvent());
    settle();
    append("outside/e/log.jsonl", "more");
    write("outside/new.jsonl", "");
    EXPECT_TRUE(isQuiet());
}

TEST_F(FileEventsFoldersTest, keepTheSiblingsOfAFolderThatGoes) {
    for (const char* name : {"d", "d-x", "d.x", "d0", "d1", "da"})
        write("root/" + std::string(name) + "/e/log.jsonl", "");
    watch();
    move("root/d", "outside");
    for (const char* name : {"d-x", "d.x", "d0", "d1", "da"})
        EXPECT_TRUE(follows("root/" + std::string(name) + "/e/log.jsonl")) << name;
    settle();
    append("outside/e/log.jsonl", "more");
    EXPECT_TRUE(isQuiet());
}

TEST_F(FileEventsFoldersTest, followTwoFoldersThatChangeNames) {
    write("root/a/log.jsonl", "");
    write("root/b/sub/log.jsonl", "");
    watch();
    move("root/a", "root/x");
    move("root/b", "root/a");
    move("root/x", "root/b");
    EXPECT_TRUE(follows("root/b/log.jsonl"));
    EXPECT_TRUE(follows("root/a/sub/log.jsonl"));
    move("root/a", "outside");
    EXPECT_TRUE(follows("root/b/log.jsonl"));
    settle();
    append("outside/sub/log.jsonl", "more");
    EXPECT_TRUE(isQuiet());
}

TEST_F(FileEventsFoldersTest, followAFolderThatTakesAnothersPlace) {
    makeFolder("root/old");
    write("root/new/log.jsonl", "");
    watch();
    move("root/new", "root/old");
    EXPECT_TRUE(follows("root/old/log.jsonl"));
    write("root/old/sub/log.jsonl", "");
    EXPECT_TRUE(follows("root/old/sub/log.jsonl"));
}

TEST_F(FileEventsFoldersTest, followAFolderThatIsMadeAgain) {
    for (int i = 0; i < 50; ++i)
        write("root/d/" + std::to_string(i) + "/log.jsonl", "");
    watch();
    for (int i = 0; i < 3; ++i) {
        remove("root/d");
        EXPECT_TRUE(hasEvent());
        write("root/d/7/log.jsonl", "");
        EXPECT_TRUE(follows("root/d/7/log.jsonl"));
    }
}

/// Who may read everything is somebody else while this lives.
class OrdinaryUser {
public:
    OrdinaryUser() { check(::geteuid() != 0 || ::seteuid(65534) == 0, "nobody else to be"); }
    ~OrdinaryUser() { check(::getuid() != 0 || ::seteuid(0) == 0, "no way back"); }
    OrdinaryUser(const OrdinaryUser&) = delete;
    OrdinaryUser& operator=(const OrdinaryUser&) = delete;
};

TEST_F(FileEventsFoldersTest, followAFolderThatBecomesReadable) {
    const auto everybody = static_cast<fs::perms>(0755);
    write("root/d/e/log.jsonl", "");
    fs::permissions(folder(), everybody);
    fs::permissions(path("root/d"), fs::perms::none);
    {
        const OrdinaryUser user;
        watch();
    }
    fs::permissions(path("root/d"), everybody);
    {
        const OrdinaryUser user;
        EXPECT_TRUE(hasEvent());
        settle();
    }
    append("root/d/e/log.jsonl", "more");
    EXPECT_TRUE(hasEvent());
}

TEST_F(FileEventsFoldersTest, followNoLinkBelowAFolder) {
    write("outside/log.jsonl", "");
    link(path("outside"), "root/before");
    watch();
    link(path("outside"), "root/later");
    EXPECT_TRUE(hasEvent());
    settle();
    append("outside/log.jsonl", "more");
    EXPECT_TRUE(isQuiet());
}

TEST_F(FileEventsFoldersTest, followALinkThatIsGivenToThem) {
    write("real/d/log.jsonl", "");
    link(path("real"), "link");
    events = fileEvents({path("link")}, never);
    ASSERT_TRUE(events);
    EXPECT_TRUE(follows("real/d/log.jsonl"));
    write("real/new/log.jsonl", "");
    EXPECT_TRUE(follows("real/new/log.jsonl"));
}

}  // namespace
}  // namespace ledgerfern
