// SPDX-License-Identifier: MIT
#pragma once

#import <Foundation/Foundation.h>

#include "app/StatusMenu.h"

#pragma clang assume_nonnull begin

/// What the entries of the menu send. Declared once, so that the compiler holds the menu and the delegate against it.
@protocol VarnelMenuActions <NSObject>
- (void)scanVolume:(id)sender;
- (void)cleanVolume:(id)sender;
- (void)cleanAndEject:(id)sender;
- (void)chooseFolder:(id)sender;
- (void)sweepAll:(id)sender;
- (void)toggleWatcher:(id)sender;
- (void)toggleLoginItem:(id)sender;
- (void)showLog:(id)sender;
- (void)quit:(id)sender;
@end

namespace varnel {

/// The message that stands for an action.
SEL selectorOf(MenuAction action);

}  // namespace varnel

#pragma clang assume_nonnull end
