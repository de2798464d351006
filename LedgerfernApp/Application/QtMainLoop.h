#pragma once

#include <QObject>
#include <deque>
#include <memory>
#include <mutex>

#include "Application/MainLoop.h"
#include "Foundation/FileDescriptor.h"

class QSocketNotifier;

namespace ledgerfern {

/// The main loop of a running Qt application. Made and destroyed on the main thread; what is posted after
/// its end would be a fault, so threads that post must end first, or the process with them.
class QtMainLoop : public MainLoop {
public:
    QtMainLoop();
    ~QtMainLoop() override;

    void post(Work work) override;
    void after(double seconds, Work work) override;
    void every(double seconds, Work work) override;

private:
    void runPosted();

    std::mutex mutex_;
    std::deque<Work> posted_;  // guarded by mutex_
    FileDescriptor reading_;   // a pipe that holds a byte while something is posted
    FileDescriptor writing_;
    QObject context_;
    std::unique_ptr<QSocketNotifier> notifier_;
};

}  // namespace ledgerfern
