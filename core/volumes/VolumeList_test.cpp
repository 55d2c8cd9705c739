// SPDX-License-Identifier: MIT
#include "core/volumes/VolumeList.h"

#include <gtest/gtest.h>

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace varnel {
namespace {

/// A machine of the test's own.
class Machine final : public MountedVolumes {
public:
    std::optional<std::vector<std::string>> visible() const final { return mounts; }
    std::optional<std::vector<std::string>> namesInVolumes() const final { return names; }
    std::optional<std::string> type(const std::string& path) const final {
        const auto found = types.find(path);
        return found == types.end() ? std::nullopt : std::optional<std::string>(found->second);
    }
    std::optional<Attachment> attachment(const std::string& path) const final {
        const auto found = attachments.find(path);
        return found == attachments.end() ? std::nullopt : std::optional<Attachment>(found->second);
    }

    std::optional<std::vector<std::string>> mounts = std::vector<std::string>();
    std::optional<std::vector<std::string>> names = std::vector<std::string>();
    std::map<std::string, std::string> types;
    std::map<std::string, Attachment> attachments;
};

std::vector<std::string> mountPoints(const std::vector<Volume>& volumes) {
    std::vector<std::string> result;
    for (const Volume& volume : volumes)
        result.push_back(volume.mountPoint);
    return result;
}

using Texts = std::vector<std::string>;

TEST(VolumeListAll, GathersBothSourcesAndListsEachOnce) {
    Machine machine;
    machine.mounts = Texts{"/", "/Volumes/USB", "/Volumes/USB/"};
    machine.names = Texts{".", "..", ".hidden", "USB", "Data"};
    machine.types = {
        {"/", "apfs"}, {"/Volumes/USB", "exfat"}, {"/Volumes/Data", "apfs"}, {"/Volumes/.hidden", "exfat"}};
    EXPECT_EQ(mountPoints(VolumeList::all(machine)), (Texts{"/", "/Volumes/Data", "/Volumes/USB"}));
}

TEST(VolumeListAll, GoesOnWithoutASourceThatDoesNotAnswer) {
    Machine machine;
    machine.types = {{"/Volumes/A", "exfat"}, {"/Volumes/B", "exfat"}};
    machine.mounts = std::nullopt;
    machine.names = Texts{"A"};
    EXPECT_EQ(mountPoints(VolumeList::all(machine)), Texts{"/Volumes/A"});
    machine.mounts = Texts{"/Volumes/B"};
    machine.names = std::nullopt;
    EXPECT_EQ(mountPoints(VolumeList::all(machine)), Texts{"/Volumes/B"});
    machine.mounts = std::nullopt;
    EXPECT_TRUE(VolumeList::all(machine).empty());
}

TEST(VolumeListAll, DropsWhatHasNoFileSystem) {
    Machine machine;
    machine.mounts = Texts{"/Volumes/Gone", "/Volumes/There"};
    machine.types = {{"/Volumes/There", "ntfs"}};
    EXPECT_EQ(mountPoints(VolumeList::all(machine)), Texts{"/Volumes/There"});
}

TEST(VolumeListAll, TakesDefaultsForWhatTheSystemDoesNotSay) {
    Machine machine;
    machine.mounts = Texts{"/Volumes/1", "/Volumes/2", "/Volumes/3"};
    machine.types = {{"/Volumes/1", "a"}, {"/Volumes/2", "b"}, {"/Volumes/3", "c"}};
    machine.attachments["/Volumes/2"] = {};
    machine.attachments["/Volumes/3"] = {.isLocal = false, .isRemovable = true, .isInternal = true};
    const std::vector<Volume> expected = {{"/Volumes/1", "a", true, false, false},
                                          {"/Volumes/2", "b", true, false, false},
                                          {"/Volumes/3", "c", false, true, true}};
    EXPECT_EQ(VolumeList::all(machine), expected);
}

TEST(VolumeListAll, SortsLikeAFileBrowser) {
    Machine machine;
    machine.names = Texts{"disk10", "Beta", "disk9", "alpha"};
    for (const std::string& name : *machine.names)
        machine.types["/Volumes/" + name] = "exfat";
    EXPECT_EQ(mountPoints(VolumeList::all(machine)),
              (Texts{"/Volumes/alpha", "/Volumes/Beta", "/Volumes/disk9", "/Volumes/disk10"}));
}

TEST(VolumeListTargets, LeaveOutTheMacFormatsAndNothingElse) {
    Machine machine;
    machine.names = Texts{"a", "b", "c", "d", "e"};
    machine.types = {{"/Volumes/a", "apfs"},
                     {"/Volumes/b", "HFS"},
                     {"/Volumes/c", "hfsx"},
                     {"/Volumes/d", "smbfs"},
                     {"/Volumes/e", "exfat"}};
    machine.attachments["/Volumes/d"] = {.isLocal = false, .isRemovable = std::nullopt, .isInternal = std::nullopt};
    EXPECT_EQ(mountPoints(VolumeList::targets(machine)), (Texts{"/Volumes/d", "/Volumes/e"}));
}

TEST(VolumeListVolume, FindsTheLongestMountPointThatHoldsThePath) {
    const auto volume = [](const char* mountPoint) { return Volume{mountPoint, "exfat", true, false, false}; };
    const std::vector<Volume> volumes = {volume("/"), volume("/Volumes/USB"), volume("/Volumes/USB2"),
                                         volume("/Volumes/USB/inner"), volume("/Volumes/\u00e9\u00e9\u00e9")};
    const struct {
        std::string path;
        const Volume* expected;
    } cases[] = {
        {"/Volumes/USB/DCIM/x.jpg", &volumes[1]},
        {"/Volumes/USB", &volumes[1]},
        {"/Volumes/USB/", &volumes[1]},
        {"/Volumes/USB2/x", &volumes[2]},
        {"/Volumes/USB/inner/x", &volumes[3]},
        {"/Volumes/USB/./inner/../x", &volumes[1]},
        {"/Volumes/USB/\u0301x", &volumes[1]},
        {"/Users/me/file", nullptr},
        {"/", &volumes[0]},
        {"/Volumes/usb/x", nullptr},
    };
    for (const auto& c : cases)
        EXPECT_EQ(VolumeList::volume(c.path, volumes), c.expected) << c.path;
    EXPECT_EQ(VolumeList::volume("/x", {}), nullptr);
}

TEST(VolumeListVolume, TakesTheEarliestOfEqualLengths) {
    const std::vector<Volume> volumes = {{"/Volumes/A", "exfat", true, false, false},
                                         {"/Volumes/A", "ntfs", true, false, false}};
    EXPECT_EQ(VolumeList::volume("/Volumes/A/x", volumes), &volumes[0]);
}

}  // namespace
}  // namespace varnel
