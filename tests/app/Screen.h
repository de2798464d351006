#pragma once

#include <gtest/gtest.h>

#include <QProcess>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

#include "app/EventLoop.h"

namespace ledgerfern {

/// An X server with a window manager and nothing else.
class Screen {
public:
    Screen() {
        server_.start(QStringLiteral("Xvfb"),
                      {QStringLiteral("-displayfd"), QStringLiteral("1"), QStringLiteral("-screen"),
                       QStringLiteral("0"), QStringLiteral("1440x900x24"), QStringLiteral("-nolisten"),
                       QStringLiteral("tcp"), QStringLiteral("-noreset")});
        EXPECT_TRUE(eventually([this] { return server_.canReadLine(); }, patience));
        environment_.insert(QStringLiteral("DISPLAY"), ":" + QString::fromUtf8(server_.readLine()).trimmed());
        manager_.setProcessEnvironment(environment_);
        manager_.setStandardErrorFile(QProcess::nullDevice());
        manager_.start(QStringLiteral("openbox"), QStringList());
        EXPECT_TRUE(eventually([this] { return isManaged(); }, patience));
    }
    ~Screen() { kill(); }
    Screen(const Screen&) = delete;
    Screen& operator=(const Screen&) = delete;

    /// What programs on this screen start with.
    const QProcessEnvironment& environment() const { return environment_; }
    QString output(const QString& program, const QStringList& arguments) const {
        QProcess process;
        process.setProcessEnvironment(environment_);
        process.start(program, arguments);
        process.waitForFinished();
        return QString::fromUtf8(process.readAllStandardOutput());
    }

    /// Takes it away from the programs that are on it.
    void kill() {
        end(manager_);
        end(server_);
    }

    static void end(QProcess& process) {
        process.kill();
        process.waitForFinished();
    }

private:
    static constexpr qint64 patience = 120'000;  // milliseconds; the machine may be busy

    bool isManaged() const {
        const QStringList question{QStringLiteral("-root"), QStringLiteral("_NET_SUPPORTING_WM_CHECK")};
        return output(QStringLiteral("xprop"), question).contains(QStringLiteral("0x"));
    }

    QProcess server_;
    QProcess manager_;
    QProcessEnvironment environment_ = QProcessEnvironment::systemEnvironment();
};

}  // namespace ledgerfern
