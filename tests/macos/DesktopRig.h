// SPDX-License-Identifier: MIT
#pragma once

#import <AppKit/AppKit.h>

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "app/AppDelegate.h"
#include "app/AppPorts.h"
#include "app/appkit/AppKitDesktop.h"
#include "app/appkit/ApplicationDelegate.h"
#include "tests/macos/gnustep/DesktopFakes.h"
#include "tests/macos/gnustep/Fakes.h"
#include "tests/support/TemporaryFolder.h"

namespace varnel::tests {

/// The application as main() puts it together, on the macOS layer, with a home and one removable volume "v" of its own.
struct DesktopRig {
    TemporaryFolder tree;
    std::string root = tree.folder("v");
    std::vector<std::string> ejected;
    std::shared_ptr<AppKitDesktop> desktop = std::make_shared<AppKitDesktop>();
    std::shared_ptr<AppDelegate> delegate;
    VarnelApplicationDelegate* forwarder = nil;

    enum class Logging { works, isImpossible };

    explicit DesktopRig(Logging logging = Logging::works) {
        Fakes::reset();
        Fakes::resetDesktop();
        Fakes::setMounted({.volumes = {{.path = root, .isRemovable = true}}});
        ::setenv("HOME", tree.folder("home").c_str(), 1);
        if (logging == Logging::isImpossible) tree.file("home/Library");
        AppPorts ports = AppPorts::ofSystem(desktop);
        ports.eject = [this](const std::string& path, bool) -> std::expected<void, DiskError> {
            ejected.push_back(path);
            return {};
        };
        delegate = AppDelegate::create(desktop, ports);
        forwarder = [[VarnelApplicationDelegate alloc] initWithDelegate:delegate];
        desktop->setDelegate(forwarder);
    }
    /// Ends as the application does: nothing of it may still work when the next test, or the end of the process, takes
    /// the stand-ins away.
    ~DesktopRig() {
        delegate->applicationWillTerminate();
        [forwarder release];
    }
    DesktopRig(const DesktopRig&) = delete;
    DesktopRig& operator=(const DesktopRig&) = delete;

    void launch() const {
        @autoreleasepool {
            NSNotification* const launched =
                [NSNotification notificationWithName:NSApplicationDidFinishLaunchingNotification object:nil];
            [forwarder applicationDidFinishLaunching:launched];
        }
    }

    /// The menu as it is when it opens.
    static NSMenu* openMenu() {
        NSMenu* const menu = Fakes::statusBar.menu;
        [[menu delegate] menuNeedsUpdate:menu];
        return menu;
    }

    /// Chooses the entry with that title, wherever it stands in the menu.
    static void chooseEntry(const std::string& title) {
        @autoreleasepool {
            NSMenuItem* const item = entry(openMenu(), title);
            ASSERT_NE(item, nil) << title;
            [[item target] performSelector:[item action] withObject:item];
        }
    }

    static NSMenuItem* entry(NSMenu* menu, const std::string& title) {
        for (NSMenuItem* item in [menu itemArray]) {
            if (title == [[item title] UTF8String]) return item;
            if (NSMenuItem* const below = entry([item submenu], title)) return below;
        }
        return nil;
    }

    /// Runs the work of the main queue until as many alerts were shown.
    static bool untilAlerts(std::size_t count) {
        while (Fakes::alerts.size() < count) {
            if (!Fakes::runMainItem(std::chrono::seconds(20))) return false;
        }
        return true;
    }
};

}  // namespace varnel::tests
