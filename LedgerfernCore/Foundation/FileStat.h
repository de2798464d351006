#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <ctime>
#include <optional>
#include <string>

namespace ledgerfern {

/// What tells whether a file has changed.
struct FileStat {
    std::uint64_t size = 0;     ///< In bytes.
    std::uint64_t mtimeMs = 0;  ///< Milliseconds since the Unix epoch, truncated; 0 before it.

    bool operator==(const FileStat&) const = default;
};

/// Of the file that `path` leads to; absent where it leads nowhere.
std::optional<FileStat> statFile(const std::string& path);

/// The last modification of the file that `path` leads to, in seconds since the Unix epoch, with what the
/// file system tells of fractions; absent where it leads nowhere.
std::optional<double> modificationInstant(const std::string& path);

FileStat fileStat(const struct stat& attributes);
/// The last modification, whose field has another name on each platform.
std::timespec modificationTime(const struct stat& attributes);

}  // namespace ledgerfern
