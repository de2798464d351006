#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "Foundation/FileDescriptor.h"
#include "Foundation/FileStat.h"

/// Reading files. Paths are bytes; links are followed.
namespace ledgerfern {

/// A file open for reading. Only a regular file gives bytes: a folder, pipe or device of the name opens
/// without waiting, and is empty.
class FileReader {
public:
    /// Absent where the file can't be opened.
    static std::optional<FileReader> open(const std::string& path);

    /// The next read starts `offset` bytes behind the file's start, which may be past its end.
    void seek(std::uint64_t offset) { offset_ = offset; }
    /// Reads at most `size` bytes and returns how many; 0 at the end, and on an error.
    std::size_t read(char* buffer, std::size_t size);

private:
    FileReader(FileDescriptor file, bool hasBytes) : file_(std::move(file)), hasBytes_(hasBytes) {}

    FileDescriptor file_;
    bool hasBytes_;
    std::uint64_t offset_ = 0;
};

/// All bytes of a regular file; absent where it isn't one, or can't be read to its end.
std::optional<std::string> readWholeFile(const std::string& path);

}  // namespace ledgerfern
