#include "Foundation/FileStat.h"

#include <limits>

namespace ledgerfern {

namespace {

std::uint64_t milliseconds(const std::timespec& time) {
    constexpr auto mostSeconds = std::numeric_limits<std::uint64_t>::max() / 1000 - 1;
    if (time.tv_sec < 0 || static_cast<std::uint64_t>(time.tv_sec) > mostSeconds) return 0;
    return static_cast<std::uint64_t>(time.tv_sec) * 1000 +
           static_cast<std::uint64_t>(time.tv_nsec) / 1'000'000;
}

}  // namespace

FileStat fileStat(const struct stat& attributes) {
    return {static_cast<std::uint64_t>(attributes.st_size), milliseconds(modificationTime(attributes))};
}

std::optional<FileStat> statFile(const std::string& path) {
    struct stat attributes{};
    if (::stat(path.c_str(), &attributes) != 0) return std::nullopt;
    return fileStat(attributes);
}

std::optional<double> modificationInstant(const std::string& path) {
    struct stat attributes{};
    if (::stat(path.c_str(), &attributes) != 0) return std::nullopt;
    const std::timespec time = modificationTime(attributes);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

}  // namespace ledgerfern
