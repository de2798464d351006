#include "Services/Notifier.h"

#include <cmath>
#include <utility>

#include "Analytics/BudgetMath.h"
#include "Foundation/Numbers.h"
#include "Services/NotificationCentre.h"

namespace ledgerfern {

namespace {

using Authorization = NotificationCentre::Authorization;

std::string wholeNumber(double value) {
    return fixedText(std::round(value), 0);
}

NotificationCentre::Notification crossing(const std::string& key, const std::string& title, double threshold,
                                          double current) {
    return {.identifier = "ledgerfern." + key + "." + wholeNumber(threshold),
            .title = title + " at " + wholeNumber(threshold) + "%",
            .body = wholeNumber(current) + "% of the window used."};
}

}  // namespace

Notifier::Notifier(NotificationCentre& centre) : centre_(centre), bundled_(centre.isUsable()) {}

std::function<void(bool)> Notifier::settle(std::function<void()> done) const {
    return [weak = std::weak_ptr(authorized_), done = std::move(done)](bool isAllowed) {
        const auto authorized = weak.lock();
        if (!authorized) return;
        *authorized = isAllowed;
        done();
    };
}

void Notifier::requestAuthorizationIfNeeded(std::function<void()> done) {
    if (!bundled_) return done();
    centre_.fetchAuthorization([&centre = centre_, settle = settle(std::move(done))](Authorization status) {
        if (status == Authorization::notDetermined)
            centre.requestAuthorization(settle);
        else
            settle(status == Authorization::authorized);
    });
}

void Notifier::checkThresholds(const std::string& key, const std::string& title, double previous,
                               double current) {
    if (!bundled_ || !authorized() || !isEnabled_ || !(previous < current) || !std::isfinite(current)) return;
    for (const double threshold :
         BudgetMath::crossedThresholds(previous, current, BudgetMath::defaultThresholds))
        centre_.post(crossing(key, title, threshold, current));
}

}  // namespace ledgerfern
