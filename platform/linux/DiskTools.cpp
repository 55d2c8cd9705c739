// SPDX-License-Identifier: MIT
//
// To eject means: unmount everything on the disk, then power its drive off if that can be done, else eject the medium,
// else (a loop device) let go of the file behind it. UDisks2 does each step, with the rights of the person at the
// machine; the order and what must never be touched is decided here, by the kernel's own mount table.
#include "core/disk/DiskTools.h"

#ifndef __linux__
#error "This source is for Linux."
#endif

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "core/base/Process.h"
#include "core/scan/PathGuard.h"
#include "platform/linux/BlockDevices.h"
#include "platform/linux/MountTable.h"
#include "platform/linux/UDisks.h"

namespace varnel {
namespace {

using MountTable::Mount;

constexpr const char* umountProgram = "/bin/umount";
constexpr unsigned loopMajor = 7;

/// What has nothing to say leaves the word to the tool that is tried next.
ProgramResult failure(std::string message = "") {
    return {1, std::move(message)};
}

/// The number of the block device at a path; none where there is no such device.
std::optional<std::uint64_t> deviceNumber(const std::string& path) {
    struct stat facts {};
    if (::stat(path.c_str(), &facts) != 0 || !S_ISBLK(facts.st_mode)) return std::nullopt;
    return facts.st_rdev;
}

std::optional<std::uint64_t> deviceNumber(const Mount& mount) {
    // Other sources may be names of servers, and must not be taken for paths.
    return mount.source.starts_with("/dev/") ? deviceNumber(mount.source) : std::nullopt;
}

/// Whether a loop device has let go of its file, as one does by itself where it was made that way.
bool isFreeLoop(std::uint64_t number) {
    if (major(number) != loopMajor) return false;
    std::error_code error;
    return !std::filesystem::exists(BlockDevices::folderOf(number) + "/loop/backing_file", error);
}

/// Where the devices are mounted now; none where that cannot be found out.
std::optional<std::vector<std::string>> mountPointsOf(const std::set<std::uint64_t>& devices) {
    const auto table = MountTable::read();
    if (!table) return std::nullopt;
    std::vector<std::string> places;
    for (const Mount& mount : *table) {
        const auto number = deviceNumber(mount);
        if (number && devices.contains(*number)) places.push_back(mount.mountPoint);
    }
    // The kernel may call the device below "/" by a name that no device has.
    struct stat facts {};
    if (::stat("/", &facts) == 0 && devices.contains(facts.st_dev)) places.emplace_back("/");
    return places;
}

/// A whole disk on its way out.
class Ejection {
public:
    Ejection(const UDisks& udisks, const UDisks::Disks& disks, const UDisks::Block& block, std::string name)
        : udisks_(udisks), name_(std::move(name)), whole_(disks.wholeDisk(block)), parts_(disks.partsOf(whole_)) {
        sequence_ = BlockDevices::diskSequence(whole_.number);
        const auto drive = disks.drives.find(whole_.drive);
        if (drive != disks.drives.end()) drive_ = drive->second;
    }

    ProgramResult run(bool force) const {
        // First of all, so that nothing is unmounted in vain.
        if (!drive_.canPowerOff && !drive_.isEjectable && !whole_.isLoop) {
            return failure(name_ + " is on a drive that can neither be powered off nor ejected");
        }
        if (const auto reason = whyKept()) return failure(*reason);
        for (const UDisks::Block* const part : parts_) {
            if (ProgramResult unmounted = unmount(*part, force); !unmounted.succeeded()) return unmounted;
        }
        for (const UDisks::Block* const part : parts_) {
            if (part->encrypted.empty()) continue;
            if (ProgramResult locked = udisks_.lock(part->encrypted); !locked.succeeded()) return locked;
        }
        return detach();
    }

private:
    /// Why nobody should take this disk away, or none.
    std::optional<std::string> whyKept() const {
        std::set<std::uint64_t> devices;
        for (const UDisks::Block* const part : parts_)
            devices.merge(BlockDevices::madeOf(part->number));
        const auto places = mountPointsOf(devices);
        if (!places) return "the mount table cannot be read";
        const auto kept = std::find_if(places->begin(), places->end(), PathGuard::isForbiddenPlace);
        if (kept == places->end()) return std::nullopt;
        return name_ + " is on a drive that the system uses: " + *kept;
    }

    /// Unmounts one part wherever it is mounted. What UDisks2 says of that is not asked: it may not have heard yet.
    ProgramResult unmount(const UDisks::Block& part, bool force) const {
        const auto before = mountPointsOf({part.number});
        if (!before) return failure("the mount table cannot be read");
        for (std::size_t count = 0; count < before->size(); ++count) {
            if (ProgramResult unmounted = udisks_.unmount(part, force); !unmounted.succeeded()) return unmounted;
        }
        // A disk must not go that is in use, and a loop device would be deleted without a word.
        const auto after = mountPointsOf({part.number});
        if (!after) return failure("the mount table cannot be read");
        return after->empty() ? ProgramResult{0, ""} : failure(name_ + " is still mounted: " + after->front());
    }

    ProgramResult detach() const {
        if (!whole_.isLoop) {
            ProgramResult off = failure();
            if (drive_.canPowerOff) off = udisks_.powerOff(whole_.drive);
            // A reader with several slots stays on while another one is in use.
            if (off.succeeded() || !drive_.isEjectable) return off;
            ProgramResult ejected = udisks_.ejectMedium(whole_.drive);
            return ejected.succeeded() || off.output.empty() ? ejected : off;
        }
        if (isGone()) return {0, ""};
        ProgramResult deleted = udisks_.deleteLoop(whole_);
        return isGone() ? ProgramResult{0, ""} : deleted;
    }

    /// A loop device may let go of its file once it is unmounted, and have another one at once.
    bool isGone() const { return isFreeLoop(whole_.number) || BlockDevices::diskSequence(whole_.number) != sequence_; }

    const UDisks& udisks_;
    std::string name_;  ///< As people are told it.
    const UDisks::Block& whole_;
    std::vector<const UDisks::Block*> parts_;
    UDisks::Drive drive_;
    std::optional<std::uint64_t> sequence_;
};

/// The volume that the tools are used for: it is looked up once, because after its unmounting its path leads to
/// another.
struct MountedVolume {
    std::string mountPoint;
    std::string device;  ///< Empty where there is none below it.
    std::optional<std::uint64_t> sequence;
    std::optional<MountTable::Occupant> occupant;

    bool isMounted() const { return MountTable::occupantOf(mountPoint) == occupant; }

    static std::optional<MountedVolume> at(const std::string& path) {
        const auto id = MountTable::mountOf(path);
        const auto table = id ? MountTable::read() : std::nullopt;
        const Mount* const mount = table ? MountTable::find(*table, *id) : nullptr;
        if (mount == nullptr) return std::nullopt;
        MountedVolume volume{mount->mountPoint, "", std::nullopt, MountTable::occupantOf(mount->mountPoint)};
        if (const auto number = deviceNumber(*mount)) {
            volume.device = mount->source;
            volume.sequence = BlockDevices::diskSequence(*number);
        }
        return volume;
    }
};

class LinuxDiskTools final : public DiskTools {
public:
    std::optional<std::string> deviceIdentifier(const std::string& path) final {
        const auto& volume = volumeAt(path);
        if (!volume || volume->device.empty()) return std::nullopt;
        return volume->device;
    }

    ProgramResult eject(const std::string& target, bool force) final {
        const auto number = deviceNumber(target);
        const bool isThere = number && !isFreeLoop(*number) && !isAnotherDisk(target, *number);
        if (!isThere && !disk_) return number ? ProgramResult{0, ""} : ejectWithoutDevice(target);
        const auto udisks = UDisks::connect();
        if (!udisks) return udisks.error();
        const auto disks = udisks->disks();
        if (!disks) return disks.error();
        const UDisks::Block* const block = isThere ? disks->withNumber(*number) : rest(*disks);
        if (block == nullptr && !isThere) return {0, ""};
        if (block == nullptr) return failure("UDisks2 does not know " + target);
        const std::uint64_t whole = disks->wholeDisk(*block).number;
        disk_ = {whole, BlockDevices::diskSequence(whole)};
        return Ejection(*udisks, *disks, *block, target).run(force);
    }

    ProgramResult unmount(const std::string& path, bool force) final {
        const auto& volume = volumeAt(path);
        if (!volume) return failure();
        if (!volume->isMounted()) return {0, ""};
        if (PathGuard::isForbiddenPlace(volume->mountPoint)) return refusal(*volume);
        const auto number = deviceNumber(volume->device);
        if (!number) return failure();
        const auto places = mountPointsOf({*number});
        // UDisks2 would choose one of them.
        if (!places || places->size() > 1) return failure(volume->device + " is mounted at more than one place");
        const auto udisks = UDisks::connect();
        if (!udisks) return udisks.error();
        const auto disks = udisks->disks();
        if (!disks) return disks.error();
        const UDisks::Block* const block = disks->withNumber(*number);
        if (block == nullptr) return failure("UDisks2 does not know " + volume->device);
        ProgramResult unmounted = udisks->unmount(*block, force);
        return unmounted.succeeded() && volume->isMounted() ? failure() : unmounted;
    }

    ProgramResult unmountPlainly(const std::string& path, bool force) final {
        const auto& volume = volumeAt(path);
        // For "/" the kernel's answer would be to make it read-only.
        if (volume && PathGuard::isForbiddenPlace(volume->mountPoint)) return refusal(*volume);
        std::vector<std::string> words = {volume ? volume->mountPoint : path};
        if (force) words.insert(words.begin(), "-f");
        return runProgram(umountProgram, words);
    }

private:
    const std::optional<MountedVolume>& volumeAt(const std::string& path) {
        if (!volume_) volume_ = MountedVolume::at(path);
        return volume_;
    }

    /// Whether the disk left since it was looked up, and another one has its name.
    bool isAnotherDisk(const std::string& target, std::uint64_t number) const {
        return volume_ && volume_->device == target && volume_->sequence != BlockDevices::diskSequence(number);
    }

    /// What is left of the disk where its device was locked by the first try; null where it is all gone.
    const UDisks::Block* rest(const UDisks::Disks& disks) const {
        if (!disk_ || isFreeLoop(disk_->number) || BlockDevices::diskSequence(disk_->number) != disk_->sequence)
            return nullptr;
        return disks.withNumber(disk_->number);
    }

    static ProgramResult refusal(const MountedVolume& volume) {
        return failure(volume.mountPoint + " is a protected system path.");
    }

    /// A share, a volume in memory, or a device that left with its volume: once unmounted there is nothing to detach.
    ProgramResult ejectWithoutDevice(const std::string& target) const {
        if (volume_ && !volume_->isMounted()) return {0, ""};
        std::error_code error;
        if (!volume_ && !std::filesystem::exists(target, error))
            return failure(std::generic_category().message(ENOENT));
        return failure();
    }

    /// The whole disk that was tried to be ejected, for its volume's device may be gone before it.
    struct WholeDisk {
        std::uint64_t number = 0;
        std::optional<std::uint64_t> sequence;
    };

    std::optional<MountedVolume> volume_;
    std::optional<WholeDisk> disk_;
};

}  // namespace

std::unique_ptr<DiskTools> DiskTools::ofSystem() {
    return std::make_unique<LinuxDiskTools>();
}

}  // namespace varnel
