#include "Foundation/FileStat.h"

#include "core/FileFixture.h"

namespace ledgerfern {
namespace {

using FileStatTest = FileFixture;

TEST_F(FileStatTest, givesSizeAndMillisecondsCutOff) {
    write("a", "12345");
    setModified("a", 1'700'000'000, 123'999'999);
    const FileStat expected{5, 1'700'000'000'123};
    EXPECT_EQ(statFile(path("a")), expected);
}

TEST_F(FileStatTest, followsLinks) {
    write("a", "123");
    setModified("a", 1000, 0);
    link("a", "link");
    EXPECT_EQ(statFile(path("link")), statFile(path("a")));
    EXPECT_EQ(statFile(path("link"))->mtimeMs, 1'000'000u);
}

TEST_F(FileStatTest, isAbsentWhereNothingIs) {
    link("nowhere", "link");
    EXPECT_EQ(statFile(path("link")), std::nullopt);
    EXPECT_EQ(statFile(path("missing")), std::nullopt);
    EXPECT_EQ(statFile(""), std::nullopt);
}

TEST_F(FileStatTest, takesATimeBefore1970ForZero) {
    struct stat attributes{};
    attributes.st_size = 7;
    const FileStat epoch{7, 0};
    EXPECT_EQ(fileStat(attributes), epoch);
    write("a", "1234567");
    setModified("a", -5, 500'000'000);
    EXPECT_EQ(statFile(path("a")), epoch);
    setModified("a", -1, 999'999'999);
    EXPECT_EQ(statFile(path("a")), epoch);
    setModified("a", 0, 1'000'000);
    EXPECT_EQ(statFile(path("a"))->mtimeMs, 1u);
}

}  // namespace
}  // namespace ledgerfern
