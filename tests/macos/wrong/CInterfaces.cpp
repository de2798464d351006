#include <CoreServices/CoreServices.h>
#include <dispatch/dispatch.h>

void callback(FSEventStreamContext* context, CFArrayRef paths) {
    const auto tooFew = [](ConstFSEventStreamRef, void*, std::size_t) {};
    // expected-error@+1 {{no matching function for call to 'FSEventStreamCreate'}}
    FSEventStreamCreate(kCFAllocatorDefault, tooFew, context, paths, kFSEventStreamEventIdSinceNow, 1.0,
                        kFSEventStreamCreateFlagNone);
}

FSEventStreamCreateFlags flagThatIsNone() {
    return kFSEventStreamCreateFlagEveryFile;  // expected-error {{use of undeclared identifier}}
}

void argument(FSEventStreamRef stream) {
    FSEventStreamSetDispatchQueue(stream, "queue");  // expected-error {{no matching function for call}}
}

void nothing() {
    dispatch_release(
        nullptr);  // expected-error {{null passed to a callee that requires a non-null argument}}
}
