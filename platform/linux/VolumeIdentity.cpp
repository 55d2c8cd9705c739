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
#include <fstream>
#include <optional>
#include <string>

#include "core/base/FileDescriptor.h"

namespace varnel {
namespace {

constexpr unsigned uniqueMountMask = 0x4000;  // STATX_MNT_ID_UNIQUE, kernel 6.8; Debian 12's headers are older

/// The kernel's count of media, of the disk or of the one that it is a partition of.
std::uint64_t mediumIn(unsigned major, unsigned minor) {
    if (major == 0) return 0;  // no block device
    const std::string device = "/sys/dev/block/" + std::to_string(major) + ':' + std::to_string(minor);
    for (const char* place : {"/diskseq", "/../diskseq"}) {
        std::ifstream file(device + place);
        std::uint64_t sequence = 0;
        if (file >> sequence) return sequence;
    }
    return 0;
}

}  // namespace

std::optional<VolumeIdentity> VolumeIdentity::of(const std::string& folder) {
    const FileDescriptor descriptor(::open(folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (!descriptor.isOpen()) return std::nullopt;
    return of(descriptor.get());
}

std::optional<VolumeIdentity> VolumeIdentity::of(int descriptor) {
    struct statx answer {};
    constexpr unsigned mask = STATX_TYPE | STATX_INO | STATX_BTIME | STATX_MNT_ID | uniqueMountMask;
    if (::statx(descriptor, "", AT_EMPTY_PATH | AT_NO_AUTOMOUNT | AT_STATX_DONT_SYNC, mask, &answer) != 0)
        return std::nullopt;
    VolumeIdentity identity;
    identity.device = static_cast<std::int32_t>(makedev(answer.stx_dev_major, answer.stx_dev_minor));
    if ((answer.stx_mask & uniqueMountMask) != 0) {
        identity.uniqueMount = answer.stx_mnt_id;
        // The root of a mount is always the same folder. A driver outside the kernel numbers it 1 until the first time
        // it is asked about it, and asking might wait for a dead server.
        const bool isMountRoot = (answer.stx_attributes & STATX_ATTR_MOUNT_ROOT) != 0;
        if (!isMountRoot) identity.rootInode = answer.stx_ino;
        return identity;
    }
    // What follows asks the driver anyway.
    struct statx asked {};
    if (::statx(descriptor, "", AT_EMPTY_PATH | AT_NO_AUTOMOUNT, STATX_INO, &asked) != 0) return std::nullopt;
    identity.rootInode = asked.stx_ino;
    if ((answer.stx_mask & STATX_MNT_ID) != 0) identity.mount = answer.stx_mnt_id;
    if ((answer.stx_mask & STATX_BTIME) != 0) {
        identity.born = answer.stx_btime.tv_sec;
        identity.bornNanoseconds = answer.stx_btime.tv_nsec;
    }
    identity.medium = mediumIn(answer.stx_dev_major, answer.stx_dev_minor);
    struct statfs system {};
    if (::fstatfs(descriptor, &system) != 0) return std::nullopt;
    static_assert(sizeof system.f_fsid == sizeof identity.fileSystem);
    std::memcpy(&identity.fileSystem, &system.f_fsid, sizeof identity.fileSystem);
    // What lies on a block device keeps its size; what does not, as a share or a pool, has the size of the moment.
    if (answer.stx_dev_major != 0) identity.blocks = system.f_blocks;
    return identity;
}

}  // namespace varnel
