#pragma once

#import <Foundation/Foundation.h>

#include <optional>
#include <string>
#include <string_view>

/// Texts between the system's frameworks and the rest of the program. Any thread.
namespace ledgerfern {

NS_ASSUME_NONNULL_BEGIN

/// Nil where the bytes aren't UTF-8.
NSString* _Nullable cocoaText(std::string_view text);
/// The same for texts that are only shown: each bad byte reads as U+FFFD.
NSString* shownText(std::string_view text);

/// The bytes, whatever they are.
std::string bytesOf(NSData* data);
/// The string as UTF-8; absent where it isn't one that UTF-8 can hold.
std::optional<std::string> utf8Text(NSString* text);

NS_ASSUME_NONNULL_END

}  // namespace ledgerfern
