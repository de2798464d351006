#pragma once

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <QDateTime>
#include <QProcess>
#include <QProcessEnvironment>
#include <csignal>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Engine/Engine.h"
#include "Foundation/FileStat.h"
#include "Foundation/Files.h"
#include "Foundation/Sqlite.h"
#include "app/EventLoop.h"
#include "core/CodexLog.h"
#include "core/TempFolder.h"

namespace ledgerfern {

/// The machine may be busy.
inline constexpr qint64 ample = 30'000;  // milliseconds

/// What the desktop gives a program: a home folder, a runtime directory and one for temporary files, all of
/// the test's own.
class ApplicationHome {
public:
    ApplicationHome() {
        std::filesystem::create_directory(folder_ / "tmp");
        EXPECT_EQ(::mkdir((folder_ / "run").c_str(), S_IRWXU), 0);
    }

    std::string path(const std::string& name = "") const {
        return folder_ / ("home" + (name.empty() ? name : "/" + name));
    }
    std::string support(const std::string& name = "") const {
        return path("Library/Application Support/Ledgerfern" + (name.empty() ? name : "/" + name));
    }
    std::string write(const std::string& name, std::string_view bytes) const {
        return folder_.write("home/" + name, bytes);
    }
    void append(const std::string& name, std::string_view bytes) const {
        folder_.append("home/" + name, bytes);
    }

    QProcessEnvironment environment() const {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        for (const auto& [name, value] : std::map<QString, std::string>{
                 {"HOME", path()}, {"XDG_RUNTIME_DIR", folder_ / "run"}, {"TMPDIR", folder_ / "tmp"}})
            environment.insert(name, QString::fromStdString(value));
        return environment;
    }

    /// Fills the home, which has nothing yet, with made-up logs of both agents up to now.
    void makeUp(int sessions) const { commandLine({"demo", "--sessions", std::to_string(sessions), path()}); }
    /// What the command line says for this home.
    std::string commandLine(const std::vector<std::string>& arguments) const {
        QProcess process;
        process.setProcessEnvironment(environment());
        process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        QStringList words;
        for (const std::string& argument : arguments)
            words.push_back(QString::fromStdString(argument));
        process.start(QStringLiteral(LEDGERFERN_CLI), words);
        EXPECT_TRUE(process.waitForFinished(ample));
        EXPECT_EQ(process.exitCode(), 0);
        return process.readAllStandardOutput().toStdString();
    }

    /// All files and folders that there are, in the runtime directory and for temporary files too:
    /// permissions, modification time and, of a file with one name, the bytes.
    std::map<std::string, std::string> everything() const {
        std::map<std::string, std::string> found;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(folder_.path())) {
            struct stat attributes{};
            EXPECT_EQ(::lstat(entry.path().c_str(), &attributes), 0);
            const std::timespec time = modificationTime(attributes);
            const bool hasBytes = S_ISREG(attributes.st_mode) && attributes.st_nlink == 1;
            found[entry.path().lexically_relative(folder_.path()).string()] =
                std::to_string(attributes.st_mode) + ' ' + std::to_string(time.tv_sec) + '.' +
                std::to_string(time.tv_nsec) + '\n' +
                (hasBytes ? readWholeFile(entry.path()).value_or("") : "");
        }
        return found;
    }

    /// What a scan without a cache finds.
    Snapshot scanned() const {
        return Engine({{path(".codex/sessions"), ToolKind::codex},
                       {path(".claude/projects"), ToolKind::claudeCode}})
            .rescan();
    }

private:
    test::TempFolder folder_;
};

/// The application.
class RunningApplication {
public:
    explicit RunningApplication(const QProcessEnvironment& environment) {
        process_.setProcessEnvironment(environment);
        process_.setProcessChannelMode(QProcess::MergedChannels);
        process_.start(QStringLiteral(LEDGERFERN_APP), QStringList());
        EXPECT_TRUE(process_.waitForStarted(ample));
    }
    explicit RunningApplication(const ApplicationHome& home) : RunningApplication(home.environment()) {}
    ~RunningApplication() { kill(); }
    RunningApplication(const RunningApplication&) = delete;
    RunningApplication& operator=(const RunningApplication&) = delete;

    bool isRunning() const { return process_.state() == QProcess::Running; }
    /// All that it has said so far.
    const std::string& said() {
        said_ += process_.readAll().toStdString();
        return said_;
    }
    void kill() {
        process_.kill();
        process_.waitForFinished(ample);
    }
    /// Asks it to end; tells the exit status as `status` does.
    std::optional<int> terminate() {
        if (isRunning()) ::kill(static_cast<pid_t>(process_.processId()), SIGTERM);
        return status();
    }
    /// Waits for its end; absent where a signal was that, or it doesn't end.
    std::optional<int> status() {
        if (!eventually([this] { return !isRunning(); }, ample)) return std::nullopt;
        if (process_.exitStatus() != QProcess::NormalExit) return std::nullopt;
        return process_.exitCode();
    }

private:
    QProcess process_;
    std::string said_;
};

/// A session of Codex that goes on now.
class LiveSession {
public:
    LiveSession(const ApplicationHome& home, std::int64_t number)
        : home_(home),
          name_(".codex/sessions/2026/03/01/rollout-2026-03-01T10-00-00-00000000-0000-4000-8000-" +
                std::to_string(100'000'000'000 + number) + ".jsonl") {
        test::CodexLog log;
        home_.write(name_, log.at(now()).meta().at(now()).model("gpt-5").text);
    }

    /// Appends what the agent writes after a request.
    void request(double usedPercent) {
        ++requests_;
        const test::Json weekly = {{"used_percent", usedPercent}, {"window_minutes", 10080}};
        test::CodexLog log;
        log.at(now()).message("assistant", {{{"type", "output_text"}, {"text", "Done."}}});
        log.at(now()).tokens(test::usage(1000 * requests_, 100 * requests_, 50 * requests_), std::nullopt,
                             test::Json{{"primary", weekly}, {"plan_type", "pro"}});
        home_.append(name_, log.text);
    }

private:
    static std::string now() {
        return QDateTime::currentDateTimeUtc().toString(Qt::ISODateWithMs).toStdString();
    }

    const ApplicationHome& home_;
    std::string name_;
    std::int64_t requests_ = 0;
};

/// The texts of a query's only column; none where the database can't be read.
inline std::vector<std::string> rows(const std::string& database, const std::string& query) {
    std::vector<std::string> found;
    auto opened = SqliteDatabase::openReadOnly(database);
    if (!opened) return found;
    opened->setPatience(std::chrono::seconds(5));
    auto statement = opened->prepare(query);
    while (statement && statement->step() == SqliteStatement::Step::row)
        found.emplace_back(statement->text(0).value_or("NULL"));
    return found;
}

}  // namespace ledgerfern
