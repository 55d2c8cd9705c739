// SPDX-License-Identifier: MIT
#pragma once

#import <AppKit/AppKit.h>

#include "app/StatusMenu.h"
#include "app/appkit/MenuActions.h"

#pragma clang assume_nonnull begin

namespace varnel {

/// Replaces what a menu holds; every entry with an action sends it to `target`.
void draw(const StatusMenu& entries, NSMenu* menu, id<VarnelMenuActions> target);

}  // namespace varnel

#pragma clang assume_nonnull end
