#import <UserNotifications/UserNotifications.h>

void message(UNUserNotificationCenter* centre, UNMutableNotificationContent* content) {
    // expected-error@+1 {{cannot initialize a parameter of type 'UNNotificationRequest *}}
    [centre addNotificationRequest:content withCompletionHandler:nil];
}

void block(UNUserNotificationCenter* centre) {
    // expected-error@+1 {{cannot initialize a parameter of type 'void (^ _Nonnull)(UNNotificationSettings *}}
    [centre getNotificationSettingsWithCompletionHandler:^(NSError*){
    }];
}

void element(NSMutableArray<NSString*>* strings) {
    [strings addObject:@1];  // expected-error {{cannot initialize a parameter of type 'NSString *}}
}

void nothing(NSUserDefaults* defaults) {
    // expected-error@+1 {{null passed to a callee that requires a non-null argument}}
    [defaults setObject:@"" forKey:nil];
}

void text(UNMutableNotificationContent* content, const char* title) {
    content.title = title;  // expected-error {{assigning to 'NSString *}}
}
