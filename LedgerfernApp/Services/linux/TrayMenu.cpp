#include "Services/linux/TrayMenu.h"

#include <QAction>
#include <algorithm>

namespace ledgerfern {

namespace {

/// A title as it stands: "&" would make the next letter the entry's key.
QString plainText(const std::string& title) {
    return QString::fromStdString(title).replace(u'&', QStringLiteral("&&"));
}

}  // namespace

void TrayMenu::setEntries(std::vector<MenuEntry> entries) {
    const bool staysInPlace = hasKinds(entries);
    entries_ = std::move(entries);
    if (!staysInPlace) rebuild();
    for (std::size_t i = 0; i < entries_.size(); ++i)
        update(i);
}

bool TrayMenu::hasKinds(const std::vector<MenuEntry>& entries) const {
    return std::ranges::equal(entries, entries_, {}, &MenuEntry::kind, &MenuEntry::kind);
}

void TrayMenu::rebuild() {
    menu_.clear();
    menu_.setToolTipsVisible(true);
    for (const MenuEntry& entry : entries_) {
        const auto index = static_cast<std::size_t>(menu_.actions().size());
        QAction* action = menu_.addAction(QString());
        action->setSeparator(entry.kind == MenuEntry::Kind::separator);
        QObject::connect(action, &QAction::triggered, &menu_, [this, index] {
            if (const auto chosen = entries_[index].action) chosen();
        });
    }
}

// Without shortcuts: the menu of a tray's icon belongs to no window in which they could be pressed.
void TrayMenu::update(std::size_t index) {
    const MenuEntry& entry = entries_[index];
    QAction* action = menu_.actions().at(static_cast<qsizetype>(index));
    action->setText(plainText(entry.title));
    action->setToolTip(QString::fromStdString(entry.toolTip));
    action->setEnabled(entry.kind == MenuEntry::Kind::action && entry.isEnabled);
}

}  // namespace ledgerfern
