#include "Services/UpdateFramework.h"

// For a build without the framework, in place of UpdateFramework.mm.

namespace ledgerfern {

namespace {

class NoUpdateFramework : public UpdateFramework {
public:
    bool canCheckForUpdates() const override { return false; }
    void checkForUpdates() override {}
};

}  // namespace

std::unique_ptr<UpdateFramework> platformUpdateFramework(bool /*startsUpdater*/,
                                                         std::function<void()> /*onAlert*/) {
    return std::make_unique<NoUpdateFramework>();
}

}  // namespace ledgerfern
