#include "Services/UpdateFramework.h"

#include <filesystem>
#include <system_error>

namespace ledgerfern {

namespace {

// The program is updated by whatever installed it.
class NoUpdateFramework : public UpdateFramework {
public:
    bool canCheckForUpdates() const override { return false; }
    void checkForUpdates() override {}
};

}  // namespace

// NOLINTNEXTLINE(performance-unnecessary-value-param): other platforms keep it
std::unique_ptr<UpdateFramework> platformUpdateFramework(bool, std::function<void()>) {
    return std::make_unique<NoUpdateFramework>();
}

std::string executablePath() {
    std::error_code error;
    return std::filesystem::read_symlink("/proc/self/exe", error);
}

}  // namespace ledgerfern
