// SPDX-License-Identifier: MIT
//
// Runs on a Mac only; elsewhere it is compiled and linked.
#import <AppKit/AppKit.h>

#include <gtest/gtest.h>

#include "core/watcher/MountNotifications.h"

namespace varnel {
namespace {

TEST(MacSystemMounts, AreHeardFromTheWorkspaceUntilRemoved) {
    @autoreleasepool {
        NSNotificationCenter* const center = [[NSWorkspace sharedWorkspace] notificationCenter];
        const auto mounts = MountNotifications::ofSystem();
        int heard = 0;
        const auto token = mounts->add(MountNotifications::Kind::didMount, [&] { ++heard; });
        [center postNotificationName:NSWorkspaceDidUnmountNotification object:nil];
        EXPECT_EQ(heard, 0);
        [center postNotificationName:NSWorkspaceDidMountNotification object:nil];
        EXPECT_EQ(heard, 1);
        mounts->remove(token);
        [center postNotificationName:NSWorkspaceDidMountNotification object:nil];
        EXPECT_EQ(heard, 1);
    }
}

}  // namespace
}  // namespace varnel
