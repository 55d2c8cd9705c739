// SPDX-License-Identifier: MIT
//
// All that is said here is of the volume, so that each of its folders has the same identity. The system's own number of
// a mounted volume is its device and type over again, and tells two cards apart no better than the device. The UUID
// that the volume carries does, or that the driver makes of a card's serial number.
#include "core/scan/VolumeIdentity.h"

#if !__has_include(<CoreServices/CoreServices.h>)
#error "This source is for macOS."
#endif

#include <sys/attr.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>  // getattrlist()

#include <array>
#include <cstdint>
#include <optional>
#include <string>

namespace varnel {
namespace {

struct VolumeAnswer {
    std::uint32_t length;
    std::array<std::uint32_t, 4> uuid;
};

/// The UUID of the volume that is mounted at a path, folded to half its length; 0 where it carries none.
std::uint64_t uuidOf(const char* mountPoint) {
    attrlist wanted{};
    wanted.bitmapcount = ATTR_BIT_MAP_COUNT;
    wanted.volattr = ATTR_VOL_INFO | ATTR_VOL_UUID;
    VolumeAnswer answer{};
    if (::getattrlist(mountPoint, &wanted, &answer, sizeof answer, 0) != 0) return 0;
    const auto& [a, b, c, d] = answer.uuid;
    return std::uint64_t{a ^ c} << 32U | (b ^ d);
}

std::optional<VolumeIdentity> identityFrom(const struct stat& status, const struct statfs& system) {
    VolumeIdentity identity;
    identity.device = status.st_dev;
    // What lies on no disk of this machine gets another device number with every mount. What its server tells of it,
    // sizes and numbers of folders, may change while it stays.
    if ((system.f_flags & MNT_LOCAL) == 0) return identity;
    struct stat root {};
    if (::stat(system.f_mntonname, &root) != 0) return std::nullopt;
    identity.fileSystem = uuidOf(system.f_mntonname);
    identity.blocks = system.f_blocks;
    identity.born = root.st_birthtimespec.tv_sec;
    return identity;
}

}  // namespace

// By its path: opening it would ask the person for consent, and keep the volume in use.
std::optional<VolumeIdentity> VolumeIdentity::of(const std::string& folder) {
    struct stat status {};
    struct statfs system {};
    if (::stat(folder.c_str(), &status) != 0 || !S_ISDIR(status.st_mode)) return std::nullopt;
    if (::statfs(folder.c_str(), &system) != 0) return std::nullopt;
    return identityFrom(status, system);
}

std::optional<VolumeIdentity> VolumeIdentity::of(int descriptor) {
    struct stat status {};
    struct statfs system {};
    if (::fstat(descriptor, &status) != 0 || ::fstatfs(descriptor, &system) != 0) return std::nullopt;
    return identityFrom(status, system);
}

}  // namespace varnel
