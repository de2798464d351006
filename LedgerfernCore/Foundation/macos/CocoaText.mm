#include "Foundation/macos/CocoaText.h"

#include "Foundation/UnicodeText.h"

namespace ledgerfern {

NSString* cocoaText(std::string_view text) {
    if (text.empty()) return @"";
    return [[NSString alloc] initWithBytes:text.data() length:text.size() encoding:NSUTF8StringEncoding];
}

NSString* shownText(std::string_view text) {
    NSString* const shown = cocoaText(repairedUtf8(text));
    return shown != nil ? shown : @"";
}

std::string bytesOf(NSData* data) {
    return {static_cast<const char*>(data.bytes), data.length};
}

std::optional<std::string> utf8Text(NSString* text) {
    NSData* const data = [text dataUsingEncoding:NSUTF8StringEncoding];
    if (data == nil) return std::nullopt;
    return bytesOf(data);
}

}  // namespace ledgerfern
