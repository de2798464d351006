#import <AppKit/AppKit.h>
#import <ServiceManagement/ServiceManagement.h>

void message(NSMenu* menu, NSMenuItem* item) {
    [menu appendItem:item];  // expected-error {{no visible @interface for 'NSMenu'}}
}

bool propertyThatIsNone(SMAppService* service) {
    return service.isEnabled;  // expected-error {{property 'isEnabled' not found}}
}

SEL actionThatNobodyHas() {
    return @selector(runAction:);  // expected-error {{undeclared selector 'runAction:'}}
}
