#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace ledgerfern {

/// An entry of the status item's menu.
struct MenuEntry {
    enum class Kind { action, text, separator };

    Kind kind = Kind::action;
    std::string title;      ///< UTF-8.
    bool isEnabled = true;  ///< Of an action; a text never is.
    std::string toolTip;    ///< Empty: none.
    std::string shortcut;   ///< A letter or digit that goes with the platform's command key; empty: none.
    std::function<void()> action;  ///< Called on the main thread.
};

/// The program's item in the menu bar, or in the tray. Main thread.
class StatusItem {
public:
    /// What the item shows. Text and symbol are those of the menu bar; a square tray icon shows the
    /// percentage in figures and as a gauge, and has the rest in its tool tip.
    struct Content {
        std::string symbol;             ///< Name in the desktop's symbol set.
        std::string text;               ///< "37%", or "…" before the first numbers.
        std::optional<double> percent;  ///< Of the worst limit; absent before the first numbers.
        std::string toolTip;

        bool operator==(const Content&) const = default;
    };

    virtual ~StatusItem() = default;

    virtual void setContent(const Content& content) = 0;
    virtual void setMenu(std::vector<MenuEntry> menu) = 0;
};

/// The one of the platform; `onMissing` is called once where the desktop shows no such items for now.
std::unique_ptr<StatusItem> platformStatusItem(std::function<void()> onMissing);

}  // namespace ledgerfern
