// SPDX-License-Identifier: MIT
#pragma once

#import <AppKit/AppKit.h>

#include <memory>

#include "app/AppDelegate.h"
#include "app/appkit/MenuActions.h"

#pragma clang assume_nonnull begin

/// What AppKit speaks to: hands everything on to the portable delegate. Lives as long as the process.
@interface VarnelApplicationDelegate : NSObject <NSApplicationDelegate, NSMenuDelegate, VarnelMenuActions> {
    std::shared_ptr<varnel::AppDelegate> _delegate;
}

- (instancetype)initWithDelegate:(std::shared_ptr<varnel::AppDelegate>)delegate;

/// The service, as it is named in the bundle.
- (void)cleanUsingVarnel:(NSPasteboard*)pasteboard;
/// The form in which AppKit sends it.
- (void)cleanUsingVarnel:(NSPasteboard*)pasteboard
                userData:(nullable NSString*)userData
                   error:(NSString* _Nullable* _Nullable)error;

@end

#pragma clang assume_nonnull end
