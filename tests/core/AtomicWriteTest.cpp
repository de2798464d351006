#include "Foundation/AtomicWrite.h"

#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>

#include "core/FileFixture.h"
#include "core/StepsWithAnEvent.h"

namespace ledgerfern {
namespace {

using testing::HasSubstr;

class AtomicWriteTest : public FileFixture {
protected:
    std::set<std::string> onlyTheFile{"file"};
    const std::string oldBytes = "old bytes";
    const std::string newBytes = std::string(100'000, 'n') + "ew";
};

TEST_F(AtomicWriteTest, writesANewFile) {
    EXPECT_TRUE(writeAtomically(path("file"), newBytes));
    EXPECT_EQ(read("file"), newBytes);
    EXPECT_EQ(names(), onlyTheFile);
}

TEST_F(AtomicWriteTest, replacesAFile) {
    write("file", oldBytes);
    EXPECT_TRUE(writeAtomically(path("file"), ""));
    EXPECT_EQ(read("file"), "");
    EXPECT_TRUE(writeAtomically(path("file"), std::string("\0\xFF\n", 3)));
    EXPECT_EQ(read("file"), std::string("\0\xFF\n", 3));
    EXPECT_EQ(names(), onlyTheFile);
}

TEST_F(AtomicWriteTest, replacesALinkAndNotItsTarget) {
    write("target", oldBytes);
    link("target", "file");
    EXPECT_TRUE(writeAtomically(path("file"), newBytes));
    EXPECT_EQ(read("target"), oldBytes);
    EXPECT_FALSE(std::filesystem::is_symlink(path("file")));
}

TEST_F(AtomicWriteTest, takesTheLongestNameThatAFileMayHave) {
    const std::string name(255, 'x');
    EXPECT_TRUE(writeAtomically(path(name), newBytes));
    EXPECT_EQ(read(name), newBytes);
}

TEST_F(AtomicWriteTest, givesThePermissionsOfANewFile) {
    const mode_t mask = ::umask(027);
    EXPECT_TRUE(writeAtomically(path("file"), newBytes));
    ::umask(mask);
    const auto permissions = std::filesystem::status(path("file")).permissions();
    EXPECT_EQ(static_cast<unsigned>(permissions), 0640u);
}

TEST_F(AtomicWriteTest, givesThePermissionsOfTheFileThatItReplaces) {
    for (const unsigned mode : {0600u, 0666u, 0440u}) {
        write("file", oldBytes);
        std::filesystem::permissions(path("file"), static_cast<std::filesystem::perms>(mode));
        EXPECT_TRUE(writeAtomically(path("file"), newBytes));
        EXPECT_EQ(static_cast<unsigned>(std::filesystem::status(path("file")).permissions()), mode);
        std::filesystem::remove(path("file"));
    }
}

TEST_F(AtomicWriteTest, givesThePermissionsThatAreAskedFor) {
    write("file", oldBytes);
    EXPECT_TRUE(writeAtomically(path("file"), newBytes, 0711));
    EXPECT_EQ(static_cast<unsigned>(std::filesystem::status(path("file")).permissions()), 0711u);
}

TEST_F(AtomicWriteTest, failsWithoutThePermissionsThatAreAskedFor) {
    constexpr int setMode = 2;
    write("file", oldBytes);
    StepsWithAnEvent unable(setMode, [] { return fail(EPERM); });
    EXPECT_EQ(writeAtomically(path("file"), newBytes, 0711, unable).error,
              "can't write “" + path("file") + "”: Operation not permitted");
    EXPECT_EQ(read("file"), oldBytes);
    EXPECT_EQ(names(), onlyTheFile);
}

TEST_F(AtomicWriteTest, givesNoMorePermissionsWhereTheyCantBeSet) {
    constexpr int setMode = 2;
    write("file", oldBytes);
    std::filesystem::permissions(path("file"),
                                 std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
    StepsWithAnEvent unable(setMode, [] { return fail(EPERM); });
    EXPECT_TRUE(writeAtomically(path("file"), newBytes, std::nullopt, unable));
    EXPECT_EQ(read("file"), newBytes);
    EXPECT_EQ(static_cast<unsigned>(std::filesystem::status(path("file")).permissions()), 0600u);
}

TEST_F(AtomicWriteTest, namesTheFileWhereTheFolderIsMissing) {
    const Result result = writeAtomically(path("no/file"), newBytes);
    EXPECT_EQ(result.error, "can't write “" + path("no/file") + "”: No such file or directory");
    EXPECT_EQ(names(), std::set<std::string>{});
}

TEST_F(AtomicWriteTest, leavesAFolderInItsPlaceAlone) {
    makeFolder("file/inner");
    const Result result = writeAtomically(path("file"), newBytes);
    EXPECT_THAT(result.error.value_or(""), HasSubstr(path("file")));
    EXPECT_EQ(names(), onlyTheFile);
    EXPECT_TRUE(std::filesystem::is_directory(path("file/inner")));
}

TEST_F(AtomicWriteTest, repairsANameInItsError) {
    EXPECT_THAT(writeAtomically(path("no\xFF/file"), "").error.value_or(""), HasSubstr("no\uFFFD/file"));
}

TEST_F(AtomicWriteTest, passesOverTheRemainsOfAWriterThatDied) {
    const auto number = [](const std::string& created) {
        return std::stoi(created.substr(created.rfind('-') + 1));
    };
    struct Steps : WriteSteps {
        std::string created;
        int create(const std::string& name, mode_t mode) override {
            created = name;
            return WriteSteps::create(name, mode);
        }
    } steps;
    ASSERT_TRUE(writeAtomically(path("file"), "1", std::nullopt, steps));
    const std::string prefix = ".ledgerfern-" + std::to_string(::getpid()) + "-";
    const int next = number(steps.created) + 1;
    write(prefix + std::to_string(next), "remains");
    EXPECT_TRUE(writeAtomically(path("file"), "2", std::nullopt, steps));
    EXPECT_EQ(number(steps.created), next + 1);
    EXPECT_EQ(read("file"), "2");
    EXPECT_EQ(read(prefix + std::to_string(next)), "remains");
}

TEST_F(AtomicWriteTest, isWholeOrNotAtAllWhicheverStepFails) {
    int steps = 0;
    for (int n = 1;; ++n) {
        write("file", oldBytes);
        StepsWithAnEvent failing(n, [] { return fail(ENOSPC); });
        const Result result = writeAtomically(path("file"), newBytes, std::nullopt, failing);
        EXPECT_EQ(names(), onlyTheFile) << n;
        EXPECT_EQ(read("file"), result ? newBytes : oldBytes) << n;
        if (!failing.happened()) break;
        if (!result) {
            EXPECT_EQ(result.error, "can't write “" + path("file") + "”: No space left on device");
            ++steps;
        }
    }
    EXPECT_EQ(steps, 7) << "create, three writes, sync, close, rename";
}

TEST_F(AtomicWriteTest, goesOnAfterAnInterruption) {
    StepsWithAnEvent interrupted(3, [] { return fail(EINTR); });
    EXPECT_TRUE(writeAtomically(path("file"), newBytes, std::nullopt, interrupted));
    EXPECT_EQ(read("file"), newBytes);
}

TEST_F(AtomicWriteTest, acceptsAFileSystemThatCannotFlush) {
    StepsWithAnEvent unable(5, [] { return fail(EINVAL); });
    EXPECT_TRUE(writeAtomically(path("file"), newBytes, std::nullopt, unable));
    EXPECT_EQ(read("file"), newBytes);
}

TEST_F(AtomicWriteTest, isWholeOrNotAtAllWhereverTheProcessDies) {
    constexpr int died = 42;
    for (int n = 1;; ++n) {
        write("file", oldBytes);
        const pid_t child = ::fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            StepsWithAnEvent deadly(n, []() -> int { ::_exit(died); });
            ::_exit(writeAtomically(path("file"), newBytes, std::nullopt, deadly) ? 0 : 1);
        }
        int status = 0;
        ASSERT_EQ(::waitpid(child, &status, 0), child);
        const bool isDone = WEXITSTATUS(status) != died;
        ASSERT_TRUE(WIFEXITED(status));
        const bool isRenamed = n > 8;
        EXPECT_EQ(read("file"), isRenamed ? newBytes : oldBytes) << n;
        if (isDone) break;
    }
}

}  // namespace
}  // namespace ledgerfern
