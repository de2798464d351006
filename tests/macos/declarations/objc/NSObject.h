#pragma once

// Declarations for the check of the macOS sources: of each interface that they use as much as they use,
// written from its documentation. The folders and files are named as the sources include them on macOS.

#if __OBJC_BOOL_IS_BOOL
using BOOL = bool;
#else
using BOOL = signed char;
#endif

#define YES __objc_yes
#define NO __objc_no
#define nil nullptr

// For what came after macOS 10.13. A source that uses it must ask for it where the deployment target is
// older.
#define SINCE(version) __attribute__((availability(macos, introduced = version)))

#define NS_ASSUME_NONNULL_BEGIN _Pragma("clang assume_nonnull begin")
#define NS_ASSUME_NONNULL_END _Pragma("clang assume_nonnull end")

using NSInteger = long;
using NSUInteger = unsigned long;

NS_ASSUME_NONNULL_BEGIN

@protocol NSObject
@end

__attribute__((objc_root_class))
@interface NSObject<NSObject>
+ (instancetype)alloc;
- (instancetype)init;
- (id)copy;
@end

NS_ASSUME_NONNULL_END
