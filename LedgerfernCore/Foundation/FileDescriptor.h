#pragma once

#include <sys/stat.h>
#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <string>
#include <utility>

namespace ledgerfern {

/// An open file or folder of the operating system, closed with its owner.
class FileDescriptor {
public:
    FileDescriptor() = default;
    explicit FileDescriptor(int number) : number_(number) {}
    FileDescriptor(FileDescriptor&& other) noexcept : number_(other.release()) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        std::swap(number_, other.number_);
        return *this;
    }
    ~FileDescriptor();

    /// open(2), tried again where a signal interrupts it, and closed when another program is started. Not
    /// open where it fails; errno tells why.
    static FileDescriptor open(const std::string& path, int flags, mode_t mode = 0);

    bool isOpen() const { return number_ >= 0; }
    int number() const { return number_; }
    /// Gives the number away, which its new owner closes.
    int release() { return std::exchange(number_, -1); }

    /// Absent where they can't be read.
    std::optional<struct stat> attributes() const;
    /// Reads at most `size` bytes at `offset`, as many as one call gives; 0 at the end, absent on an error.
    std::optional<std::size_t> readAt(std::uint64_t offset, char* buffer, std::size_t size) const;

private:
    int number_ = -1;
};

}  // namespace ledgerfern
