// What this project uses of CoreFoundation. scripts/macos/check-interfaces.py holds it against the system's own
// metadata.
#pragma once
#include <MacTypes.h>
#include <os/availability.h>
#include <stddef.h>
#include <stdint.h>

#pragma clang assume_nonnull begin
extern "C" {

typedef long CFIndex;
typedef double CFTimeInterval;
typedef double CGFloat;
typedef struct CGPoint {
    CGFloat x;
    CGFloat y;
} CGPoint;
typedef struct CGSize {
    CGFloat width;
    CGFloat height;
} CGSize;
typedef struct CGRect {
    CGPoint origin;
    CGSize size;
} CGRect;
typedef const struct __attribute__((objc_bridge(id))) __CFAllocator* CFAllocatorRef;
typedef const struct __attribute__((objc_bridge(NSString))) __CFString* CFStringRef;
typedef const struct __attribute__((objc_bridge(NSArray))) __CFArray* CFArrayRef;

typedef const void* _Nonnull (*CFAllocatorRetainCallBack)(const void* info);
typedef void (*CFAllocatorReleaseCallBack)(const void* info);
typedef CFStringRef _Nonnull (*CFAllocatorCopyDescriptionCallBack)(const void* info);

extern const CFAllocatorRef _Nonnull kCFAllocatorDefault API_AVAILABLE(macos(10.0));

}  // extern "C"
#pragma clang assume_nonnull end
