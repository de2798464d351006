// The script that gives tests a desktop of their own.
#include <gtest/gtest.h>

#include <QProcess>
#include <QProcessEnvironment>
#include <filesystem>
#include <string>

#include "core/TempFolder.h"

namespace ledgerfern {

namespace {

/// Each test is of a program that the desktop needs, and that fails at its start.
class DesktopScript : public testing::TestWithParam<const char*> {
protected:
    DesktopScript() {
        const std::string broken = programs.write(GetParam(), "#!/bin/sh\nexit 1\n");
        std::filesystem::permissions(broken, std::filesystem::perms::owner_all);
        const QString path = environment.value(QStringLiteral("PATH"));
        environment.insert(QStringLiteral("PATH"), QString::fromStdString(programs.path()) + ':' + path);
        environment.remove(QStringLiteral("LEDGERFERN_NEEDS_DESKTOP"));
    }

    /// The script's exit status, for a command that succeeds.
    int status() const {
        QProcess script;
        script.setProcessEnvironment(environment);
        script.setStandardErrorFile(QProcess::nullDevice());
        script.start(QStringLiteral(LEDGERFERN_WITH_DESKTOP), {QStringLiteral("true")});
        EXPECT_TRUE(script.waitForFinished(-1));
        return script.exitCode();
    }

    const test::TempFolder programs;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
};

}  // namespace

TEST_P(DesktopScript, whereNoDesktopCanBeHadItsTestsAreSkipped) {
    constexpr int skipped = 77;  // to the build system
    EXPECT_EQ(status(), skipped);
}

TEST_P(DesktopScript, whereOneMustBeHadTheyFail) {
    environment.insert(QStringLiteral("LEDGERFERN_NEEDS_DESKTOP"), QStringLiteral("1"));
    EXPECT_EQ(status(), 1);
}

INSTANTIATE_TEST_SUITE_P(Without, DesktopScript, testing::Values("Xvfb", "dbus-daemon", "openbox"),
                         [](const auto& program) {
                             std::string name = program.param;
                             std::erase(name, '-');
                             return name;
                         });

}  // namespace ledgerfern
