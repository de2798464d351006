#include "Foundation/Paths.h"

#include <gtest/gtest.h>

namespace ledgerfern {
namespace {

TEST(Paths, theLastComponentStandsBehindTheLastSlash) {
    EXPECT_EQ(lastPathComponent("/usr/bin/git"), "git");
    EXPECT_EQ(lastPathComponent("git"), "git");
    EXPECT_EQ(lastPathComponent("./gradlew"), "gradlew");
    EXPECT_EQ(lastPathComponent(""), "");
    EXPECT_EQ(lastPathComponent(".."), "..");
}

TEST(Paths, slashesAtTheEndAreIgnored) {
    EXPECT_EQ(lastPathComponent("/home/me/project/"), "project");
    EXPECT_EQ(lastPathComponent("a//"), "a");
    EXPECT_EQ(parentPath("/a/b/"), "/a");
    EXPECT_EQ(pathExtension("a/b.jsonl/"), "jsonl");
}

TEST(Paths, theRootIsItsOwnNameAndParent) {
    for (const char* root : {"/", "//", "///"}) {
        EXPECT_EQ(lastPathComponent(root), "/") << root;
        EXPECT_EQ(parentPath(root), "/") << root;
        EXPECT_EQ(pathExtension(root), "") << root;
    }
}

TEST(Paths, theExtensionStandsBehindTheLastPointOfTheName) {
    EXPECT_EQ(pathExtension("/a/b.jsonl"), "jsonl");
    EXPECT_EQ(pathExtension("x.tar.gz"), "gz");
    EXPECT_EQ(pathExtension("..a"), "a");
    EXPECT_EQ(pathExtension(".hidden.jsonl"), "jsonl");
    EXPECT_EQ(pathExtension("b.JSONL"), "JSONL");
}

TEST(Paths, someNamesHaveNoExtension) {
    for (const char* path : {"", "jsonl", "/a.b/jsonl", ".jsonl", "/a/.jsonl", "a.", ".", "..", "a/.."})
        EXPECT_EQ(pathExtension(path), "") << path;
}

TEST(Paths, theParentIsThePathWithoutItsLastComponent) {
    EXPECT_EQ(parentPath("/a/b/c"), "/a/b");
    EXPECT_EQ(parentPath("/a"), "/");
    EXPECT_EQ(parentPath("//a"), "/");
    EXPECT_EQ(parentPath("/a//b"), "/a");
    EXPECT_EQ(parentPath("a/b"), "a");
    EXPECT_EQ(parentPath("a"), "");
    EXPECT_EQ(parentPath("a/"), "");
    EXPECT_EQ(parentPath(""), "");
}

}  // namespace
}  // namespace ledgerfern
