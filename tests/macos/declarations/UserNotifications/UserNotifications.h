#pragma once

#include <Foundation/Foundation.h>

NS_ASSUME_NONNULL_BEGIN

enum UNAuthorizationStatus : NSInteger {
    UNAuthorizationStatusNotDetermined = 0,
    UNAuthorizationStatusDenied = 1,
    UNAuthorizationStatusAuthorized = 2,
    UNAuthorizationStatusProvisional = 3,
};

using UNAuthorizationOptions = NSUInteger;
enum : UNAuthorizationOptions {
    UNAuthorizationOptionBadge = 1 << 0,
    UNAuthorizationOptionSound = 1 << 1,
    UNAuthorizationOptionAlert = 1 << 2,
};

@interface UNNotificationSettings : NSObject <NSCopying>
@property(readonly) UNAuthorizationStatus authorizationStatus;
@end

@interface UNNotificationSound : NSObject <NSCopying>
@property(class, readonly, copy) UNNotificationSound* defaultSound;
@end

@interface UNNotificationContent : NSObject <NSCopying>
@end

@interface UNMutableNotificationContent : UNNotificationContent
@property(copy) NSString* title;
@property(copy) NSString* body;
@property(copy, nullable) UNNotificationSound* sound;
@end

@interface UNNotificationTrigger : NSObject <NSCopying>
@end

@interface UNNotificationRequest : NSObject <NSCopying>
+ (instancetype)requestWithIdentifier:(NSString*)identifier
                              content:(UNNotificationContent*)content
                              trigger:(nullable UNNotificationTrigger*)trigger;
@end

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
