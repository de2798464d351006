#import <Foundation/Foundation.h>

NSUserDefaultz* misspelt();  // expected-error {{unknown type name 'NSUserDefaultz'}}

id message() {
    return [NSBundel mainBundle];  // expected-error {{use of undeclared identifier 'NSBundel'}}
}
