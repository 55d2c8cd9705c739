// SPDX-License-Identifier: MIT
//
// The volumes that file managers show: what is mounted where people's disks are mounted, or is marked to be shown, and
// is no file system of the kernel's own.
#include "core/volumes/MountedVolumes.h"

#ifndef __linux__
#error "This source is for Linux."
#endif

#include <dirent.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "core/base/Path.h"
#include "platform/linux/BlockDevices.h"
#include "platform/linux/MountTable.h"

namespace varnel {
namespace {

using MountTable::Mount;

constexpr std::array<std::string_view, 29> kernelTypes = {
    "proc",       "sysfs",         "cgroup",      "cgroup2",         "devtmpfs",    "devpts",
    "mqueue",     "hugetlbfs",     "debugfs",     "tracefs",         "securityfs",  "pstore",
    "bpf",        "fusectl",       "configfs",    "efivarfs",        "binfmt_misc", "autofs",
    "rpc_pipefs", "nsfs",          "selinuxfs",   "ramfs",           "rootfs",      "overlay",
    "squashfs",   "fuse.snapfuse", "fuse.portal", "fuse.gvfsd-fuse", "fuse.lxcfs",
};

constexpr std::array<std::string_view, 17> networkTypes = {
    "nfs",
    "nfs4",
    "cifs",
    "smb3",
    "smbfs",
    "9p",
    "ceph",
    "afs",
    "ncpfs",
    "fuse.sshfs",
    "fuse.davfs2",
    "davfs",
    "fuse.glusterfs",
    "glusterfs",
    "fuse.rclone",
    "fuse.s3fs",
    "fuse.curlftpfs",
};

template <std::size_t Count>
bool isOneOf(const std::array<std::string_view, Count>& list, std::string_view wanted) {
    return std::find(list.begin(), list.end(), wanted) != list.end();
}

std::size_t depth(std::string_view path) {
    return path == "/" ? 0 : static_cast<std::size_t>(std::count(path.begin(), path.end(), '/'));
}

/// Where volumes of people are mounted.
bool isVolumePlace(std::string_view mountPoint) {
    const std::size_t levels = depth(mountPoint);
    if (mountPoint.starts_with("/Volumes/")) return levels == 2;
    if (mountPoint.starts_with("/media/")) return levels == 2 || levels == 3;
    if (mountPoint.starts_with("/run/media/")) return levels == 4;
    return mountPoint == "/mnt" || (mountPoint.starts_with("/mnt/") && levels == 2);
}

bool isVisible(const Mount& mount) {
    if (mount.isHidden || isOneOf(kernelTypes, mount.driver)) return false;
    return mount.isShown || isVolumePlace(mount.mountPoint);
}

/// The device's folder in sysfs, and so its place in the machine; empty for what is no block device.
std::string deviceFolder(const std::string& source) {
    constexpr std::string_view devices = "/dev/";
    if (!source.starts_with(devices)) return {};
    std::error_code error;
    // A mapped or labelled device is a link to the one that sysfs knows.
    const std::filesystem::path device = std::filesystem::canonical(source, error);
    if (error) return {};
    const auto folder = std::filesystem::canonical("/sys/class/block" / device.filename(), error);
    return error ? std::string() : folder.string();
}

/// The attribute of the device, or of the disk that it is a partition of.
std::optional<bool> removableAttribute(const std::string& folder) {
    for (const std::string& place : {folder, std::string(Path::withoutLastComponent(folder))}) {
        std::ifstream file(place + "/removable");
        int value = 0;
        if (file >> value) return value != 0;
    }
    return std::nullopt;
}

bool hasRemovableBus(const std::string& folder) {
    return folder.find("/usb") != std::string::npos || folder.find("/mmc_host/") != std::string::npos ||
           folder.find("/thunderbolt") != std::string::npos || folder.find("/memstick") != std::string::npos;
}

bool isRemovable(const std::string& folder) {
    return removableAttribute(folder).value_or(false) || hasRemovableBus(folder);
}

bool isInternal(const std::string& folder) {
    return folder.find("/devices/virtual/") == std::string::npos && !isRemovable(folder);
}

/// The mount table; where it cannot be read, for want of descriptors, say, as it last was. Without that, a moment of
/// want would be the end of every volume for whoever watches them, and nothing would tell when it has passed.
std::optional<std::vector<Mount>> latestTable() {
    static std::mutex mutex;
    static std::optional<std::vector<Mount>> latest;
    auto table = MountTable::read();
    const std::lock_guard lock(mutex);
    if (table) latest = *std::move(table);
    return latest;
}

class LinuxVolumes final : public MountedVolumes {
public:
    LinuxVolumes() : table_(latestTable()) {}

    std::optional<std::vector<std::string>> visible() const final {
        if (!table_) return std::nullopt;
        std::vector<std::string> mountPoints;
        for (const Mount& mount : *table_) {
            if (isVisible(mount)) mountPoints.push_back(mount.mountPoint);
        }
        return mountPoints;
    }

    std::optional<std::vector<std::string>> namesInVolumes() const final {
        const std::unique_ptr<DIR, int (*)(DIR*)> folder(::opendir("/Volumes"), ::closedir);
        if (!folder) return std::nullopt;
        std::vector<std::string> names;
        while (const dirent* const entry = ::readdir(folder.get()))
            names.emplace_back(entry->d_name);
        return names;
    }

    std::optional<std::string> type(const std::string& path) const final {
        const Mount* const mount = mountAt(path);
        if (mount == nullptr) return std::nullopt;
        return MountTable::typeOf(*mount);
    }

    std::optional<Attachment> attachment(const std::string& path) const final {
        const Mount* const mount = mountAt(path);
        if (mount == nullptr) return std::nullopt;
        Attachment attachment;
        attachment.isLocal = !isOneOf(networkTypes, mount->driver);
        const std::string folder = deviceFolder(mount->source);
        if (folder.empty()) return attachment;
        // A mapped device, as an unlocked one or a logical volume is, can be taken away with the disks below it.
        const auto disks = BlockDevices::foundations(folder);
        attachment.isRemovable = std::all_of(disks.begin(), disks.end(), isRemovable);
        attachment.isInternal = std::any_of(disks.begin(), disks.end(), isInternal);
        return attachment;
    }

private:
    const Mount* mountAt(const std::string& path) const {
        const auto id = table_ ? MountTable::mountOf(path) : std::nullopt;
        return id ? MountTable::find(*table_, *id) : nullptr;
    }

    std::optional<std::vector<Mount>> table_;
};

}  // namespace

std::unique_ptr<MountedVolumes> MountedVolumes::current() {
    return std::make_unique<LinuxVolumes>();
}

}  // namespace varnel
