// SPDX-License-Identifier: MIT
//
// Pictures of what the application shows, as GNUstep draws it: the texts and their places, not the look of a Mac.
#pragma once

#import <AppKit/AppKit.h>

#include <string>
#include <vector>

namespace varnel::tests::Pictures {

/// The folder that pictures are written to; none are made while it is empty.
extern std::string folder;

/// Writes NAME.png. Ends the test where all of it has one colour.
void ofMenu(NSMenu* menu, const std::string& name);
/// Numbered in the order in which they are shown: "alert-1.png".
void ofAlert(const std::vector<std::string>& texts, NSView* accessory, const std::vector<std::string>& buttons);

}  // namespace varnel::tests::Pictures
