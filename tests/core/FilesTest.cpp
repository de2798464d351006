#include "Foundation/Files.h"

#include <array>

#include "core/FileFixture.h"

namespace ledgerfern {
namespace {

using FilesTest = FileFixture;

std::string readOn(FileReader& reader, std::size_t size) {
    std::string bytes(size, '?');
    bytes.resize(reader.read(bytes.data(), size));
    return bytes;
}

TEST_F(FilesTest, aReaderGivesTheBytesBlockByBlock) {
    auto reader = FileReader::open(write("a", "0123456789"));
    ASSERT_TRUE(reader);
    EXPECT_EQ(readOn(*reader, 4), "0123");
    EXPECT_EQ(readOn(*reader, 4), "4567");
    EXPECT_EQ(readOn(*reader, 4), "89");
    EXPECT_EQ(readOn(*reader, 4), "");
    EXPECT_EQ(readOn(*reader, 4), "");
}

TEST_F(FilesTest, aReaderStartsWhereItIsTold) {
    auto reader = FileReader::open(write("a", "0123456789"));
    ASSERT_TRUE(reader);
    reader->seek(7);
    EXPECT_EQ(readOn(*reader, 100), "789");
    reader->seek(0);
    EXPECT_EQ(readOn(*reader, 2), "01");
    reader->seek(10);
    EXPECT_EQ(readOn(*reader, 2), "");
    reader->seek(5000);
    EXPECT_EQ(readOn(*reader, 2), "");
    reader->seek(UINT64_MAX);
    EXPECT_EQ(readOn(*reader, 2), "");
}

TEST_F(FilesTest, aReaderAtTheEndGoesOnWhenTheFileGrows) {
    auto reader = FileReader::open(write("a", "one"));
    ASSERT_TRUE(reader);
    EXPECT_EQ(readOn(*reader, 9), "one");
    EXPECT_EQ(readOn(*reader, 9), "");
    std::ofstream(path("a"), std::ios::app) << "two";
    EXPECT_EQ(readOn(*reader, 9), "two");
}

TEST_F(FilesTest, aReaderCanBeMovedAndGoesOn) {
    auto first = FileReader::open(write("a", "0123456789"));
    ASSERT_TRUE(first);
    readOn(*first, 3);
    FileReader second = std::move(*first);
    first.reset();
    EXPECT_EQ(readOn(second, 3), "345");
}

TEST_F(FilesTest, onlyARegularFileGivesBytes) {
    const std::string folderPath = makeFolder("folder.jsonl");
    const std::string pipe = path("pipe.jsonl");
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    for (const std::string& name : {folderPath, pipe, std::string("/dev/zero")}) {
        auto reader = FileReader::open(name);
        ASSERT_TRUE(reader) << name;
        EXPECT_EQ(readOn(*reader, 10), "") << name;
        EXPECT_EQ(readWholeFile(name), std::nullopt) << name;
    }
}

TEST_F(FilesTest, whatIsNotThereCannotBeOpened) {
    link("nowhere", "link");
    for (const std::string& name : {path("missing"), path("link"), path("no/folder"), std::string()}) {
        EXPECT_FALSE(FileReader::open(name)) << name;
        EXPECT_EQ(readWholeFile(name), std::nullopt) << name;
    }
}

TEST_F(FilesTest, readsAWholeFile) {
    const std::string bytes("a\0b\xFF\n", 5);
    EXPECT_EQ(readWholeFile(write("a", bytes)), bytes);
    EXPECT_EQ(readWholeFile(write("empty", "")), "");
    link("a", "link");
    EXPECT_EQ(readWholeFile(path("link")), bytes);
    EXPECT_EQ(readWholeFile(write("b\xFF?#%", "odd name")), "odd name");
}

TEST_F(FilesTest, readsAWholeFileThatIsLargerThanItsFirstBlock) {
    std::string bytes;
    bytes.resize(40'000'001, 'x');
    for (std::size_t i = 0; i < bytes.size(); i += 4093)
        bytes[i] = static_cast<char>('a' + i % 26);
    EXPECT_TRUE(readWholeFile(write("a", bytes)) == bytes);
}

}  // namespace
}  // namespace ledgerfern
