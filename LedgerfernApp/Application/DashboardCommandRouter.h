#pragma once

#include <functional>
#include <string>

namespace ledgerfern {

/// The way from the menu's commands to the dashboard's window, which fills in its actions when it appears. A
/// command whose action is absent does nothing. Main thread.
class DashboardCommandRouter {
public:
    std::function<void()> onFocusSearch;
    std::function<void()> onShowWhatsNew;
    std::function<void(const std::string& name)> onSelectSectionName;

    void focusSearch() const {
        if (onFocusSearch) onFocusSearch();
    }
    void showWhatsNew() const {
        if (onShowWhatsNew) onShowWhatsNew();
    }
    void selectSectionName(const std::string& name) const {
        if (onSelectSectionName) onSelectSectionName(name);
    }
};

}  // namespace ledgerfern
