// Does nothing but show a status item, since a program looks for its tray only once. A byte on standard input
// is the percentage to show; on standard output it says "m" where no tray was found, and "r" when "Rescan
// Now" is chosen.
#include <unistd.h>

#include <QApplication>
#include <QSocketNotifier>
#include <cstdio>
#include <string>
#include <vector>

#include "Services/StatusItem.h"

namespace ledgerfern {

namespace {

void say(char event) {
    std::putchar(event);
    std::fflush(stdout);
}

std::vector<MenuEntry> menu() {
    std::vector<MenuEntry> menu(4);
    menu[0].kind = MenuEntry::Kind::text;
    menu[0].title = "Codex 46%";
    menu[1].kind = MenuEntry::Kind::separator;
    menu[2].title = "Dashboard";
    menu[2].isEnabled = false;
    menu[3].title = "Rescan Now";
    menu[3].action = [] { say('r'); };
    return menu;
}

StatusItem::Content content(int percent) {
    StatusItem::Content content;
    content.percent = percent;
    content.toolTip = "Ledgerfern " + std::to_string(percent) + "%";
    return content;
}

void takeOrder(StatusItem& item) {
    char percent = 0;
    if (::read(STDIN_FILENO, &percent, 1) == 1)
        item.setContent(content(percent));
    else
        QApplication::quit();
}

int run(int count, char** arguments) {
    const QApplication application(count, arguments);
    QApplication::setQuitOnLastWindowClosed(false);
    const auto item = platformStatusItem([] { say('m'); });
    item->setContent(content(37));
    item->setMenu(menu());
    const QSocketNotifier orders(STDIN_FILENO, QSocketNotifier::Read);
    QObject::connect(&orders, &QSocketNotifier::activated, [&] { takeOrder(*item); });
    return QApplication::exec();
}

}  // namespace

}  // namespace ledgerfern

int main(int count, char** arguments) {
    return ledgerfern::run(count, arguments);
}
