// SPDX-License-Identifier: MIT
//
// What macOS's calls are asked for, and what is made of their answers: the sources that are Darwin's calls alone.
#include "core/scan/VolumeIdentity.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cstring>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "core/base/FileDescriptor.h"
#include "core/scan/FSInfo.h"
#include "tests/macos/darwin/Calls.h"
#include "tests/support/TemporaryFolder.h"

namespace varnel {
namespace {

using tests::TemporaryFolder;

constexpr std::uint32_t local = 0x1000;

struct MountedVolume {
    std::int32_t device = 1;
    std::uint32_t flags = local;
    std::string type = "exfat";
    std::uint64_t blocks = 1000;
    std::array<std::uint64_t, 2> uuid = {3, 4};
    time_t born = 7;
};
std::map<std::string, MountedVolume> mounted;  // by mount point

/// The mount that holds a path.
const std::pair<const std::string, MountedVolume>* holding(const std::string& path) {
    for (const auto& mount : mounted) {
        if (path == mount.first || path.starts_with(mount.first + '/')) return &mount;
    }
    return nullptr;
}

std::string pathOf(int descriptor) {
    std::array<char, PATH_MAX> path{};
    const auto length = ::readlink(("/proc/self/fd/" + std::to_string(descriptor)).c_str(), path.data(), path.size());
    return {path.data(), static_cast<std::size_t>(std::max<ssize_t>(length, 0))};
}

}  // namespace
}  // namespace varnel

// NOLINTBEGIN(misc-use-internal-linkage): called by what is tested

int DarwinStat(const char* path, struct DarwinStat* answer) {
    const auto* const mount = varnel::holding(path);
    if (mount == nullptr || !std::filesystem::exists(path)) return -1;
    // The folders of a server are numbered anew whenever it likes.
    static std::uint64_t inode = 100;
    const mode_t kind = std::filesystem::is_directory(path) ? S_IFDIR : S_IFREG;
    *answer = {mount->second.device, ++inode, kind, {path == mount->first ? mount->second.born : 99, 0}};
    return 0;
}

int darwinFstat(int descriptor, struct DarwinStat* answer) {
    return DarwinStat(varnel::pathOf(descriptor).c_str(), answer);
}

int DarwinStatfs(const char* path, struct DarwinStatfs* answer) {
    const auto* const mount = varnel::holding(path);
    if (mount == nullptr) return -1;
    answer->f_blocks = mount->second.blocks;
    answer->f_flags = mount->second.flags;
    mount->second.type.copy(answer->f_fstypename, sizeof answer->f_fstypename - 1);
    mount->first.copy(answer->f_mntonname, sizeof answer->f_mntonname - 1);
    return 0;
}

int darwinFstatfs(int descriptor, struct DarwinStatfs* answer) {
    return DarwinStatfs(varnel::pathOf(descriptor).c_str(), answer);
}

int getattrlist(const char* path, void* wanted, void* answer, std::size_t size, unsigned options) {
    const auto* const list = static_cast<const attrlist*>(wanted);
    const auto found = varnel::mounted.find(path);  // of a volume's root alone
    if (found == varnel::mounted.end() || list->bitmapcount != 5 || list->volattr != 0x80040000 || options != 0 ||
        size != 20 || found->second.uuid[0] == 0) {
        return -1;
    }
    const std::uint32_t length = 20;
    std::memcpy(answer, &length, sizeof length);
    std::memcpy(static_cast<char*>(answer) + sizeof length, found->second.uuid.data(), sizeof found->second.uuid);
    return 0;
}

// NOLINTEND(misc-use-internal-linkage)

namespace varnel {
namespace {

/// One volume, and a folder on it.
struct DarwinVolume {
    TemporaryFolder tree;
    std::string root = tree.folder("v");
    std::string below = tree.folder("v/a/b");
    MountedVolume& volume = (mounted.clear(), mounted[root]);

    std::optional<VolumeIdentity> identity() const { return VolumeIdentity::of(root); }
};

TEST(DarwinVolumeIdentity, IsTheSameForEachOfItsFolders) {
    for (const std::uint32_t flags : {local, 0U}) {
        const DarwinVolume card;
        card.volume.flags = flags;
        ASSERT_TRUE(card.identity());
        EXPECT_EQ(VolumeIdentity::of(card.below), card.identity()) << flags;
        const FileDescriptor below(::open(card.below.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        ASSERT_TRUE(below.isOpen());
        EXPECT_EQ(VolumeIdentity::of(below.get()), card.identity()) << flags;
        EXPECT_EQ(card.identity()->device, 1);
    }
}

TEST(DarwinVolumeIdentity, TellsAnotherCardInTheSameReader) {
    for (const auto change : {+[](MountedVolume& v) { v.device = 2; },
                              +[](MountedVolume& v) {
                                  v.uuid = {3, 5};
                              },
                              +[](MountedVolume& v) {
                                  v.uuid = {0, 0};
                              },
                              +[](MountedVolume& v) { v.blocks = 999; }, +[](MountedVolume& v) { v.born = 8; }}) {
        const DarwinVolume card;
        const auto first = card.identity();
        ASSERT_TRUE(first);
        change(card.volume);
        EXPECT_NE(card.identity(), first);
    }
}

TEST(DarwinVolumeIdentity, OfAShareIsItsMountWhateverItsServerTells) {
    const DarwinVolume share;
    share.volume.flags = 0;
    const auto first = share.identity();
    share.volume = {.device = 1, .flags = 0, .type = "smbfs", .blocks = 5, .uuid = {0, 0}, .born = 1};
    EXPECT_EQ(share.identity(), first) << "its server has more room now";
    share.volume.device = 2;
    EXPECT_NE(share.identity(), first) << "mounted again";
}

TEST(DarwinVolumeIdentity, IsNoneWhereTheVolumeCannotBeAsked) {
    const DarwinVolume card;
    EXPECT_EQ(VolumeIdentity::of(card.tree.path()), std::nullopt) << "on no volume";
    EXPECT_EQ(VolumeIdentity::of(card.root + "/none"), std::nullopt);
    EXPECT_EQ(VolumeIdentity::of(card.tree.file("v/file")), std::nullopt) << "no folder";
}

TEST(DarwinFileSystemType, IsWhatTheSystemCallsIt) {
    const DarwinVolume card;
    EXPECT_EQ(FSInfo::type(card.below), "exfat");
    card.volume.type = "HFS";
    EXPECT_EQ(FSInfo::type(card.root), "HFS");
    EXPECT_EQ(FSInfo::type("/no/such/path"), std::nullopt);
}

}  // namespace
}  // namespace varnel
