#include "Services/StatusItem.h"

#include <QCursor>
#include <QStringList>
#include <QSystemTrayIcon>
#include <utility>

#include "Services/StatusIcon.h"
#include "Services/linux/ColourScheme.h"
#include "Services/linux/TrayHost.h"
#include "Services/linux/TrayMenu.h"

namespace ledgerfern {

namespace {

/// Whether the desktop's bar is dark also where its windows are light, as GNOME's is.
bool isBarAlwaysDark() {
    const QStringList names = qEnvironmentVariable("XDG_CURRENT_DESKTOP").split(':');
    return names.contains(QStringLiteral("GNOME")) || names.contains(QStringLiteral("Unity"));
}

/// An icon in the tray with a native menu, as soon as the desktop has a tray.
class TrayItem : public StatusItem {
public:
    explicit TrayItem(std::function<void()> onMissing)
        : scheme_([this] { setPanel(); }), host_([this] { show(); }, std::move(onMissing)) {
        setPanel();
    }

    void setContent(const Content& content) override {
        const Content before = std::exchange(content_, content);
        if (!icon_) return;
        if (content.percent != before.percent) paint();
        if (content.toolTip != before.toolTip) tell();
    }

    void setMenu(std::vector<MenuEntry> menu) override { menu_.setEntries(std::move(menu)); }

private:
    void show() {
        icon_ = std::make_unique<QSystemTrayIcon>();
        paint();
        tell();
        icon_->setContextMenu(&menu_.menu());
        QObject::connect(icon_.get(), &QSystemTrayIcon::activated,
                         [this](QSystemTrayIcon::ActivationReason reason) {
                             if (reason == QSystemTrayIcon::Trigger) menu_.menu().popup(QCursor::pos());
                         });
        icon_->show();
    }

    // No desktop tells which colour its panel has. Most panels go with the desktop's colours.
    void setPanel() {
        const auto panel =
            isBarAlwaysDark() || scheme_.isDark() ? StatusIcon::Panel::dark : StatusIcon::Panel::light;
        if (std::exchange(panel_, panel) != panel && icon_) paint();
    }

    void paint() { icon_->setIcon(StatusIcon::icon(content_.percent, panel_)); }
    void tell() { icon_->setToolTip(QString::fromStdString(content_.toolTip)); }

    Content content_;
    StatusIcon::Panel panel_ = StatusIcon::Panel::light;
    TrayMenu menu_;
    std::unique_ptr<QSystemTrayIcon> icon_;  // null until there is a tray
    ColourScheme scheme_;
    TrayHost host_;
};

}  // namespace

std::unique_ptr<StatusItem> platformStatusItem(std::function<void()> onMissing) {
    return std::make_unique<TrayItem>(std::move(onMissing));
}

}  // namespace ledgerfern
