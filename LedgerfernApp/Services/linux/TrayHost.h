#pragma once

#include <QObject>
#include <functional>

#include "Services/linux/XembedHost.h"

namespace ledgerfern {

/// Waits for the desktop to have a tray. Qt decides at the first look, and for good, which of the two kinds
/// of tray the process speaks to; a look before there is any would make it the older kind, and panels that
/// know the other alone would never show the icon. So nothing may look before a host is there. Main thread.
class TrayHost : public QObject {
    Q_OBJECT

public:
    /// Calls `onHost` once, as soon as there is one; before that `onMissing` once, if that takes longer than
    /// a desktop needs to start. Neither from within the constructor.
    TrayHost(std::function<void()> onHost, std::function<void()> onMissing);

private Q_SLOTS:
    void look();

private:
    void watchBus();
    void askWatcher();
    void settle(bool watcherHasHost);

    std::function<void()> onHost_;
    XembedHost xembed_;
    bool isFound_ = false;
};

}  // namespace ledgerfern
