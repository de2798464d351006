#include "Foundation/TemporaryFolder.h"

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <system_error>

namespace ledgerfern {

std::optional<TemporaryFolder> TemporaryFolder::create() {
    const char* const chosen = std::getenv("TMPDIR");
    std::string path = chosen != nullptr && *chosen != '\0' ? chosen : "/tmp";
    path += "/ledgerfern-XXXXXX";
    if (::mkdtemp(path.data()) == nullptr) return std::nullopt;
    return TemporaryFolder(std::move(path));
}

TemporaryFolder::~TemporaryFolder() {
    std::error_code ignored;
    if (!path_.empty()) std::filesystem::remove_all(path_, ignored);
}

}  // namespace ledgerfern
