#pragma once

#ifdef __OBJC__
#include <objc/NSObject.h>
#endif

#pragma clang assume_nonnull begin

// An object of Objective-C where that is the language, so that its lifetime is the compiler's business.
#ifdef __OBJC__
@protocol OS_dispatch_queue <NSObject>
@end
@protocol OS_dispatch_queue_attr <NSObject>
@end
using dispatch_queue_t = NSObject<OS_dispatch_queue>*;
using dispatch_queue_attr_t = NSObject<OS_dispatch_queue_attr>*;
#else
using dispatch_queue_t = struct dispatch_queue_s*;
using dispatch_queue_attr_t = struct dispatch_queue_attr_s*;
extern "C" void dispatch_release(dispatch_queue_t object);
#endif

#define DISPATCH_QUEUE_SERIAL nullptr

extern "C" {

using dispatch_function_t = void (*)(void* _Nullable context);

dispatch_queue_t dispatch_queue_create(const char* _Nullable label,
                                       dispatch_queue_attr_t _Nullable attributes);
void dispatch_sync_f(dispatch_queue_t queue, void* _Nullable context, dispatch_function_t work);

}  // extern "C"

#pragma clang assume_nonnull end
