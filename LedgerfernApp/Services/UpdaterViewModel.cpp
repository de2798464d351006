#include "Services/UpdaterViewModel.h"

#include <QPointer>
#include <iostream>

#include "Application/MainLoop.h"

namespace ledgerfern {

UpdaterViewModel::UpdaterViewModel(const std::string& executable, MainLoop& loop,
                                   const MakeFramework& makeFramework)
    : isDeveloperBuild_(executable.find("/Projects/Ledgerfern/build/") != std::string::npos) {
    if (isDeveloperBuild_)
        std::cout << "[dev] Sparkle disabled (running from repo build/ directory)\n" << std::flush;
    // The framework may call from any thread, and after this object's end.
    const auto onAlert = [&loop, self = QPointer(this)] {
        loop.post([self] {
            if (self) self->noteUpdate();
        });
    };
    framework_ = makeFramework(!isDeveloperBuild_, onAlert);
}

bool UpdaterViewModel::canCheckNow() const {
    return !isDeveloperBuild_ && framework_->canCheckForUpdates();
}

void UpdaterViewModel::checkForUpdates() {
    framework_->checkForUpdates();
}

void UpdaterViewModel::noteUpdate() {
    if (updateAvailable_) return;
    updateAvailable_ = true;
    Q_EMIT updateAvailableChanged();
}

}  // namespace ledgerfern
