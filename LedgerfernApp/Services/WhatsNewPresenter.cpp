#include "Services/WhatsNewPresenter.h"

#include <QPointer>

#include "Application/MainLoop.h"
#include "Foundation/PreferencesStore.h"

namespace ledgerfern {

namespace {

constexpr std::string_view seenVersionKey = "whatsNew.seenVersion";
constexpr double secondsUntilShown = 1.2;

}  // namespace

WhatsNewPresenter::WhatsNewPresenter(PreferencesStore& preferences, MainLoop& loop)
    : preferences_(preferences), loop_(loop) {}

void WhatsNewPresenter::windowAppeared() {
    if (seenVersion() == currentVersion) return;
    loop_.after(secondsUntilShown, [self = QPointer(this)] {
        if (self) self->setShow(true);
    });
}

void WhatsNewPresenter::setShow(bool show) {
    if (show == show_) return;
    show_ = show;
    if (!show) preferences_.setBytes(seenVersionKey, currentVersion);
    Q_EMIT showChanged();
}

std::string WhatsNewPresenter::seenVersion() const {
    return preferences_.bytes(seenVersionKey).value_or("");
}

}  // namespace ledgerfern
