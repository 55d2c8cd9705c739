// SPDX-License-Identifier: MIT
#include "core/scan/VolumeIdentity.h"

#ifndef __linux__
#error "This source is for Linux."
#endif

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/sysmacros.h>

#include <cstdint>
#include <cstring>
#include <optional>
#include <string>

#include "core/base/FileDescriptor.h"
#include "platform/linux/BlockDevices.h"
#include "platform/linux/MountTable.h"

namespace varnel {
namespace {

/// The kernel's count of media, of the disk or of the one that it is a partition of; 0 where there is none.
std::uint64_t mediumIn(unsigned major, unsigned minor) {
    if (major == 0) return 0;  // no block device
    return BlockDevices::diskSequence(makedev(major, minor)).value_or(0);
}

std::optional<struct statx> askFor(int descriptor, unsigned mask, int flags) {
    struct statx answer {};
    if (::statx(descriptor, "", AT_EMPTY_PATH | AT_NO_AUTOMOUNT | flags, STATX_TYPE | mask, &answer) != 0)
        return std::nullopt;
    return answer;
}

std::int32_t deviceOf(const struct statx& facts) {
    return static_cast<std::int32_t>(makedev(facts.stx_dev_major, facts.stx_dev_minor));
}

}  // namespace

std::optional<VolumeIdentity> VolumeIdentity::of(const std::string& folder) {
    const FileDescriptor descriptor(::open(folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (!descriptor.isOpen()) return std::nullopt;
    return of(descriptor.get());
}

std::optional<VolumeIdentity> VolumeIdentity::of(int descriptor) {
    VolumeIdentity identity;
    if (const auto facts = askFor(descriptor, MountTable::uniqueMountMask, AT_STATX_DONT_SYNC)) {
        if ((facts->stx_mask & MountTable::uniqueMountMask) != 0) {
            identity.device = deviceOf(*facts);
            identity.uniqueMount = facts->stx_mnt_id;
            return identity;
        }
    }
    // What follows asks the driver: one outside the kernel numbers its root 1 until the first time that it is asked.
    const auto facts = askFor(descriptor, STATX_MNT_ID | STATX_INO | STATX_BTIME, 0);
    if (!facts) return std::nullopt;
    identity.device = deviceOf(*facts);
    if ((facts->stx_mask & STATX_MNT_ID) != 0) identity.mount = facts->stx_mnt_id;
    // A folder inside says nothing of its volume: it may be made anew, and drivers that keep no numbers give it another
    // one whenever they have forgotten it.
    if ((facts->stx_attributes & STATX_ATTR_MOUNT_ROOT) != 0) {
        identity.rootInode = facts->stx_ino;
        if ((facts->stx_mask & STATX_BTIME) != 0) {
            identity.born = facts->stx_btime.tv_sec;
            identity.bornNanoseconds = facts->stx_btime.tv_nsec;
        }
    }
    identity.medium = mediumIn(facts->stx_dev_major, facts->stx_dev_minor);
    struct statfs system {};
    if (::fstatfs(descriptor, &system) != 0) return std::nullopt;
    static_assert(sizeof system.f_fsid == sizeof identity.fileSystem);
    std::memcpy(&identity.fileSystem, &system.f_fsid, sizeof identity.fileSystem);
    // What lies on a block device keeps its size; what does not, as a share or a pool, has the size of the moment.
    if (facts->stx_dev_major != 0) identity.blocks = system.f_blocks;
    return identity;
}

}  // namespace varnel
