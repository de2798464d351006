#include "Application/SingleInstance.h"

#include <sys/stat.h>
#include <unistd.h>

#include <QCryptographicHash>
#include <QDir>
#include <QLocalSocket>
#include <cstdlib>
#include <filesystem>
#include <thread>

namespace ledgerfern {

namespace {

constexpr char showMessage[] = "show\n";
constexpr int answerMs = 1000;
constexpr int attempts = 40;
constexpr std::chrono::milliseconds betweenAttempts(50);

/// One of this user's own that nobody else has any right to; a link isn't.
bool isPrivateFolder(const std::string& path) {
    struct stat attributes{};
    return ::lstat(path.c_str(), &attributes) == 0 && S_ISDIR(attributes.st_mode) &&
           attributes.st_uid == ::geteuid() && (attributes.st_mode & (S_IRWXG | S_IRWXO)) == 0;
}

/// The same for every spelling of a path, whether it exists yet or not.
QByteArray pathHash(const std::string& path) {
    std::error_code error;
    const std::filesystem::path resolved = std::filesystem::weakly_canonical(path, error);
    const std::string& bytes = error ? path : resolved.native();
    return QCryptographicHash::hash(QByteArray::fromStdString(bytes), QCryptographicHash::Sha256)
        .toHex()
        .left(16);
}

bool send(const QString& socketPath) {
    QLocalSocket socket;
    socket.connectToServer(socketPath, QIODevice::WriteOnly);
    if (!socket.waitForConnected(answerMs)) return false;
    socket.write(showMessage);
    return socket.waitForBytesWritten(answerMs);
}

}  // namespace

std::optional<std::string> privateRuntimeFolder() {
    const char* given = std::getenv("XDG_RUNTIME_DIR");
    if (given != nullptr && *given == '/' && isPrivateFolder(given)) return given;
    const std::string own = QDir::tempPath().toStdString() + "/ledgerfern-" + std::to_string(::geteuid());
    ::mkdir(own.c_str(), S_IRWXU);  // the check tells whether it is there, and whose
    return isPrivateFolder(own) ? std::optional(own) : std::nullopt;
}

SingleInstance::SingleInstance(const std::string& supportDirectory) {
    const auto folder = privateRuntimeFolder();
    if (!folder) return;
    const QString name = QString::fromStdString(*folder) + "/ledgerfern-" + pathHash(supportDirectory);
    socketPath_ = name + ".socket";
    lock_ = std::make_unique<QLockFile>(name + ".lock");
    lock_->setStaleLockTime(0);
    isFirst_ = lock_->tryLock(0) || lock_->error() != QLockFile::LockFailedError;
}

void SingleInstance::listen(std::function<void()> onShow) {
    onShow_ = std::move(onShow);
    if (socketPath_.isEmpty()) return;
    server_.setSocketOptions(QLocalServer::UserAccessOption);
    QObject::connect(&server_, &QLocalServer::newConnection, [this] { hear(); });
    QLocalServer::removeServer(socketPath_);  // left behind by one that was killed
    server_.listen(socketPath_);
}

void SingleInstance::hear() {
    while (QLocalSocket* socket = server_.nextPendingConnection()) {
        QObject::connect(socket, &QLocalSocket::readyRead, &server_, [this, socket] {
            if (socket->canReadLine() && socket->readLine() == showMessage) onShow_();
        });
        QObject::connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
    }
}

// The first one may have its lock and not listen yet.
bool SingleInstance::showFirst() const {
    for (int attempt = 0; attempt < attempts; ++attempt) {
        if (send(socketPath_)) return true;
        std::this_thread::sleep_for(betweenAttempts);
    }
    return false;
}

}  // namespace ledgerfern
