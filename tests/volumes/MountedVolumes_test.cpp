// SPDX-License-Identifier: MIT
//
// Which mounts are people's volumes, and what the system says of them.
#include "core/volumes/MountedVolumes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <utility>

#include "platform/linux/MountTable.h"
#include "tests/support/DiskImage.h"
#include "tests/support/PrivateMounts.h"
#include "tests/support/Shortages.h"
#include "tests/support/TemporaryFolder.h"

namespace varnel {
namespace {

using tests::TemporaryFolder;

void privately(const std::function<void(const TemporaryFolder&)>& body) {
    const tests::PrivateMounts mounts;
    if (!mounts.available()) GTEST_SKIP() << "needs a mount namespace: " << mounts.reason();
    EXPECT_EQ(mounts.run([&] {
        const TemporaryFolder folder;
        for (const char* place : {"/media", "/mnt", "/run"})
            tests::mountTmpfs(place);
        body(folder);
    }),
              0);
}

bool kernelHas(const std::string& fileSystem) {
    std::ifstream file("/proc/filesystems");
    std::string word;
    while (file >> word) {
        if (word == fileSystem) return true;
    }
    return false;
}

bool isVisible(const std::string& mountPoint) {
    const auto visible = MountedVolumes::current()->visible();
    return visible && std::find(visible->begin(), visible->end(), mountPoint) != visible->end();
}

void mountTmpfsAt(const std::string& place) {
    std::filesystem::create_directories(place);
    tests::mountTmpfs(place);
}

TEST(MountedVolumes, StayKnownWhileTheTableCannotBeRead) {
    privately([](const TemporaryFolder&) {
        mountTmpfsAt("/media/stick");
        ASSERT_TRUE(isVisible("/media/stick"));
        const tests::NoDescriptors none;
        EXPECT_FALSE(MountTable::read());
        EXPECT_TRUE(isVisible("/media/stick"));
    });
}

TEST(MountedVolumes, AreThoseInThePlacesOfPeoplesDisks) {
    privately([](const TemporaryFolder&) {
        const std::pair<const char*, bool> cases[] = {
            {"/media/stick", true},
            {"/media/user/stick", true},
            {"/media/user/stick/inside", false},
            {"/run/media/user/stick", true},
            {"/run/media/stick", false},
            {"/run/media/user/stick/inside", false},
            {"/run/user/stick", false},
            {"/mnt", true},
            {"/mnt/stick", true},
            {"/mnt/user/stick", false},
        };
        for (const auto& [place, isPeoples] : cases) {
            if (std::string(place) != "/mnt") mountTmpfsAt(place);
            EXPECT_EQ(isVisible(place), isPeoples) << place;
        }
    });
}

/// What `command` mounts on the place that it finds in $PLACE, of that type, is nobody's volume.
void expectHidden(const std::string& type, const std::string& command) {
    privately([&](const TemporaryFolder& folder) {
        std::filesystem::create_directories("/mnt/hidden");
        tests::shell("cd '" + folder.path() + "' && PLACE=/mnt/hidden && " + command);
        EXPECT_EQ(MountedVolumes::current()->type("/mnt/hidden"), type);
        EXPECT_FALSE(isVisible("/mnt/hidden")) << type;
    });
}

TEST(MountedVolumes, AreNoFileSystemsOfTheKernelsOwn) {
    for (const char* type : {"proc", "sysfs", "ramfs"})
        expectHidden(type, std::string("mount -t ") + type + " x $PLACE");
}

TEST(MountedVolumes, AreNoLayersOfContainers) {
    if (!kernelHas("overlay")) GTEST_SKIP() << "needs a kernel with overlay";
    expectHidden("overlay", "mkdir a b && mount -t overlay -o lowerdir=$PWD/a:$PWD/b x $PLACE");
}

TEST(MountedVolumes, AreNoImagesOfPackages) {
    if (!kernelHas("squashfs")) GTEST_SKIP() << "needs a kernel with squashfs";
    if (!tests::hasProgram("mksquashfs")) GTEST_SKIP() << "needs the program mksquashfs";
    expectHidden("squashfs", "mkdir a && mksquashfs a image >/dev/null && mount -o loop image $PLACE");
}

TEST(MountedVolumes, KeepTheBytesOfTheirMountPoints) {
    privately([](const TemporaryFolder&) {
        for (const char* name : {"a space", "a\ttab", "a\nline", "a\\slash", "a#sign", "\\040", "\xff", "e\u0301"}) {
            const std::string place = std::string("/mnt/") + name;
            mountTmpfsAt(place);
            EXPECT_TRUE(isVisible(place)) << name;
            EXPECT_EQ(MountedVolumes::current()->type(place), "tmpfs") << name;
        }
    });
}

TEST(MountedVolumes, AreLocalUnlessTheirTypeIsANetworks) {
    if (!tests::hasProgram("bindfs")) GTEST_SKIP() << "needs the program bindfs";
    privately([](const TemporaryFolder& folder) {
        folder.folder("from");
        for (const auto& [subtype, isLocal] :
             {std::pair("sshfs", false), {"davfs2", false}, {"rclone", false}, {"exfat", true}, {"other", true}}) {
            const std::string place = std::string("/mnt/") + subtype;
            std::filesystem::create_directories(place);
            tests::shell("bindfs -o subtype=" + std::string(subtype) + " '" + folder.at("from") + "' " + place);
            const auto attachment = MountedVolumes::current()->attachment(place);
            ASSERT_TRUE(attachment);
            EXPECT_EQ(attachment->isLocal, isLocal) << subtype;
            tests::unmountDisk(place);
        }
    });
}

TEST(MountedVolumes, OnADiskAreRemovableOrInternalByItsPlaceInTheMachine) {
    const auto& disk = tests::diskKind("ext4");
    if (!disk.missing().empty()) GTEST_SKIP() << "needs " << disk.missing();
    privately([&](const TemporaryFolder& folder) {
        const std::string place = "/mnt/disk";
        std::filesystem::create_directories(place);
        tests::mountDisk(disk, folder.at("image"), place);
        const auto real = MountedVolumes::current()->attachment(place);
        ASSERT_TRUE(real);
        EXPECT_EQ(real->isLocal, true);
        EXPECT_EQ(real->isRemovable, false) << "a loop device";
        EXPECT_EQ(real->isInternal, false) << "a loop device";

        // The same volume, and a machine in which its device lies elsewhere.
        tests::shell("findmnt -no SOURCE " + place + " | tr -d '\\n' >'" + folder.at("device") + "'");
        const std::string device = std::filesystem::path(folder.contents("device")).filename();
        tests::mountTmpfs("/sys/class/block");
        const struct {
            const char *disk, *partition, *removable;
            bool isRemovable, isInternal;
        } cases[] = {
            {"pci0000:00/ata1/host0/block/sda", "/sda1", "0", false, true},
            {"pci0000:00/nvme/nvme0/nvme0n1", "/nvme0n1p1", "0", false, true},
            {"pci0000:00/nvme/nvme1/nvme1n1", "", nullptr, false, true},
            {"pci0000:00/ata2/host1/block/sr0", "", "1", true, false},
            {"pci0000:00/ata3/host2/block/sdb", "/sdb1", "1", true, false},
            {"pci0000:00/usb1/1-1/host6/block/sdc", "/sdc1", "0", true, false},
            {"platform/mmc_host/mmc0/mmc0:0001/block/mmcblk0", "/mmcblk0p1", "0", true, false},
            {"pci0000:00/thunderbolt0/nvme2/nvme2n1", "/nvme2n1p1", "0", true, false},
        };
        for (const auto& c : cases) {
            const std::string sysfs = std::string("devices/") + c.disk;
            folder.folder(sysfs + c.partition);
            if (c.removable != nullptr) folder.file(sysfs + "/removable", std::string(c.removable) + "\n");
            const std::string link = "/sys/class/block/" + device;
            std::filesystem::remove(link);
            std::filesystem::create_symlink(folder.at(sysfs + c.partition), link);
            const auto attachment = MountedVolumes::current()->attachment(place);
            ASSERT_TRUE(attachment);
            EXPECT_EQ(attachment->isRemovable, c.isRemovable) << c.disk;
            EXPECT_EQ(attachment->isInternal, c.isInternal) << c.disk;
        }
        tests::unmountDisk(place);
    });
}

TEST(MountedVolumes, OfAProgramBearTheTypeThatTheDiskSays) {
    for (const char* kind : {"exfat", "ntfs"}) {
        const auto& disk = tests::diskKind(kind);
        if (!disk.missing().empty()) GTEST_SKIP() << "needs " << disk.missing();
        privately([&](const TemporaryFolder& folder) {
            std::filesystem::create_directories("/mnt/disk");
            tests::mountDisk(disk, folder.at("image"), "/mnt/disk");
            tests::shell("findmnt -no FSTYPE /mnt/disk | tr -d '\\n' >'" + folder.at("type") + "'");
            EXPECT_EQ(folder.contents("type"), "fuseblk");
            EXPECT_EQ(MountedVolumes::current()->type("/mnt/disk"), kind);
            tests::unmountDisk("/mnt/disk");
        });
    }
}

}  // namespace
}  // namespace varnel
