#include "Foundation/Locations.h"

#include <pwd.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string_view>
#include <system_error>
#include <vector>

namespace ledgerfern {

namespace {

std::string workingDirectory() {
    std::error_code error;
    return std::filesystem::current_path(error).string();
}

std::vector<std::string_view> components(std::string_view path) {
    std::vector<std::string_view> result;
    while (!path.empty()) {
        const std::string_view name = path.substr(0, path.find('/'));
        path.remove_prefix(name.size() == path.size() ? name.size() : name.size() + 1);
        if (name == "..") {
            if (!result.empty()) result.pop_back();
        } else if (!name.empty() && name != ".") {
            result.push_back(name);
        }
    }
    return result;
}

/// Empty where the account has none.
std::string accountHomeDirectory() {
    std::vector<char> buffer(1 << 16);
    struct passwd entry{};
    struct passwd* found = nullptr;
    ::getpwuid_r(::getuid(), &entry, buffer.data(), buffer.size(), &found);
    return found != nullptr && found->pw_dir != nullptr ? found->pw_dir : "";
}

}  // namespace

std::string lexicallyAbsolute(const std::string& path) {
    std::string whole = path;
    if (!path.starts_with('/')) {
        const std::string start = workingDirectory();
        if (start.empty()) return path;
        whole = start + "/" + path;
    }
    std::string result;
    for (const std::string_view name : components(whole))
        result.append("/").append(name);
    return result.empty() ? "/" : result;
}

std::string linkTarget(const std::string& path) {
    constexpr int mostLinks = 40;
    std::filesystem::path target = path;
    std::error_code error;
    for (int i = 0; i < mostLinks && std::filesystem::is_symlink(target, error); ++i)
        target = target.parent_path() / std::filesystem::read_symlink(target, error);
    return target;
}

std::string homeDirectory() {
    const char* const home = std::getenv("HOME");
    const std::string chosen = home != nullptr && *home != '\0' ? home : accountHomeDirectory();
    return chosen.empty() ? "/" : lexicallyAbsolute(chosen);
}

std::string supportDirectory() {
    return lexicallyAbsolute(homeDirectory() + "/Library/Application Support/Ledgerfern");
}

}  // namespace ledgerfern
