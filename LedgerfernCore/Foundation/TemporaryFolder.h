#pragma once

#include <optional>
#include <string>
#include <utility>

namespace ledgerfern {

/// A new folder in the system's temporary folder that only this user can read, removed with all that is in it
/// when its owner goes.
class TemporaryFolder {
public:
    /// Absent where it can't be made.
    static std::optional<TemporaryFolder> create();

    TemporaryFolder(TemporaryFolder&& other) noexcept : path_(std::exchange(other.path_, "")) {}
    TemporaryFolder& operator=(TemporaryFolder&& other) noexcept {
        std::swap(path_, other.path_);
        return *this;
    }
    ~TemporaryFolder();

    const std::string& path() const { return path_; }

private:
    explicit TemporaryFolder(std::string path) : path_(std::move(path)) {}

    std::string path_;
};

}  // namespace ledgerfern
