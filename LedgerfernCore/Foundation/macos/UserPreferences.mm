#include "Foundation/UserPreferences.h"

#import <Foundation/Foundation.h>

#include <utility>

#include "Foundation/macos/CocoaText.h"

namespace ledgerfern {

namespace {

NSString* const domain = @"Ledgerfern";

/// The user defaults. Threads that C++ made have no autorelease pool, so that each function brings its own.
class UserDefaults : public PreferencesStore {
public:
    std::optional<std::string> bytes(std::string_view key) const override {
        @autoreleasepool {
            NSString* const name = cocoaText(key);
            NSData* const data = name != nil ? [defaults_ dataForKey:name] : nil;
            if (data == nil) return std::nullopt;
            return bytesOf(data);
        }
    }

    bool setBytes(std::string_view key, std::string_view bytes) override {
        @autoreleasepool {
            return store(key, [NSData dataWithBytes:bytes.data() length:bytes.size()]);
        }
    }

    std::optional<std::vector<std::string>> strings(std::string_view key) const override {
        @autoreleasepool {
            NSString* const name = cocoaText(key);
            NSArray<NSString*>* const stored = name != nil ? [defaults_ stringArrayForKey:name] : nil;
            if (stored == nil) return std::nullopt;
            return decoded(stored);
        }
    }

    bool setStrings(std::string_view key, const std::vector<std::string>& strings) override {
        @autoreleasepool {
            return store(key, encoded(strings));
        }
    }

private:
    /// Absent where one of them isn't text.
    static std::optional<std::vector<std::string>> decoded(NSArray<NSString*>* stored) {
        std::vector<std::string> strings;
        for (NSString* element in stored) {
            auto text = utf8Text(element);
            if (!text) return std::nullopt;
            strings.push_back(std::move(*text));
        }
        return strings;
    }

    /// Nil where one of them isn't UTF-8.
    static NSArray<NSString*>* encoded(const std::vector<std::string>& strings) {
        NSMutableArray<NSString*>* const elements = [NSMutableArray arrayWithCapacity:strings.size()];
        for (const std::string& string : strings) {
            NSString* const element = cocoaText(string);
            if (element == nil) return nil;
            [elements addObject:element];
        }
        return elements;
    }

    /// Waits for the system to take the value in, since the program may end at any time after.
    bool store(std::string_view key, id value) {
        NSString* const name = cocoaText(key);
        if (name == nil || value == nil) return false;
        [defaults_ setObject:value forKey:name];
        return CFPreferencesAppSynchronize((__bridge CFStringRef)domain);
    }

    /// One domain by name, so that the command line has the application's preferences. There is none where
    /// the name is the bundle's own, whose domain is the standard one.
    static NSUserDefaults* sharedDefaults() {
        NSUserDefaults* const named = [[NSUserDefaults alloc] initWithSuiteName:domain];
        return named != nil ? named : NSUserDefaults.standardUserDefaults;
    }

    NSUserDefaults* const defaults_ = sharedDefaults();
};

}  // namespace

std::unique_ptr<PreferencesStore> userPreferences() {
    @autoreleasepool {
        return std::make_unique<UserDefaults>();
    }
}

}  // namespace ledgerfern
