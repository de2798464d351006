#include "Services/ExecutablePath.h"

#include <filesystem>
#include <system_error>

namespace ledgerfern {

std::string executablePath() {
    std::error_code error;
    return std::filesystem::read_symlink("/proc/self/exe", error);
}

}  // namespace ledgerfern
