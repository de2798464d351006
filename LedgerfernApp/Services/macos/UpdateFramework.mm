#include "Services/UpdateFramework.h"

#import <Sparkle/Sparkle.h>

#include <utility>

/// Told by the framework what it is about to show.
@interface LedgerfernUpdateDelegate : NSObject <SPUStandardUserDriverDelegate>
- (instancetype)initWithAlertAction:(std::function<void()>)onAlert;
@end

@implementation LedgerfernUpdateDelegate {
    std::function<void()> _onAlert;
}

- (instancetype)initWithAlertAction:(std::function<void()>)onAlert {
    self = [super init];
    if (self != nil) _onAlert = std::move(onAlert);
    return self;
}

- (void)standardUserDriverWillShowModalAlert {
    if (_onAlert) _onAlert();
}

@end

namespace ledgerfern {

namespace {

/// Whether the bundle tells where updates are announced. The framework shows the user an error where none
/// does.
bool hasFeed() {
    return [NSBundle.mainBundle objectForInfoDictionaryKey:@"SUFeedURL"] != nil;
}

/// Without a feed it has no controller, and can't check.
class SparkleFramework : public UpdateFramework {
public:
    SparkleFramework(bool startsUpdater, std::function<void()> onAlert)
        : delegate_([[LedgerfernUpdateDelegate alloc] initWithAlertAction:std::move(onAlert)]),
          controller_(hasFeed() ? [[SPUStandardUpdaterController alloc] initWithStartingUpdater:startsUpdater
                                                                                updaterDelegate:nil
                                                                             userDriverDelegate:delegate_]
                                : nil) {}

    bool canCheckForUpdates() const override { return controller_.updater.canCheckForUpdates; }
    void checkForUpdates() override { [controller_ checkForUpdates:nil]; }

private:
    LedgerfernUpdateDelegate* const delegate_;  // the controller doesn't keep it
    SPUStandardUpdaterController* const controller_;
};

}  // namespace

std::unique_ptr<UpdateFramework> platformUpdateFramework(bool startsUpdater, std::function<void()> onAlert) {
    return std::make_unique<SparkleFramework>(startsUpdater, std::move(onAlert));
}

}  // namespace ledgerfern
