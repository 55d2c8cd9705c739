// SPDX-License-Identifier: MIT
#include "core/volumes/MountedVolumes.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "core/volumes/VolumeList.h"
#include "tests/macos/gnustep/Fakes.h"
#include "tests/support/TemporaryFolder.h"

namespace varnel {
namespace {

namespace Fakes = tests::Fakes;
using tests::TemporaryFolder;
using Texts = std::vector<std::string>;

constexpr const char* threeKeys = "NSURLVolumeIsLocalKey,NSURLVolumeIsRemovableKey,NSURLVolumeIsInternalKey";

TEST(MacMountedVolumes, AsksForWhatPeopleSeeAndForThreeKeys) {
    Fakes::reset();
    Fakes::setMounted({.volumes = {{.path = "/Volumes/USB"}, {.path = "/Volumes/\u00c4pfel"}}});
    EXPECT_EQ(MountedVolumes::current()->visible(), (Texts{"/Volumes/USB", "/Volumes/\u00c4pfel"}));
    EXPECT_EQ(Fakes::volumeQuestions(), Texts{threeKeys + std::string(" options=2")});
}

TEST(MacMountedVolumes, IsNoneWhereTheSystemCannotBeAsked) {
    Fakes::reset();
    Fakes::setMounted({.isUnknown = true, .cannotBeListed = true});
    EXPECT_EQ(MountedVolumes::current()->visible(), std::nullopt);
    EXPECT_EQ(MountedVolumes::current()->namesInVolumes(), std::nullopt);
}

TEST(MacMountedVolumes, ListsTheNamesInVolumes) {
    Fakes::reset();
    Fakes::setMounted({.names = {"USB", ".hidden", "Macintosh HD"}});
    EXPECT_EQ(MountedVolumes::current()->namesInVolumes(), (Texts{"USB", ".hidden", "Macintosh HD"}));
}

TEST(MacMountedVolumes, TellsHowAVolumeIsAttached) {
    Fakes::reset();
    Fakes::setMounted({.volumes = {{.path = "/Volumes/USB", .isLocal = true, .isRemovable = true, .isInternal = false},
                                   {.path = "/Volumes/NAS", .isLocal = false},
                                   {.path = "/Volumes/Disk", .isInternal = true}}});
    const auto system = MountedVolumes::current();
    const auto usb = system->attachment("/Volumes/USB");
    ASSERT_TRUE(usb);
    EXPECT_EQ(usb->isLocal, true);
    EXPECT_EQ(usb->isRemovable, true);
    EXPECT_EQ(usb->isInternal, false);
    EXPECT_EQ(system->attachment("/Volumes/NAS")->isLocal, false);
    EXPECT_EQ(system->attachment("/Volumes/Disk")->isInternal, true);
    EXPECT_EQ(Fakes::volumeQuestions().front(), threeKeys + std::string(" options=0"));
}

TEST(MacMountedVolumes, LeavesAbsentWhatTheSystemDoesNotGive) {
    Fakes::reset();
    Fakes::setMounted(
        {.volumes = {{.path = "/Volumes/A", .hasValues = false}, {.path = "/Volumes/B", .hasFlags = false}}});
    const auto system = MountedVolumes::current();
    EXPECT_FALSE(system->attachment("/Volumes/A"));
    const auto none = system->attachment("/Volumes/B");
    ASSERT_TRUE(none);
    EXPECT_FALSE(none->isLocal || none->isRemovable || none->isInternal);
}

TEST(MacMountedVolumes, MakeTheListOfVolumes) {
    Fakes::reset();
    const TemporaryFolder folder;
    Fakes::setMounted({.volumes = {{.path = folder.folder("disk10"), .isLocal = false},
                                   {.path = folder.folder("disk9"), .isRemovable = true},
                                   {.path = folder.at("gone")}}});
    const auto volumes = VolumeList::all();
    ASSERT_EQ(volumes.size(), 2U);
    EXPECT_EQ(volumes[0].mountPoint, folder.at("disk9"));
    EXPECT_TRUE(volumes[0].isLocal && volumes[0].isRemovable);
    EXPECT_EQ(volumes[1].mountPoint, folder.at("disk10"));
    EXPECT_FALSE(volumes[1].isLocal);
    EXPECT_FALSE(volumes[1].fsType.empty());
}

}  // namespace
}  // namespace varnel
