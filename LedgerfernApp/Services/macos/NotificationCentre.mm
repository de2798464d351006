#include "Services/NotificationCentre.h"

#import <UserNotifications/UserNotifications.h>

#include "Application/MainLoop.h"
#include "Foundation/macos/CocoaText.h"

namespace ledgerfern {

namespace {

using Authorization = NotificationCentre::Authorization;

Authorization authorizationOf(UNAuthorizationStatus status) {
    switch (status) {
        case UNAuthorizationStatusNotDetermined:
            return Authorization::notDetermined;
        case UNAuthorizationStatusDenied:
            return Authorization::denied;
        default:
            return Authorization::authorized;
    }
}

/// The centre of a program that the system knows as an application; another has none, and may not ask for it.
UNUserNotificationCenter* centreOfBundle() {
    const bool isBundled = [NSBundle.mainBundle.bundleURL.pathExtension isEqualToString:@"app"];
    return isBundled ? [UNUserNotificationCenter currentNotificationCenter] : nil;
}

UNNotificationRequest* requestOf(const NotificationCentre::Notification& notification) {
    UNMutableNotificationContent* const content = [[UNMutableNotificationContent alloc] init];
    content.title = shownText(notification.title);
    content.body = shownText(notification.body);
    content.sound = UNNotificationSound.defaultSound;
    return [UNNotificationRequest requestWithIdentifier:shownText(notification.identifier)
                                                content:content
                                                trigger:nil];
}

/// The system answers on threads of its own, perhaps when this object is gone.
class UserNotifications : public NotificationCentre {
public:
    explicit UserNotifications(MainLoop& loop) : loop_(&loop) {}

    bool isUsable() const override { return centre_ != nil; }

    void fetchAuthorization(std::function<void(Authorization)> answer) override {
        if (!isUsable()) {
            loop_->post([answer] { answer(Authorization::denied); });
            return;
        }
        MainLoop* const loop = loop_;
        [centre_ getNotificationSettingsWithCompletionHandler:^(UNNotificationSettings* settings) {
            const Authorization authorization = authorizationOf(settings.authorizationStatus);
            loop->post([answer, authorization] { answer(authorization); });
        }];
    }

    void requestAuthorization(std::function<void(bool)> answer) override {
        if (!isUsable()) {
            loop_->post([answer] { answer(false); });
            return;
        }
        MainLoop* const loop = loop_;
        [centre_ requestAuthorizationWithOptions:UNAuthorizationOptionAlert | UNAuthorizationOptionSound
                               completionHandler:^(BOOL granted, NSError* error) {
                                   const bool isAllowed = granted && error == nil;
                                   loop->post([answer, isAllowed] { answer(isAllowed); });
                               }];
    }

    void post(const Notification& notification) override {
        if (isUsable()) [centre_ addNotificationRequest:requestOf(notification) withCompletionHandler:nil];
    }

private:
    MainLoop* loop_;
    UNUserNotificationCenter* const centre_ = centreOfBundle();
};

}  // namespace

std::unique_ptr<NotificationCentre> platformNotificationCentre(MainLoop& loop) {
    return std::make_unique<UserNotifications>(loop);
}

}  // namespace ledgerfern
