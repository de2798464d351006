#include "Foundation/Files.h"

#include <fcntl.h>

#include <algorithm>

namespace ledgerfern {

namespace {

constexpr std::uint64_t firstBlock = 16 << 20;

/// Doesn't wait for the other end of a pipe, and takes no terminal over.
FileDescriptor openForReading(const std::string& path) {
    return FileDescriptor::open(path, O_RDONLY | O_NONBLOCK | O_NOCTTY);
}

/// Absent for anything but a regular file.
std::optional<struct stat> regularAttributes(const FileDescriptor& file) {
    const auto attributes = file.attributes();
    return attributes && S_ISREG(attributes->st_mode) ? attributes : std::nullopt;
}

}  // namespace

std::optional<FileReader> FileReader::open(const std::string& path) {
    FileDescriptor file = openForReading(path);
    if (!file.isOpen()) return std::nullopt;
    const bool hasBytes = regularAttributes(file).has_value();
    return FileReader(std::move(file), hasBytes);
}

std::size_t FileReader::read(char* buffer, std::size_t size) {
    if (!hasBytes_) return 0;
    const std::size_t count = file_.readAt(offset_, buffer, size).value_or(0);
    offset_ += count;
    return count;
}

std::optional<std::string> readWholeFile(const std::string& path) {
    const FileDescriptor file = openForReading(path);
    const auto attributes = regularAttributes(file);
    if (!attributes) return std::nullopt;
    // The size is a hint only: the file may grow or shrink meanwhile, and some have none until they are read.
    std::string bytes(std::min(fileStat(*attributes).size, firstBlock) + 1, '\0');
    for (std::size_t used = 0;;) {
        const auto count = file.readAt(used, bytes.data() + used, bytes.size() - used);
        if (!count) return std::nullopt;
        used += *count;
        if (*count == 0) {
            bytes.resize(used);
            return bytes;
        }
        if (used == bytes.size()) bytes.resize(2 * used);
    }
}

}  // namespace ledgerfern
