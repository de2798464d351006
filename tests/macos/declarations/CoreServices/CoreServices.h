#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <dispatch/dispatch.h>

#include <cstddef>

#pragma clang assume_nonnull begin

extern "C" {

using FSEventStreamRef = struct __FSEventStream*;
using ConstFSEventStreamRef = const struct __FSEventStream*;
using FSEventStreamEventId = UInt64;
using FSEventStreamCreateFlags = UInt32;
using FSEventStreamEventFlags = UInt32;

enum : FSEventStreamCreateFlags {
    kFSEventStreamCreateFlagNone = 0x00,
    kFSEventStreamCreateFlagUseCFTypes = 0x01,
    kFSEventStreamCreateFlagNoDefer = 0x02,
    kFSEventStreamCreateFlagWatchRoot = 0x04,
    kFSEventStreamCreateFlagIgnoreSelf = 0x08,
    kFSEventStreamCreateFlagFileEvents = 0x10,
};
enum : FSEventStreamEventId { kFSEventStreamEventIdSinceNow = 0xFFFFFFFFFFFFFFFFULL };

using CFAllocatorRetainCallBack = const void* _Nullable (*)(const void* _Nullable info);
using CFAllocatorReleaseCallBack = void (*)(const void* _Nullable info);
using CFAllocatorCopyDescriptionCallBack = CFStringRef _Nullable (*)(const void* _Nullable info);

struct FSEventStreamContext {
    CFIndex version;
    void* _Nullable info;
    CFAllocatorRetainCallBack _Nullable retain;
    CFAllocatorReleaseCallBack _Nullable release;
    CFAllocatorCopyDescriptionCallBack _Nullable copyDescription;
};
using FSEventStreamCallback = void (*)(ConstFSEventStreamRef stream, void* _Nullable info,
                                       std::size_t numEvents, void* eventPaths,
                                       const FSEventStreamEventFlags* eventFlags,
                                       const FSEventStreamEventId* eventIds);

FSEventStreamRef _Nullable FSEventStreamCreate(CFAllocatorRef _Nullable allocator,
                                               FSEventStreamCallback callback,
                                               FSEventStreamContext* _Nullable context,
                                               CFArrayRef pathsToWatch, FSEventStreamEventId sinceWhen,
                                               CFTimeInterval latency, FSEventStreamCreateFlags flags);
void FSEventStreamSetDispatchQueue(FSEventStreamRef stream, dispatch_queue_t _Nullable queue);
Boolean FSEventStreamStart(FSEventStreamRef stream);
void FSEventStreamStop(FSEventStreamRef stream);
void FSEventStreamInvalidate(FSEventStreamRef stream);
void FSEventStreamRelease(FSEventStreamRef stream);

}  // extern "C"

#pragma clang assume_nonnull end
