#include "Application/LedgerfernCommands.h"

#include <string>
#include <utility>

#include "Application/DashboardCommandRouter.h"

namespace ledgerfern::LedgerfernCommands {

namespace {

MenuEntry command(std::string title, std::string key, std::function<void()> action) {
    MenuEntry entry;
    entry.title = std::move(title);
    entry.shortcut = std::move(key);
    entry.action = std::move(action);
    return entry;
}

MenuEntry section(const DashboardCommandRouter& router, const std::string& name, std::string key) {
    return command(name, std::move(key), [&router, name] { router.selectSectionName(name); });
}

}  // namespace

std::vector<MenuEntry> viewMenu(const DashboardCommandRouter& router, std::function<void()> refresh) {
    MenuEntry divider;
    divider.kind = MenuEntry::Kind::separator;
    return {
        command("Rescan Now", "R", std::move(refresh)),
        command("Focus Session Search", "F", [&router] { router.focusSearch(); }),
        divider,
        section(router, "Overview", "1"),
        section(router, "Sessions", "2"),
        section(router, "Projects", "3"),
        section(router, "Insights", "4"),
        divider,
        command("What's New in Ledgerfern…", "", [&router] { router.showWhatsNew(); }),
    };
}

}  // namespace ledgerfern::LedgerfernCommands
