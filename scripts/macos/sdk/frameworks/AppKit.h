// What this project uses of AppKit, each with the first macOS that has it. scripts/macos/check-interfaces.py holds it
// against the system's own metadata.
#pragma once
#import <Foundation/Foundation.h>

#pragma clang assume_nonnull begin
extern "C" {

extern const NSNotificationName NSWorkspaceDidMountNotification API_AVAILABLE(macos(10.0));
extern const NSNotificationName NSWorkspaceDidUnmountNotification API_AVAILABLE(macos(10.0));

API_AVAILABLE(macos(10.0))
@interface NSWorkspace : NSObject
+ (NSWorkspace *)sharedWorkspace;
- (NSNotificationCenter *)notificationCenter;
@end

}  // extern "C"
#pragma clang assume_nonnull end
