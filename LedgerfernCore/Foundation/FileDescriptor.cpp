#include "Foundation/FileDescriptor.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <limits>

namespace ledgerfern {

namespace {

constexpr std::size_t largestRead = std::size_t{1} << 30;  // some systems refuse reads past 2^31 - 1

}  // namespace

FileDescriptor::~FileDescriptor() {
    if (isOpen()) ::close(number_);
}

FileDescriptor FileDescriptor::open(const std::string& path, int flags, mode_t mode) {
    int number = -1;
    do {
        number = ::open(path.c_str(), flags | O_CLOEXEC, mode);
    } while (number < 0 && errno == EINTR);
    return FileDescriptor(number);
}

std::optional<struct stat> FileDescriptor::attributes() const {
    struct stat attributes{};
    if (::fstat(number_, &attributes) != 0) return std::nullopt;
    return attributes;
}

std::optional<std::size_t> FileDescriptor::readAt(std::uint64_t offset, char* buffer,
                                                  std::size_t size) const {
    if (offset > static_cast<std::uint64_t>(std::numeric_limits<off_t>::max())) return 0;
    ssize_t count = -1;
    do {
        count = ::pread(number_, buffer, std::min(size, largestRead), static_cast<off_t>(offset));
    } while (count < 0 && errno == EINTR);
    if (count < 0) return std::nullopt;
    return static_cast<std::size_t>(count);
}

}  // namespace ledgerfern
