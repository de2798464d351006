#include "Foundation/Locations.h"

#include <unistd.h>

#include "core/FileFixture.h"

namespace ledgerfern {
namespace {

TEST(Locations, areNormalisedWithoutLookingThemUp) {
    EXPECT_EQ(lexicallyAbsolute("/a/b"), "/a/b");
    EXPECT_EQ(lexicallyAbsolute("/a/b/"), "/a/b");
    EXPECT_EQ(lexicallyAbsolute("//a///b//"), "/a/b");
    EXPECT_EQ(lexicallyAbsolute("/a/./b/."), "/a/b");
    EXPECT_EQ(lexicallyAbsolute("/a/../b"), "/b");
    EXPECT_EQ(lexicallyAbsolute("/a/b/.."), "/a");
    EXPECT_EQ(lexicallyAbsolute("/../../a"), "/a");
    EXPECT_EQ(lexicallyAbsolute("/a/.."), "/");
    EXPECT_EQ(lexicallyAbsolute("/"), "/");
    EXPECT_EQ(lexicallyAbsolute("/a/.b/..c/...d"), "/a/.b/..c/...d");
    EXPECT_EQ(lexicallyAbsolute("/no\xFFsuch/folder"), "/no\xFFsuch/folder");
}

TEST(Locations, areMadeAbsoluteByTheWorkingDirectory) {
    const std::string here = std::filesystem::current_path().string();
    EXPECT_EQ(lexicallyAbsolute("a/b"), lexicallyAbsolute(here + "/a/b"));
    EXPECT_EQ(lexicallyAbsolute("."), here);
    EXPECT_EQ(lexicallyAbsolute(""), here);
    EXPECT_EQ(lexicallyAbsolute("a/.."), here);
    EXPECT_EQ(lexicallyAbsolute(".."), std::filesystem::path(here).parent_path().string());
}

class LocationsTest : public FileFixture {};

TEST_F(LocationsTest, leaveLinksAsTheyAre) {
    makeFolder("real");
    link("real", "link");
    EXPECT_EQ(lexicallyAbsolute(path("link/x")), path("link/x"));
}

TEST(Locations, findTheHomeDirectory) {
    const EnvironmentVariable home("HOME", "/somewhere/else/");
    EXPECT_EQ(homeDirectory(), "/somewhere/else");
    EXPECT_EQ(supportDirectory(), "/somewhere/else/Library/Application Support/Ledgerfern");
}

TEST(Locations, haveASupportDirectoryBelowTheRootToo) {
    const EnvironmentVariable home("HOME", "/");
    EXPECT_EQ(supportDirectory(), "/Library/Application Support/Ledgerfern");
}

TEST(Locations, fallBackOnTheAccountsHomeDirectory) {
    std::string account;
    {
        const EnvironmentVariable home("HOME", std::nullopt);
        account = homeDirectory();
    }
    EXPECT_TRUE(account.starts_with('/'));
    const EnvironmentVariable home("HOME", "");
    EXPECT_EQ(homeDirectory(), account);
}

}  // namespace
}  // namespace ledgerfern
