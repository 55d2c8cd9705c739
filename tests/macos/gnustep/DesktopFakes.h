// SPDX-License-Identifier: MIT
//
// What the tests say and hear on the other side of the macOS desktop. resetDesktop() forgets all of it.
#pragma once

#import <AppKit/AppKit.h>

#include <deque>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace varnel::tests::Fakes {

void resetDesktop();

/// What was done to the application and the workspace, in order: "activate", "policy 1", "servicesProvider",
/// "updateServices", "terminate", "open file:///…", "synchronize".
extern std::vector<std::string> desktopCalls;

// The status bar.

struct StatusBarState {
    int items = 0;  ///< In the bar now; an item that nobody keeps leaves it.
    double length = 0;
    bool hasButton = true;
    std::string symbol;
    std::string description;
    bool isTemplate = false;
    std::string toolTip;
    NSMenu* menu = nil;
};
extern StatusBarState statusBar;
/// Copies what the item's button shows into statusBar.
void readButton();

// Alerts and the panel.

struct ShownAlert {
    std::string message;
    std::string informativeText;
    bool isWarning = false;
    std::vector<std::string> buttons;
    std::optional<std::string> report;
    std::string reportForm;  ///< "520x240 fills scroller bezel plain read-only monospaced 11", as far as it is so.

    bool operator==(const ShownAlert&) const = default;
};
extern std::vector<ShownAlert> alerts;
/// The button that each next alert is answered with, counted from 0; negative for none of them. The first where empty.
extern std::deque<int> answers;

struct ShownPanel {
    bool directories = false;
    bool files = false;
    bool multiple = false;
    std::string prompt;
    std::string message;
};
extern std::vector<ShownPanel> panels;
/// What the person chooses; none cancels.
extern std::optional<std::string> chosen;

// Settings and the login item.

extern std::map<std::string, bool> settings;
extern int loginStatus;
extern std::optional<std::string> loginRefusal;

// What other applications hand over.

/// The paths of the files that are named by their number, by the URL that does so.
extern std::map<std::string, std::string> numberedFiles;

/// A pasteboard with those texts of the file-URL type, an empty one for an item without, and that list of names.
NSPasteboard* pasteboard(const std::vector<std::string>& items, id names = nil);

}  // namespace varnel::tests::Fakes
