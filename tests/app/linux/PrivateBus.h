#pragma once

#include <sys/prctl.h>

#include <QByteArray>
#include <QProcess>
#include <QString>
#include <csignal>
#include <string>

namespace ledgerfern {

/// A program that ends with the test.
class ChildProgram {
public:
    ChildProgram(const QString& program, const QStringList& arguments) {
        process_.setChildProcessModifier([] { ::prctl(PR_SET_PDEATHSIG, SIGKILL); });
        process_.setStandardErrorFile(QProcess::nullDevice());
        process_.start(program, arguments);
    }
    ~ChildProgram() { kill(); }
    ChildProgram(const ChildProgram&) = delete;
    ChildProgram& operator=(const ChildProgram&) = delete;

    void kill() {
        process_.kill();
        process_.waitForFinished();
    }
    /// Empty where it ends without one.
    QByteArray firstLine() {
        while (!process_.canReadLine() && process_.waitForReadyRead()) {
        }
        return process_.readLine().trimmed();
    }

private:
    QProcess process_;
};

/// A message bus of a test's own.
class PrivateBus {
public:
    /// `configurationFile` tells what may be done and started on it.
    explicit PrivateBus(const std::string& configurationFile)
        : daemon_(
              QStringLiteral("dbus-daemon"),
              {QStringLiteral("--nofork"), QStringLiteral("--nopidfile"), QStringLiteral("--print-address"),
               QStringLiteral("--config-file=") + QString::fromStdString(configurationFile)}),
          address_(QString::fromUtf8(daemon_.firstLine())) {}

    const QString& address() const { return address_; }
    void kill() { daemon_.kill(); }

private:
    ChildProgram daemon_;
    QString address_;
};

}  // namespace ledgerfern
