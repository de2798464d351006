#pragma once

#include <QDBusMessage>
#include <QObject>
#include <functional>
#include <optional>

namespace ledgerfern {

/// Whether the user wants a dark desktop: what the desktop's portal says, and where it says nothing, how the
/// application's own palette looks. Main thread.
class ColourScheme : public QObject {
    Q_OBJECT

public:
    /// `onChange` may be called whenever the answer may be another one.
    explicit ColourScheme(std::function<void()> onChange);

    bool isDark() const;

protected:
    bool eventFilter(QObject* object, QEvent* event) override;

private Q_SLOTS:
    void settingChanged(const QDBusMessage& message);

private:
    void askPortal();
    void take(const QVariant& value);

    std::function<void()> onChange_;
    std::optional<bool> portalSaysDark_;
};

}  // namespace ledgerfern
