#include <QApplication>
#include <QSessionManager>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>

#include "Application/AppState.h"
#include "Application/EndSignals.h"
#include "Application/QtMainLoop.h"
#include "Application/SingleInstance.h"
#include "Application/StatusFront.h"
#include "Application/ThreadWorkers.h"
#include "Foundation/DelayedSignals.h"
#include "Foundation/Locations.h"
#include "Foundation/UserPreferences.h"
#include "Services/ExecutablePath.h"
#include "Services/NotificationCentre.h"
#include "Services/StatusItem.h"
#include "Services/UpdaterViewModel.h"

namespace ledgerfern {

namespace {

/// What still runs at the end may take so long to end by itself.
constexpr std::chrono::seconds patience(1);

void say(const char* sentence) {
    std::fprintf(stderr, "%s\n", sentence);
}

void describeApplication() {
    QApplication::setApplicationName(QStringLiteral("Ledgerfern"));
    QApplication::setDesktopFileName(QStringLiteral("ledgerfern"));
    QApplication::setQuitOnLastWindowClosed(false);
    // Whether it starts with the session is the user's choice, not the session's memory.
    QObject::connect(qApp, &QGuiApplication::saveStateRequest,
                     [](QSessionManager& session) { session.setRestartHint(QSessionManager::RestartNever); });
}

/// Runs the first instance until it is told to end.
int runFirst(SingleInstance& instance, QtMainLoop& loop, ThreadWorkers& workers) {
    const auto notifications = platformNotificationCentre(loop);
    UpdaterViewModel updater(executablePath(), loop);
    const auto item = platformStatusItem([] {
        say("Ledgerfern finds no tray to sit in; it goes on watching, and appears once there is one.");
    });
    AppState state({.loop = loop,
                    .workers = workers,
                    .notifications = *notifications,
                    .preferences = userPreferences(),
                    .homeDirectory = homeDirectory(),
                    .isUpdateAvailable = [&updater] { return updater.updateAvailable(); }});
    const StatusFront front(state, *item, [] { QApplication::quit(); });
    instance.listen([] {});  // there is no window yet to bring to the front
    return QApplication::exec();
}

/// Ends the process without waiting for a scan that takes long: what it writes can't be left half done.
[[noreturn]] void end(std::unique_ptr<SingleInstance>& instance, ThreadWorkers& workers, int status) {
    instance.reset();
    workers.waitUntilIdle(patience);
    std::fflush(nullptr);
    endProcess(status);
}

/// Acts when the thread's objects go. Where a library calls `exit`, as Qt does without its X server, that is
/// before static objects go, which the workers still use.
struct AtExit {
    std::function<void()> act;
    ~AtExit() { act(); }
};

int run(int& count, char** arguments) {
    const QApplication application(count, arguments);
    describeApplication();
    const EndSignals signals([] { QApplication::quit(); });
    auto instance = std::make_unique<SingleInstance>(supportDirectory());
    if (!instance->isFirst()) {
        if (!instance->showFirst()) say("Ledgerfern runs already, but doesn't answer.");
        return EXIT_SUCCESS;
    }
    QtMainLoop loop;
    ThreadWorkers workers;
    thread_local const AtExit atExit{[&] { end(instance, workers, EXIT_FAILURE); }};
    end(instance, workers, runFirst(*instance, loop, workers));
}

}  // namespace

}  // namespace ledgerfern

int main(int count, char** arguments) {
    return ledgerfern::run(count, arguments);
}
