#pragma once

#include <QLocalServer>
#include <QLockFile>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace ledgerfern {

/// Keeps the application to one instance per support directory: whoever gets the lock in the user's runtime
/// directory is the first, until it ends, by whatever means. Main thread.
class SingleInstance {
public:
    explicit SingleInstance(const std::string& supportDirectory);

    /// Also true where no lock can be had at all: better two instances than none.
    bool isFirst() const { return isFirst_; }

    /// For the first one: calls `onShow` from the event loop whenever another start asks for it.
    void listen(std::function<void()> onShow);
    /// For the others: asks the first one to come to the front. False where it doesn't hear.
    bool showFirst() const;

private:
    void hear();

    QString socketPath_;  // empty: there is no private place for it
    std::unique_ptr<QLockFile> lock_;
    bool isFirst_ = true;
    QLocalServer server_;
    std::function<void()> onShow_;
};

/// A folder for locks and sockets that no other user can write to or look into: $XDG_RUNTIME_DIR, or one of
/// ours in the temporary folder, made where it isn't there. Absent where there is none.
std::optional<std::string> privateRuntimeFolder();

}  // namespace ledgerfern
