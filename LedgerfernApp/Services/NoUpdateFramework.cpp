#include "Services/UpdateFramework.h"

// For a platform or a build without a framework: the program is updated by whatever installed it.

namespace ledgerfern {

namespace {

class NoUpdateFramework : public UpdateFramework {
public:
    bool canCheckForUpdates() const override { return false; }
    void checkForUpdates() override {}
};

}  // namespace

// NOLINTNEXTLINE(performance-unnecessary-value-param): a framework keeps it
std::unique_ptr<UpdateFramework> platformUpdateFramework(bool, std::function<void()>) {
    return std::make_unique<NoUpdateFramework>();
}

}  // namespace ledgerfern
