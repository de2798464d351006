#include "Services/StatusItem.h"

#import <AppKit/AppKit.h>

#include "Foundation/macos/CocoaText.h"
#include "Services/OlderSymbol.h"

/// What all entries of the menu are sent to. Each entry carries its own action, since one of a menu that was
/// open while its successor was made can still be chosen.
@interface LedgerfernMenuTarget : NSObject
- (void)runActionOf:(NSMenuItem*)item;
@end

@implementation LedgerfernMenuTarget

- (void)runActionOf:(NSMenuItem*)item {
    void (^const action)() = item.representedObject;
    if (action != nil) action();
}

@end

namespace ledgerfern {

namespace {

// Symbols are sized by the type they go with; a gauge is about as high as that.
constexpr double symbolSize = 15;
constexpr double textSize = 13;
constexpr const char* gap = "\u2004";  // a blank of a third of the type's size

/// Nil where the system's symbols lack that name.
NSImage* namedSymbol(std::string_view name) {
    return [NSImage imageWithSystemSymbolName:shownText(name) accessibilityDescription:@"Ledgerfern"];
}

/// Nil where there isn't an older one either.
NSImage* symbolImage(std::string_view name) {
    NSImage* const symbol = namedSymbol(name);
    NSImage* const found = symbol != nil ? symbol : namedSymbol(olderSymbol(name));
    NSImage* const image =
        [found imageWithSymbolConfiguration:[NSImageSymbolConfiguration
                                                configurationWithPointSize:symbolSize
                                                                    weight:NSFontWeightRegular]];
    [image setTemplate:YES];  // in the menu bar's own colours
    return image;
}

NSMenuItem* textItem(const MenuEntry& entry) {
    NSMenuItem* const item = [[NSMenuItem alloc] initWithTitle:shownText(entry.title)
                                                        action:nil
                                                 keyEquivalent:@""];
    item.enabled = NO;
    return item;
}

NSMenuItem* actionItem(const MenuEntry& entry, LedgerfernMenuTarget* target) {
    // An upper-case letter would stand for the shift key.
    NSMenuItem* const item = [[NSMenuItem alloc] initWithTitle:shownText(entry.title)
                                                        action:@selector(runActionOf:)
                                                 keyEquivalent:shownText(entry.shortcut).lowercaseString];
    item.keyEquivalentModifierMask = NSEventModifierFlagCommand;
    item.target = target;
    item.enabled = entry.isEnabled;
    const std::function<void()> action = entry.action;
    item.representedObject = [^{
        if (action) action();
    } copy];
    return item;
}

NSMenuItem* menuItem(const MenuEntry& entry, LedgerfernMenuTarget* target) {
    if (entry.kind == MenuEntry::Kind::separator) return [NSMenuItem separatorItem];
    NSMenuItem* const item =
        entry.kind == MenuEntry::Kind::text ? textItem(entry) : actionItem(entry, target);
    if (!entry.toolTip.empty()) item.toolTip = shownText(entry.toolTip);
    return item;
}

class MenuBarItem : public StatusItem {
public:
    MenuBarItem() {
        NSStatusBarButton* const button = item_.button;
        button.font = [NSFont monospacedDigitSystemFontOfSize:textSize weight:NSFontWeightMedium];
        button.imagePosition = NSImageLeading;
    }
    ~MenuBarItem() override { [NSStatusBar.systemStatusBar removeStatusItem:item_]; }

    MenuBarItem(const MenuBarItem&) = delete;
    MenuBarItem& operator=(const MenuBarItem&) = delete;

    void setContent(const Content& content) override {
        NSStatusBarButton* const button = item_.button;
        button.image = symbolImage(content.symbol);
        button.title = shownText((button.image != nil ? gap : "") + content.text);
        button.toolTip = shownText(content.toolTip);
    }

    void setMenu(std::vector<MenuEntry> menu) override {
        NSMenu* const made = [[NSMenu alloc] initWithTitle:@""];
        made.autoenablesItems = NO;  // the entries say themselves whether they are enabled
        for (const MenuEntry& entry : menu)
            [made addItem:menuItem(entry, target_)];
        item_.menu = made;
    }

private:
    NSStatusItem* const item_ = [NSStatusBar.systemStatusBar statusItemWithLength:NSVariableStatusItemLength];
    LedgerfernMenuTarget* const target_ = [[LedgerfernMenuTarget alloc] init];  // entries don't keep it
};

}  // namespace

// A menu bar is never missing.
std::unique_ptr<StatusItem> platformStatusItem(std::function<void()> /*onMissing*/) {
    return std::make_unique<MenuBarItem>();
}

}  // namespace ledgerfern
