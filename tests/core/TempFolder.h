#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/time.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

namespace ledgerfern::test {

/// A folder of the test's own, removed with all it holds.
class TempFolder {
public:
    TempFolder() {
        std::string pattern = std::filesystem::temp_directory_path().string() + "/ledgerfern-test-XXXXXX";
        path_ = ::mkdtemp(pattern.data()) ? pattern : std::string();
        EXPECT_FALSE(path_.empty());
    }
    ~TempFolder() {
        std::error_code ignored;
        std::filesystem::permissions(path_, std::filesystem::perms::owner_all, ignored);
        std::filesystem::remove_all(path_, ignored);
    }
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;

    const std::string& path() const { return path_; }
    std::string operator/(std::string_view name) const { return path_ + "/" + std::string(name); }

    /// Writes a file below the folder, with its parent folders, and gives its path.
    std::string write(std::string_view name, std::string_view bytes) const {
        const std::string path = *this / name;
        std::filesystem::create_directories(std::filesystem::path(path).parent_path());
        std::ofstream(path, std::ios::binary).write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
        return path;
    }
    void append(std::string_view name, std::string_view bytes) const {
        std::ofstream(*this / name, std::ios::binary | std::ios::app)
            .write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    }

private:
    std::string path_;
};

/// Sets a file's modification time, in seconds since the epoch.
inline void setModified(const std::string& path, double seconds) {
    const double whole = std::floor(seconds);
    const auto microseconds = static_cast<suseconds_t>(std::lround((seconds - whole) * 1e6));
    const timeval time{static_cast<time_t>(whole), microseconds};
    const timeval times[2] = {time, time};
    EXPECT_EQ(::utimes(path.c_str(), times), 0);
}

}  // namespace ledgerfern::test
