// SPDX-License-Identifier: MIT
//
// What stands for a drive is a folder that is laid over the kernel's own one of a loop device.
#include "core/volumes/MountedVolumes.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/PrivateMounts.h"
#include "tests/support/SystemBus.h"
#include "tests/support/TemporaryFolder.h"

namespace varnel {
namespace {

using tests::LoopDevice;
using tests::TemporaryFolder;

TEST(MountedVolumes, KnowAMappedDeviceByTheDisksBelowIt) {
    const tests::PrivateMounts mounts;
    if (!mounts.available()) GTEST_SKIP() << "needs a mount namespace: " << mounts.reason();
    const struct {
        const char* name;
        std::vector<std::string> below;
        bool isRemovable, isInternal;
    } cases[] = {
        {"a device of its own", {}, false, false},
        {"an unlocked stick", {"usb1/stick/stick1"}, true, false},
        {"an unlocked card in a reader", {"card"}, true, false},
        {"a volume on a fixed disk", {"fixed"}, false, true},
        {"an array of two sticks", {"usb1/stick", "usb2/stick"}, true, false},
        {"a group over a stick and a fixed disk", {"usb1/stick", "fixed"}, false, true},
        {"a volume on an array of sticks", {"array"}, true, false},
        {"a volume on a part of an array of sticks", {"array/array1"}, true, false},
    };
    for (const auto& c : cases) {
        const TemporaryFolder folder;
        const LoopDevice device(folder.at("image"));
        EXPECT_EQ(mounts.run([&] {
            folder.file("machine/usb1/stick/removable", "0");
            folder.file("machine/usb1/stick/stick1/partition", "1");
            folder.file("machine/usb2/stick/removable", "0");
            folder.file("machine/card/removable", "1");
            folder.file("machine/fixed/removable", "0");
            folder.file("machine/array/removable", "0");
            folder.file("machine/array/array1/partition", "1");
            folder.link("machine/array/slaves/one", folder.at("machine/usb1/stick"));
            folder.link("machine/array/slaves/two", folder.at("machine/usb2/stick"));
            folder.folder("slaves");
            for (const std::string& disk : c.below)
                folder.link("slaves/" + disk.substr(0, 4), folder.at("machine/" + disk));
            tests::bindMount(folder.at("slaves"), "/sys/block/" + device.name() + "/slaves");
            tests::mountTmpfs("/media");
            tests::shell("mkdir /media/volume && mount " + device.path() + " /media/volume");
            const auto attachment = MountedVolumes::current()->attachment("/media/volume");
            ASSERT_TRUE(attachment) << c.name;
            EXPECT_EQ(attachment->isLocal, true) << c.name;
            EXPECT_EQ(attachment->isRemovable, c.isRemovable) << c.name;
            EXPECT_EQ(attachment->isInternal, c.isInternal) << c.name;
        }),
                  0);
    }
}

}  // namespace
}  // namespace varnel
