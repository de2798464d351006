#pragma once

#include <functional>
#include <memory>

namespace ledgerfern {

/// The platform's framework that looks for updates, downloads and installs them, and talks to the user about
/// it. Main thread.
class UpdateFramework {
public:
    virtual ~UpdateFramework() = default;

    /// Whether a check can be started now; never where there is no framework.
    virtual bool canCheckForUpdates() const = 0;
    /// Starts the check that the user asked for.
    virtual void checkForUpdates() = 0;
};

/// The one of the platform, which looks for updates by itself if `startsUpdater`, and calls `onAlert` when it
/// is about to tell the user of an update, from whatever thread.
std::unique_ptr<UpdateFramework> platformUpdateFramework(bool startsUpdater, std::function<void()> onAlert);

}  // namespace ledgerfern
