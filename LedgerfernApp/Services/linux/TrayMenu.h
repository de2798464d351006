#pragma once

#include <QMenu>
#include <vector>

#include "Services/StatusItem.h"

namespace ledgerfern {

/// A native menu that shows entries which change while it may be open. Main thread.
class TrayMenu {
public:
    /// Entries of the same kinds as before are changed in their places, so that an open menu stays as it is.
    void setEntries(std::vector<MenuEntry> entries);

    QMenu& menu() { return menu_; }

private:
    bool hasKinds(const std::vector<MenuEntry>& entries) const;
    void rebuild();
    void update(std::size_t index);

    std::vector<MenuEntry> entries_;
    QMenu menu_;
};

}  // namespace ledgerfern
