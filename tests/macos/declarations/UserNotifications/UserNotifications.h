#pragma once

#include <Foundation/Foundation.h>

NS_ASSUME_NONNULL_BEGIN

enum SINCE(10.14) UNAuthorizationStatus : NSInteger {
    UNAuthorizationStatusNotDetermined = 0,
    UNAuthorizationStatusDenied = 1,
    UNAuthorizationStatusAuthorized = 2,
    UNAuthorizationStatusProvisional = 3,
};

using UNAuthorizationOptions = NSUInteger;
enum SINCE(10.14) : UNAuthorizationOptions {
    UNAuthorizationOptionBadge = 1 << 0,
    UNAuthorizationOptionSound = 1 << 1,
    UNAuthorizationOptionAlert = 1 << 2,
};

SINCE(10.14)
@interface UNNotificationSettings : NSObject <NSCopying>
@property(readonly) UNAuthorizationStatus authorizationStatus;
@end

SINCE(10.14)
@interface UNNotificationSound : NSObject <NSCopying>
@property(class, readonly, copy) UNNotificationSound* defaultSound;
@end

SINCE(10.14)
@interface UNNotificationContent : NSObject <NSCopying>
@end

SINCE(10.14)
@interface UNMutableNotificationContent : UNNotificationContent
@property(copy) NSString* title;
@property(copy) NSString* body;
@property(copy, nullable) UNNotificationSound* sound;
@end

SINCE(10.14)
@interface UNNotificationTrigger : NSObject <NSCopying>
@end

SINCE(10.14)
@interface UNNotificationRequest : NSObject <NSCopying>
+ (instancetype)requestWithIdentifier:(NSString*)identifier
                              content:(UNNotificationContent*)content
                              trigger:(nullable UNNotificationTrigger*)trigger;
@end

SINCE(10.14)
@interface UNUserNotificationCenter : NSObject
+ (UNUserNotificationCenter*)currentNotificationCenter;
- (void)getNotificationSettingsWithCompletionHandler:
    (void (^)(UNNotificationSettings* settings))completionHandler;
- (void)requestAuthorizationWithOptions:(UNAuthorizationOptions)options
                      completionHandler:(void (^)(BOOL granted, NSError* _Nullable error))completionHandler;
- (void)addNotificationRequest:(UNNotificationRequest*)request
         withCompletionHandler:(nullable void (^)(NSError* _Nullable error))completionHandler;
@end

NS_ASSUME_NONNULL_END
