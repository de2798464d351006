#pragma once

#include <QObject>
#include <string>
#include <string_view>

namespace ledgerfern {

class MainLoop;
class PreferencesStore;

/// Shows the notes of a release once, a moment after the dashboard's window has appeared. Main thread.
class WhatsNewPresenter : public QObject {
    Q_OBJECT
    /// Whether the sheet with the notes is to be seen. Who closes it, by whatever means, sets it to false.
    Q_PROPERTY(bool show READ show WRITE setShow NOTIFY showChanged)

public:
    /// The version whose notes are shown: that of this program.
    static constexpr std::string_view currentVersion = "1.6.0";

    /// Both must outlive it.
    WhatsNewPresenter(PreferencesStore& preferences, MainLoop& loop);

    /// The window has appeared: the sheet follows, unless the user has seen this version's notes.
    Q_INVOKABLE void windowAppeared();

    bool show() const { return show_; }
    /// To false marks the notes as seen.
    void setShow(bool show);
    /// The version whose notes were closed last, of whatever order; empty before the first.
    std::string seenVersion() const;

Q_SIGNALS:
    void showChanged();

private:
    PreferencesStore& preferences_;
    MainLoop& loop_;
    bool show_ = false;
};

}  // namespace ledgerfern
