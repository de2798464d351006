#pragma once

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QEventLoop>
#include <QTimer>
#include <functional>

namespace ledgerfern {

/// Runs Qt's event loop until something has come true. False where it hasn't after a time that is ample, in
/// milliseconds.
inline bool eventually(const std::function<bool()>& isTrue, qint64 patience = 20'000) {
    const QDeadlineTimer deadline(patience);
    QTimer look;  // also for what changes without an event
    look.start(10);
    while (!isTrue()) {
        if (deadline.hasExpired()) return false;
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }
    return true;
}

}  // namespace ledgerfern
