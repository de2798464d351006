#pragma once

#include <functional>
#include <memory>
#include <string>

namespace ledgerfern {

class NotificationCentre;

/// Tells the user when a usage limit crosses 50, 80 or 95 percent. Main thread. Without permission it is
/// silent, and nothing that fails here is shown.
class Notifier {
public:
    /// `centre` must outlive it.
    explicit Notifier(NotificationCentre& centre);

    /// The user has allowed notifications. Looked at once a launch, in `requestAuthorizationIfNeeded`.
    bool authorized() const { return *authorized_; }
    /// The user's switch, at first on.
    bool isEnabled() const { return isEnabled_; }
    void setEnabled(bool isEnabled) { isEnabled_ = isEnabled; }
    /// Whether notifications can be used at all by a program that runs as this one does.
    bool bundled() const { return bundled_; }

    /// Finds out whether the user has allowed notifications, and asks where that isn't settled yet. `done` is
    /// called once it is: at once where notifications can't be used, later otherwise, and never where the
    /// notifier ends first.
    void requestAuthorizationIfNeeded(std::function<void()> done);

    /// Posts a notification for each threshold above `previous` and not above `current`, both percentages of
    /// the limit named by `key` and, for the user, by `title`. One for the same threshold replaces the
    /// earlier.
    void checkThresholds(const std::string& key, const std::string& title, double previous, double current);

private:
    /// Takes in the answer to a question, if the notifier still lives.
    std::function<void(bool)> settle(std::function<void()> done) const;

    NotificationCentre& centre_;
    const bool bundled_;
    bool isEnabled_ = true;
    std::shared_ptr<bool> authorized_ = std::make_shared<bool>(false);  // answers hold it weakly
};

}  // namespace ledgerfern
