// SPDX-License-Identifier: MIT
#include "core/watcher/MountNotifications.h"

#include <gtest/gtest.h>

#include <memory>

#include "tests/macos/gnustep/Fakes.h"

namespace varnel {
namespace {

namespace Fakes = tests::Fakes;
using Kind = MountNotifications::Kind;

TEST(MacMountNotifications, TellEachKindToItsObservers) {
    const auto notifications = MountNotifications::ofSystem();
    int mounts = 0;
    int unmounts = 0;
    notifications->add(Kind::didMount, [&] { ++mounts; });
    notifications->add(Kind::didUnmount, [&] { ++unmounts; });
    Fakes::postMount();
    EXPECT_EQ(mounts, 1);
    EXPECT_EQ(unmounts, 0);
    Fakes::postUnmount();
    Fakes::postUnmount();
    EXPECT_EQ(mounts, 1);
    EXPECT_EQ(unmounts, 2);
}

TEST(MacMountNotifications, KeepWhatTheObserverHolds) {
    const auto notifications = MountNotifications::ofSystem();
    auto held = std::make_shared<int>(0);
    const std::weak_ptr<int> observed = held;
    notifications->add(Kind::didMount, [held] { ++*held; });
    held.reset();
    Fakes::postMount();
    ASSERT_FALSE(observed.expired());
    EXPECT_EQ(*observed.lock(), 1);
}

TEST(MacMountNotifications, EndWithTheirRemoval) {
    const auto notifications = MountNotifications::ofSystem();
    int first = 0;
    int second = 0;
    const auto token = notifications->add(Kind::didMount, [&] { ++first; });
    notifications->add(Kind::didMount, [&] { ++second; });
    notifications->remove(token);
    notifications->remove(token);
    Fakes::postMount();
    EXPECT_EQ(first, 0);
    EXPECT_EQ(second, 1);
}

TEST(MacMountNotifications, EndWithTheirOwner) {
    int calls = 0;
    MountNotifications::ofSystem()->add(Kind::didMount, [&] { ++calls; });
    Fakes::postMount();
    EXPECT_EQ(calls, 0);
}

}  // namespace
}  // namespace varnel
