#pragma once

#include <Foundation/Foundation.h>

NS_ASSUME_NONNULL_BEGIN

@protocol SPUUpdaterDelegate <NSObject>
@end

@protocol SPUStandardUserDriverDelegate <NSObject>
@optional
- (void)standardUserDriverWillShowModalAlert;
@end

@interface SPUUpdater : NSObject
@property(readonly) BOOL canCheckForUpdates;
@end

@interface SPUStandardUpdaterController : NSObject
- (instancetype)initWithStartingUpdater:(BOOL)startUpdater
                        updaterDelegate:(nullable id<SPUUpdaterDelegate>)updaterDelegate
                     userDriverDelegate:(nullable id<SPUStandardUserDriverDelegate>)userDriverDelegate;
@property(readonly) SPUUpdater* updater;
- (void)checkForUpdates:(nullable id)sender;
@end

NS_ASSUME_NONNULL_END
