#pragma once

#pragma clang assume_nonnull begin

extern "C" {

using Boolean = unsigned char;
using UInt32 = unsigned int;
using UInt64 = unsigned long long;
using CFIndex = long;
using CFTimeInterval = double;

using CFTypeRef = const void*;
using CFAllocatorRef = const struct __CFAllocator*;
using CFMutableArrayRef = struct __CFArray*;
using CFArrayRef = const struct __CFArray*;
using CFStringRef = const struct __CFString*;

extern const CFAllocatorRef _Nullable kCFAllocatorDefault;

void CFRelease(CFTypeRef object);

CFStringRef _Nullable CFStringCreateWithFileSystemRepresentation(CFAllocatorRef _Nullable allocator,
                                                                 const char* text);

Boolean CFPreferencesAppSynchronize(CFStringRef applicationID);

struct CFArrayCallBacks;
extern const CFArrayCallBacks kCFTypeArrayCallBacks;

CFMutableArrayRef _Nullable CFArrayCreateMutable(CFAllocatorRef _Nullable allocator, CFIndex capacity,
                                                 const CFArrayCallBacks* _Nullable callBacks);
void CFArrayAppendValue(CFMutableArrayRef array, const void* _Nullable value);

}  // extern "C"

#pragma clang assume_nonnull end
