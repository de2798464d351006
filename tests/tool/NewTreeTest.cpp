#include "NewTree.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <filesystem>

#include "Foundation/Files.h"
#include "tool/LogFolder.h"

namespace ledgerfern {
namespace {

namespace fs = std::filesystem;
using testing::EndsWith;
using testing::StartsWith;

/// Fails at the step of a number, counted from 1, and writes in small pieces.
class FailingSteps : public TreeSteps {
public:
    explicit FailingSteps(int at) : at_(at) {}

    int create(const std::string& path, mode_t mode) override {
        return isNow() ? fail() : TreeSteps::create(path, mode);
    }
    ssize_t write(int file, const char* bytes, std::size_t size) override {
        return isNow() ? fail() : TreeSteps::write(file, bytes, std::min<std::size_t>(size, 7));
    }
    int sync(int file) override { return isNow() ? fail() : TreeSteps::sync(file); }
    int close(int file) override {
        const bool now = isNow();
        const int result = TreeSteps::close(file);
        return now ? fail() : result;
    }
    int rename(const std::string& from, const std::string& to) override {
        return isNow() ? fail() : TreeSteps::rename(from, to);
    }
    int makeFolder(const std::string& path) override {
        return isNow() ? fail() : TreeSteps::makeFolder(path);
    }

    bool happened() const { return count_ >= at_; }

private:
    bool isNow() { return ++count_ == at_; }
    static int fail() {
        errno = ENOSPC;
        return -1;
    }

    int at_;
    int count_ = 0;
};

Result writeTree(const std::string& folder, TreeSteps& steps) {
    NewTree tree(folder, steps);
    if (Result result = tree.begin(); !result) return result;
    if (Result result = tree.add("a/b/one", "the first of them", 1'000); !result) return result;
    if (Result result = tree.add("a/two", "the second", 2'500); !result) return result;
    if (Result result = tree.add("three", "", 3'000); !result) return result;
    return tree.finish();
}

void expectWholeTree(const std::string& folder) {
    EXPECT_EQ(readWholeFile(folder + "/a/b/one"), "the first of them");
    EXPECT_EQ(readWholeFile(folder + "/a/two"), "the second");
    EXPECT_EQ(readWholeFile(folder + "/three"), "");
    EXPECT_EQ(std::distance(fs::directory_iterator(folder), fs::directory_iterator()), 2);
}

TEST(NewTree, fillsAFolderThatIsEmptyOrNotThere) {
    const LogFolder folder;
    TreeSteps steps;
    EXPECT_TRUE(writeTree(folder.path(), steps));
    expectWholeTree(folder.path());
    const LogFolder other;
    EXPECT_TRUE(writeTree(other.path("new"), steps));
    expectWholeTree(other.path("new"));
}

TEST(NewTree, letsFilesLookAsOldAsTheyAreToldToBe) {
    const LogFolder folder;
    TreeSteps steps;
    EXPECT_TRUE(writeTree(folder.path(), steps));
    struct stat attributes{};
    ASSERT_EQ(::stat(folder.path("a/two").c_str(), &attributes), 0);
    EXPECT_EQ(attributes.st_mtime, 2);
}

TEST(NewTree, leavesNothingBehindWhicheverStepFails) {
    bool happened = true;
    int at = 1;
    for (; happened; ++at) {
        const LogFolder existing, above;
        FailingSteps inExisting(at), inNew(at);
        const Result result = writeTree(existing.path(), inExisting);
        const Result inNewResult = writeTree(above.path("new"), inNew);
        happened = inExisting.happened();
        if (!happened) break;
        if (at == 1) {
            // The existing folder needn't be made.
            EXPECT_EQ(result.error,
                      "can't write the demo to “" + existing.path() + "”: No space left on device");
            continue;
        }
        ASSERT_FALSE(result) << at;
        ASSERT_FALSE(inNewResult) << at;
        EXPECT_EQ(inNewResult.error,
                  "can't write the demo to “" + above.path("new") + "”: No space left on device");
        EXPECT_TRUE(fs::is_empty(existing.path())) << at;
        EXPECT_TRUE(fs::is_empty(above.path())) << at;
    }
    EXPECT_GT(at, 20);
}

TEST(NewTree, leavesNothingBehindWhereItIsGivenUp) {
    const LogFolder folder;
    TreeSteps steps;
    {
        NewTree tree(folder.path("new"), steps);
        EXPECT_TRUE(tree.begin());
        EXPECT_TRUE(tree.add("a/b", "bytes", 0));
        EXPECT_FALSE(fs::exists(folder.path("new/a")));
    }
    EXPECT_TRUE(fs::is_empty(folder.path()));
}

TEST(NewTree, leavesWhatOthersPutThereMeanwhile) {
    const LogFolder folder;
    TreeSteps steps;
    NewTree tree(folder.path("new"), steps);
    ASSERT_TRUE(tree.begin());
    ASSERT_TRUE(tree.add("a/b", "ours", 0));
    ASSERT_TRUE(tree.add("c/d", "ours", 0));
    folder.write("new/c/theirs", "precious");
    EXPECT_FALSE(tree.finish());
    EXPECT_EQ(readWholeFile(folder.path("new/c/theirs")), "precious");
    EXPECT_EQ(
        std::distance(fs::recursive_directory_iterator(folder.path()), fs::recursive_directory_iterator()),
        3);
}

TEST(NewTree, leavesTheWorkOfAnotherOneAlone) {
    const LogFolder folder;
    TreeSteps steps;
    NewTree first(folder.path(), steps);
    ASSERT_TRUE(first.begin());
    ASSERT_TRUE(first.add("a", "first", 0));
    {
        // Comes between the look at the folder and the making of its own.
        class LateSteps : public TreeSteps {
        public:
            int makeFolder(const std::string& path) override {
                if (TreeSteps::makeFolder(path) == 0) fs::create_directory(path + "/.ledgerfern-demo");
                return 0;
            }
        } late;
        NewTree second(folder.path("second"), late);
        static_cast<void>(second.begin());
        TreeSteps plain;
        NewTree third(folder.path("second"), plain);
        EXPECT_FALSE(third.begin());
    }
    EXPECT_TRUE(first.finish());
    EXPECT_EQ(readWholeFile(folder.path("a")), "first");
}

TEST(NewTree, touchesNothingWhereTheFolderIsNotEmpty) {
    const LogFolder folder;
    folder.write("three", "somebody's");
    TreeSteps steps;
    const Result result = writeTree(folder.path(), steps);
    EXPECT_EQ(result.error,
              "the folder “" + folder.path() + "” isn't empty; demo takes a new or an empty one");
    EXPECT_EQ(readWholeFile(folder.path("three")), "somebody's");
}

TEST(NewTree, takesAwayWhatWasNeededOnTheWay) {
    const LogFolder folder;
    TreeSteps steps;
    NewTree tree(folder.path("new"), steps);
    ASSERT_TRUE(tree.begin());
    const std::string scratch = tree.scratchPath("notes");
    folder.write(scratch.substr(folder.path().size() + 1), "of no use later");
    ASSERT_TRUE(tree.add("notes", "of use", 1'000));
    ASSERT_TRUE(tree.finish());
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder.path("new")))
        names.push_back(entry.path().filename());
    EXPECT_EQ(names, std::vector<std::string>{"notes"});
}

}  // namespace
}  // namespace ledgerfern
