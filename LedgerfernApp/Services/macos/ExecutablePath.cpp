#include "Services/ExecutablePath.h"

#include <mach-o/dyld.h>

#include <cstdint>
#include <filesystem>
#include <system_error>

namespace ledgerfern {

namespace {

/// As the program was started, with a zero at the end; empty where that isn't known.
std::string startedPath() {
    std::uint32_t size = 0;
    ::_NSGetExecutablePath(nullptr, &size);  // fails, and tells how long the path is
    std::string path(size, '\0');
    return ::_NSGetExecutablePath(path.data(), &size) == 0 ? path : std::string();
}

}  // namespace

std::string executablePath() {
    std::error_code error;
    const auto resolved = std::filesystem::canonical(startedPath().c_str(), error);
    return error ? std::string() : resolved.string();
}

}  // namespace ledgerfern
