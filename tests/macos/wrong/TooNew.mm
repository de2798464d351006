#import <Foundation/Foundation.h>

SINCE(99.0)
@interface NewClass : NSObject
@end

@interface OldClass : NSObject
- (void)newMessage SINCE(99.0);
@end

id newClass() {
    return [[NewClass alloc] init];  // expected-error {{'NewClass' is only available on macOS 99.0 or newer}}
}

void newMessage(OldClass* object) {
    [object newMessage];  // expected-error {{'newMessage' is only available on macOS 99.0 or newer}}
    if (@available(macOS 99, *)) [object newMessage];
}
