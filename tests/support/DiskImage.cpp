// SPDX-License-Identifier: MIT
#include "tests/support/DiskImage.h"

#include <algorithm>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/support/PrivateMounts.h"

namespace varnel::tests {
namespace {

/// Loop devices free themselves once nothing uses them; a free one may be somebody else's a moment later.
const std::string throughLoop = "L=$(" + patiently("losetup -f --show \"$IMAGE\"") + ") && ";
const std::string letGo = "; S=$?; losetup -d $L; exit $S";

std::string environment(const std::string& image, const std::string& place) {
    return "PATH=$PATH:/sbin:/usr/sbin; export PATH; IMAGE='" + image + "'; PLACE='" + place + "'; ";
}

}  // namespace

std::string DiskKind::missing() const {
    const std::string program = make.substr(0, make.find(' '));
    if (!hasProgram(program)) return program;
    if (name == "exfat" && !hasProgram("mount.exfat-fuse")) return "mount.exfat-fuse";
    if (name == "ntfs" && !hasProgram("ntfs-3g")) return "ntfs-3g";
    return {};
}

const std::vector<DiskKind>& diskKinds() {
    static const std::vector<DiskKind> kinds = {
        {"ext4", "mkfs.ext4 -q -F \"$IMAGE\"", throughLoop + "mount -t ext4 $L \"$PLACE\"" + letGo},
        {"xfs", "mkfs.xfs -q -f \"$IMAGE\"", throughLoop + "mount -t xfs $L \"$PLACE\"" + letGo},
        {"btrfs", "mkfs.btrfs -q -f \"$IMAGE\"", throughLoop + "mount -t btrfs $L \"$PLACE\"" + letGo},
        {"exfat", "mkfs.exfat \"$IMAGE\"", throughLoop + "mount.exfat-fuse $L \"$PLACE\"" + letGo, false, true, true},
        {"ntfs", "mkntfs -F -Q -q \"$IMAGE\"", throughLoop + "ntfs-3g $L \"$PLACE\"" + letGo, false, false, true},
        {"tmpfs", "true", "mount -t tmpfs t \"$PLACE\""},
    };
    return kinds;
}

const DiskKind& diskKind(const std::string& name) {
    const auto& kinds = diskKinds();
    const auto found =
        std::find_if(kinds.begin(), kinds.end(), [&](const DiskKind& kind) { return kind.name == name; });
    if (found == kinds.end()) throw std::runtime_error("no kind of disk is called " + name);
    return *found;
}

void mountDisk(const DiskKind& kind, const std::string& image, const std::string& place) {
    shell(environment(image, place) + "rm -f \"$IMAGE\"; truncate -s 320M \"$IMAGE\" && " + kind.make);
    mountAgain(kind, image, place);
}

void mountAgain(const DiskKind& kind, const std::string& image, const std::string& place) {
    shell(environment(image, place) + kind.mount);
}

void unmountDisk(const std::string& place) {
    // Whoever looks at a disk, as a watcher does, is in the way for a moment; who holds it is in the way for good.
    shell(environment("", place) +
          "for try in $(seq 50); do umount \"$PLACE\" 2>/dev/null && exit; sleep 0.1; done; umount \"$PLACE\"");
}

}  // namespace varnel::tests
