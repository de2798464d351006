// The status item as real and played trays see it. Each program speaks to one kind of tray all its life, so
// each test starts one.
#include "Services/StatusItem.h"

#include <gtest/gtest.h>

#include <QFile>
#include <QImage>
#include <QProcess>
#include <QProcessEnvironment>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <string_view>

#include "app/EventLoop.h"
#include "app/FakeBusObject.h"
#include "app/FakeTrayWatcher.h"
#include "app/Screen.h"

namespace ledgerfern {

namespace {

const QString portalName = QStringLiteral("org.freedesktop.portal.Desktop");
const QString appearance = QStringLiteral("org.freedesktop.appearance");
const QString colourScheme = QStringLiteral("color-scheme");

/// A running program that has a status item.
class Program {
public:
    explicit Program(const QProcessEnvironment& environment) {
        process_.setProcessEnvironment(environment);
        process_.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        process_.start(QStringLiteral(LEDGERFERN_STATUS_ITEM), QStringList());
        EXPECT_TRUE(process_.waitForStarted());
    }
    ~Program() { Screen::end(process_); }
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    void show(char percent) { process_.write(&percent, 1); }
    /// All that it has said so far.
    const QByteArray& said() {
        said_ += process_.readAllStandardOutput();
        return said_;
    }

private:
    QProcess process_;
    QByteArray said_;
};

/// A panel of the older kind.
class Panel {
public:
    explicit Panel(const Screen& screen) : screen_(screen) {
        QFile configuration(folder_.filePath(QStringLiteral("tint2rc")));
        EXPECT_TRUE(configuration.open(QIODevice::WriteOnly));
        configuration.write(
            "panel_items = TS\npanel_size = 100% 32\npanel_position = bottom center horizontal\n"
            "systray_icon_size = 24\n");
        configuration.close();
        process_.setProcessEnvironment(screen.environment());
        process_.setStandardErrorFile(QProcess::nullDevice());
        process_.start(QStringLiteral("tint2"), {QStringLiteral("-c"), configuration.fileName()});
    }
    ~Panel() { Screen::end(process_); }
    Panel(const Panel&) = delete;
    Panel& operator=(const Panel&) = delete;

    /// Where the only icon is on the screen; empty where there is none.
    QRect icon() const {
        const QRegularExpression window(
            QStringLiteral("\"status_item_program\".* (\\d+)x(\\d+)\\+-?\\d+\\+-?\\d+ +\\+(\\d+)\\+(\\d+)"));
        const QString tree =
            screen_.output(QStringLiteral("xwininfo"), {QStringLiteral("-root"), QStringLiteral("-tree")});
        QRect found;
        for (auto match = window.globalMatch(tree); match.hasNext();) {
            const auto texts = match.next().capturedTexts();
            const QRect rect(texts[3].toInt(), texts[4].toInt(), texts[1].toInt(), texts[2].toInt());
            if (rect.width() == 24 && rect.top() > 800) found = rect;
        }
        return found;
    }

private:
    const Screen& screen_;
    QTemporaryDir folder_;
    QProcess process_;
};

/// What tells programs which colours the user wants.
class Portal : public FakeBusObject {
public:
    explicit Portal(uint scheme)
        : FakeBusObject(portalName, QStringLiteral("/org/freedesktop/portal/desktop")) {
        setMethod(QStringLiteral("Read"), [scheme](const QVariantList& arguments, const QString&) {
            EXPECT_EQ(arguments, QVariantList({appearance, colourScheme}));
            const auto inner = QVariant::fromValue(QDBusVariant(scheme));
            return QVariantList{QVariant::fromValue(QDBusVariant(inner))};
        });
    }

    void change(uint scheme) {
        emitSignal(QStringLiteral("org.freedesktop.portal.Settings"), QStringLiteral("SettingChanged"),
                   {appearance, colourScheme, QVariant::fromValue(QDBusVariant(scheme))});
    }
};

/// True where the icon's colour is that for a dark panel.
bool isForDark(const QImage& icon) {
    for (int y = 0; y < icon.height(); ++y)
        for (int x = 0; x < icon.width(); ++x)
            if (icon.pixelColor(x, y).alpha() == 255) return icon.pixelColor(x, y).lightness() > 128;
    return false;
}

/// Chooses the only command of an open menu that can be chosen.
void chooseByKeyboard(const Screen& screen) {
    screen.output(QStringLiteral("xdotool"), {QStringLiteral("key"), QStringLiteral("Down")});
    screen.output(QStringLiteral("xdotool"), {QStringLiteral("key"), QStringLiteral("Return")});
}

void click(const Screen& screen, QPoint point) {
    screen.output(QStringLiteral("xdotool"),
                  {QStringLiteral("mousemove"), QString::number(point.x()), QString::number(point.y()),
                   QStringLiteral("click"), QStringLiteral("1")});
}

}  // namespace

TEST(StatusItemDesktop, aPanelThatTakesInWindowsShowsTheItemAtOnce) {
    const Screen screen;
    Program program(screen.environment());
    const Panel panel(screen);
    ASSERT_TRUE(eventually([&] { return !panel.icon().isEmpty(); }));
    EXPECT_EQ(program.said(), "");
    EXPECT_TRUE(eventually([&] {
        click(screen, panel.icon().center());
        chooseByKeyboard(screen);
        return program.said().contains('r');
    }));
}

TEST(StatusItemDesktop, aPanelOfTheNewerKindHasIconAndToolTipAndMenu) {
    const Screen screen;
    Program program(screen.environment());
    FakeTrayWatcher watcher;
    ASSERT_TRUE(watcher.start());
    ASSERT_TRUE(eventually([&] { return watcher.hasItem(); }));
    QList<int> sizes;
    for (const QImage& icon : watcher.icons())
        sizes.push_back(icon.width());
    for (const int size : {22, 32})
        EXPECT_TRUE(sizes.contains(size)) << size;
    EXPECT_FALSE(isForDark(watcher.icons().first()));
    EXPECT_EQ(watcher.toolTip(), QStringLiteral("Ledgerfern 37%"));
    const auto menu = watcher.menu();
    for (const char* title : {"Codex 46%", "Dashboard", "Rescan Now"})
        EXPECT_TRUE(menu.contains(QString::fromUtf8(title))) << title;
}

TEST(StatusItemDesktop, whatTheItemShowsFollowsItsContent) {
    const Screen screen;
    Program program(screen.environment());
    FakeTrayWatcher watcher;
    ASSERT_TRUE(watcher.start());
    ASSERT_TRUE(eventually([&] { return watcher.hasItem(); }));
    const QList<QImage> before = watcher.icons();
    program.show(96);
    EXPECT_TRUE(eventually([&] { return watcher.toolTip() == QStringLiteral("Ledgerfern 96%"); }));
    EXPECT_NE(watcher.icons(), before);
}

TEST(StatusItemDesktop, aClickOpensTheMenuInAPanelOfTheNewerKindToo) {
    const Screen screen;
    Program program(screen.environment());
    FakeTrayWatcher watcher;
    ASSERT_TRUE(watcher.start());
    ASSERT_TRUE(eventually([&] { return watcher.hasItem(); }));
    EXPECT_TRUE(eventually([&] {
        watcher.activate();
        chooseByKeyboard(screen);
        return program.said().contains('r');
    }));
}

TEST(StatusItemDesktop, aWatcherWithoutAPanelIsWaitedFor) {
    const Screen screen;
    Program program(screen.environment());
    FakeTrayWatcher watcher(false);
    ASSERT_TRUE(watcher.start());
    ASSERT_TRUE(eventually([&] { return program.said() == "m"; }));
    EXPECT_FALSE(watcher.hasItem());
    watcher.setHost(true);
    watcher.emitSignal(FakeTrayWatcher::serviceName, QStringLiteral("StatusNotifierHostRegistered"));
    EXPECT_TRUE(eventually([&] { return watcher.hasItem(); }));
}

TEST(StatusItemDesktop, withoutATrayItSaysSoOnceAndAPanelThatComesLaterShowsTheItem) {
    const Screen screen;
    Program program(screen.environment());
    ASSERT_TRUE(eventually([&] { return program.said() == "m"; }));
    const Panel panel(screen);
    EXPECT_TRUE(eventually([&] { return !panel.icon().isEmpty(); }));
    EXPECT_EQ(program.said(), "m");
}

TEST(StatusItemDesktop, aPanelOfTheNewerKindThatComesLaterShowsTheItem) {
    const Screen screen;
    Program program(screen.environment());
    ASSERT_TRUE(eventually([&] { return program.said() == "m"; }));
    FakeTrayWatcher watcher;
    ASSERT_TRUE(watcher.start());
    EXPECT_TRUE(eventually([&] { return watcher.hasItem(); }));
}

TEST(StatusItemDesktop, withoutASessionBusAPanelThatTakesInWindowsShowsTheItem) {
    const Screen screen;
    QProcessEnvironment environment = screen.environment();
    environment.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), QStringLiteral("unix:path=/nowhere"));
    const Program program(environment);
    const Panel panel(screen);
    EXPECT_TRUE(eventually([&] { return !panel.icon().isEmpty(); }));
}

TEST(StatusItemDesktop, theIconHasTheColourThatThePortalPrefersAtTheStart) {
    Portal portal(1);
    ASSERT_TRUE(portal.start());
    FakeTrayWatcher watcher;
    ASSERT_TRUE(watcher.start());
    const Screen screen;
    const Program program(screen.environment());
    ASSERT_TRUE(eventually([&] { return watcher.hasItem(); }));
    EXPECT_TRUE(eventually([&] { return isForDark(watcher.icons().first()); }));
}

TEST(StatusItemDesktop, theIconIsForADarkBarWhereTheDesktopHasNoOther) {
    const Screen screen;
    for (const char* const desktop : {"GNOME", "ubuntu:GNOME", "Unity", "XFCE"}) {
        QProcessEnvironment environment = screen.environment();
        environment.insert(QStringLiteral("XDG_CURRENT_DESKTOP"), QString::fromUtf8(desktop));
        FakeTrayWatcher watcher;
        ASSERT_TRUE(watcher.start());
        const Program program(environment);
        ASSERT_TRUE(eventually([&] { return watcher.hasItem(); }));
        EXPECT_EQ(isForDark(watcher.icons().first()), std::string_view(desktop) != "XFCE") << desktop;
    }
}

TEST(StatusItemDesktop, theIconsColourFollowsThePortalsPreference) {
    const Screen screen;
    Program program(screen.environment());
    Portal portal(1);
    ASSERT_TRUE(portal.start());
    FakeTrayWatcher watcher;
    ASSERT_TRUE(watcher.start());
    ASSERT_TRUE(eventually([&] { return watcher.hasItem(); }));
    portal.change(1);
    EXPECT_TRUE(eventually([&] { return isForDark(watcher.icons().first()); }));
    portal.change(2);
    EXPECT_TRUE(eventually([&] { return !isForDark(watcher.icons().first()); }));
    portal.change(1);
    EXPECT_TRUE(eventually([&] { return isForDark(watcher.icons().first()); }));
    portal.change(0);
    EXPECT_TRUE(eventually([&] { return !isForDark(watcher.icons().first()); }));
}

}  // namespace ledgerfern
