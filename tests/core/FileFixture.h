#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <optional>
#include <set>
#include <sstream>
#include <string>

#include "Foundation/Check.h"
#include "Foundation/FileStat.h"
#include "Foundation/TemporaryFolder.h"

namespace ledgerfern {

/// A test with a folder of its own.
class FileFixture : public testing::Test {
protected:
    std::string path(const std::string& name) const { return folder() + "/" + name; }
    const std::string& folder() const { return folder_->path(); }

    std::string write(const std::string& name, const std::string& bytes) const {
        std::filesystem::create_directories(std::filesystem::path(path(name)).parent_path());
        std::ofstream file(path(name), std::ios::binary);
        file << bytes;
        file.close();
        check(file.good(), "a test file can't be written");
        return path(name);
    }
    std::string read(const std::string& name) const {
        std::ifstream file(path(name), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    std::string makeFolder(const std::string& name) const {
        std::filesystem::create_directories(path(name));
        return path(name);
    }
    void link(const std::string& target, const std::string& name) const {
        std::filesystem::create_symlink(target, path(name));
    }
    void setModified(const std::string& name, std::time_t seconds, long nanoseconds) const {
        const struct timespec times[2] = {{seconds, nanoseconds}, {seconds, nanoseconds}};
        check(::utimensat(AT_FDCWD, path(name).c_str(), times, 0) == 0, "a test file's time can't be set");
    }

    /// The names in the folder, hidden ones too.
    std::set<std::string> names() const { return namesIn(folder()); }
    static std::set<std::string> namesIn(const std::string& folder) {
        std::set<std::string> result;
        for (const auto& entry : std::filesystem::directory_iterator(folder))
            result.insert(entry.path().filename().string());
        return result;
    }

    /// All that can be seen of the folder's files, by name: inode, size, time, permissions and bytes.
    std::map<std::string, std::string> everything() const { return everythingIn("."); }
    std::map<std::string, std::string> everythingIn(const std::string& subfolder) const {
        std::map<std::string, std::string> result;
        for (const std::string& entry : namesIn(path(subfolder))) {
            const std::string name = subfolder + "/" + entry;
            struct stat attributes{};
            check(::stat(path(name).c_str(), &attributes) == 0, "a test file has no attributes");
            const std::timespec time = modificationTime(attributes);
            std::ostringstream text;
            text << attributes.st_ino << ' ' << attributes.st_size << ' ' << time.tv_sec << '.'
                 << time.tv_nsec << ' ' << attributes.st_mode << '\n'
                 << read(name);
            result[name] = text.str();
        }
        return result;
    }

private:
    std::optional<TemporaryFolder> folder_ = TemporaryFolder::create();
};

/// Sets a variable of the environment, or removes it, while it lives.
class EnvironmentVariable {
public:
    EnvironmentVariable(const char* name, const std::optional<std::string>& value) : name_(name) {
        if (const char* const old = std::getenv(name)) old_ = old;
        set(value);
    }
    ~EnvironmentVariable() { set(old_); }
    EnvironmentVariable(const EnvironmentVariable&) = delete;
    EnvironmentVariable& operator=(const EnvironmentVariable&) = delete;

private:
    void set(const std::optional<std::string>& value) const {
        if (value)
            ::setenv(name_, value->c_str(), 1);
        else
            ::unsetenv(name_);
    }

    const char* name_;
    std::optional<std::string> old_;
};

}  // namespace ledgerfern
