#pragma once

#include <Foundation/Foundation.h>

NS_ASSUME_NONNULL_BEGIN

@class NSMenu;

using NSFontWeight = CGFloat;
extern "C" const NSFontWeight NSFontWeightRegular;
extern "C" const NSFontWeight NSFontWeightMedium;

@interface NSFont : NSObject <NSCopying>
+ (NSFont*)monospacedDigitSystemFontOfSize:(CGFloat)fontSize weight:(NSFontWeight)weight;
@end

SINCE(11.0)
@interface NSImageSymbolConfiguration : NSObject <NSCopying>
+ (instancetype)configurationWithPointSize:(CGFloat)pointSize weight:(NSFontWeight)weight;
@end

// `template` is a word of C++, so the property of that name is used by its setter.
@interface NSImage : NSObject <NSCopying>
+ (nullable instancetype)imageWithSystemSymbolName:(NSString*)name
                          accessibilityDescription:(nullable NSString*)description SINCE(11.0);
- (nullable NSImage*)imageWithSymbolConfiguration:(NSImageSymbolConfiguration*)configuration SINCE(11.0);
- (void)setTemplate:(BOOL)isTemplate;
@end

using NSEventModifierFlags = NSUInteger;
enum : NSEventModifierFlags {
    NSEventModifierFlagShift = 1 << 17,
    NSEventModifierFlagControl = 1 << 18,
    NSEventModifierFlagOption = 1 << 19,
    NSEventModifierFlagCommand = 1 << 20,
};

@interface NSMenuItem : NSObject <NSCopying>
+ (NSMenuItem*)separatorItem;
- (instancetype)initWithTitle:(NSString*)string
                       action:(nullable SEL)selector
                keyEquivalent:(NSString*)charCode;
@property NSEventModifierFlags keyEquivalentModifierMask;
@property(getter=isEnabled) BOOL enabled;
@property(nullable, weak) id target;
@property(nullable, strong) id representedObject;
@property(nullable, copy) NSString* toolTip;
@end

@interface NSMenu : NSObject <NSCopying>
- (instancetype)initWithTitle:(NSString*)title;
- (void)addItem:(NSMenuItem*)newItem;
@property BOOL autoenablesItems;
@end

enum NSCellImagePosition : NSUInteger {
    NSNoImage = 0,
    NSImageOnly = 1,
    NSImageLeft = 2,
    NSImageRight = 3,
    NSImageBelow = 4,
    NSImageAbove = 5,
    NSImageOverlaps = 6,
    NSImageLeading = 7,
    NSImageTrailing = 8,
};

@interface NSView : NSObject
@property(nullable, copy) NSString* toolTip;
@end

@interface NSControl : NSView
@property(nullable, strong) NSFont* font;
@end

@interface NSButton : NSControl
@property(copy) NSString* title;
@property(nullable, strong) NSImage* image;
@property NSCellImagePosition imagePosition;
@end

@interface NSStatusBarButton : NSButton
@end

@interface NSStatusItem : NSObject
@property(nullable, readonly, strong) NSStatusBarButton* button;
@property(nullable, strong) NSMenu* menu;
@end

extern "C" const CGFloat NSVariableStatusItemLength;

@interface NSStatusBar : NSObject
@property(class, readonly, strong) NSStatusBar* systemStatusBar;
- (NSStatusItem*)statusItemWithLength:(CGFloat)length;
- (void)removeStatusItem:(NSStatusItem*)item;
@end

NS_ASSUME_NONNULL_END
