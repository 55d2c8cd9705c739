// SPDX-License-Identifier: MIT
//
// An event names its folder by handle. The handle is turned into a path through a descriptor of the mount, which is
// held only while a buffer is read: a volume with an open descriptor cannot be ejected, while a mark is no obstacle.
#include "platform/linux/FanotifyWatch.h"

#ifndef __linux__
#error "This source is for Linux."
#endif

#include <fcntl.h>
#include <sys/fanotify.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <expected>
#include <map>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "core/base/FileDescriptor.h"
#include "core/base/Path.h"
#include "core/scan/Directory.h"
#include "platform/linux/EventRecords.h"
#include "platform/linux/StopSignal.h"
#include "platform/linux/WatchJob.h"

namespace varnel::FanotifyWatch {
namespace {

using EventRecords::FanotifyRecord;

constexpr std::uint64_t interest = FAN_CREATE | FAN_MOVED_TO | FAN_MODIFY | FAN_CLOSE_WRITE | FAN_ONDIR;
constexpr std::size_t bufferSize = std::size_t{256} * 1024;
constexpr std::string_view deletedMark = " (deleted)";

/// The folders of one buffer's events, each looked up once.
class Folders {
public:
    explicit Folders(const std::string& root)
        : root_(root), mount_(::open(root.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NONBLOCK)) {
        if (!mount_.isOpen()) {
            physicalRoot_ = std::unexpected(errno);
        } else {
            physicalRoot_ = Directory::physicalPath(mount_.get());
        }
    }

    /// Where the folder is now, below the root as that is named; an error that means gone also where it lies elsewhere.
    const std::expected<std::string, int>& path(std::span<const std::byte> handle) {
        const std::string key(reinterpret_cast<const char*>(handle.data()), handle.size());
        const auto [found, isNew] = paths_.try_emplace(key);
        if (isNew) found->second = lookUp(key);
        return found->second;
    }

private:
    std::expected<std::string, int> lookUp(const std::string& key) const {
        if (!physicalRoot_) return physicalRoot_;
        // The handle must be aligned, and the call may write to it.
        std::vector<std::uint64_t> aligned((key.size() + sizeof(std::uint64_t) - 1) / sizeof(std::uint64_t));
        std::memcpy(aligned.data(), key.data(), key.size());
        auto* const handle = reinterpret_cast<file_handle*>(aligned.data());
        const FileDescriptor folder(
            ::open_by_handle_at(mount_.get(), handle, O_PATH | O_DIRECTORY | O_CLOEXEC | O_NOFOLLOW));
        if (!folder.isOpen()) return std::unexpected(errno);
        const auto path = Directory::physicalPath(folder.get());
        if (!path) return path;
        struct stat facts {};
        // The mark is only text, and a name may end like it.
        if (path->ends_with(deletedMark) && ::fstat(folder.get(), &facts) == 0 && facts.st_nlink == 0) {
            return std::unexpected(ENOENT);
        }
        // The mark covers the file system, which may be mounted elsewhere too, and of which this may be a part.
        if (!Path::isAtOrBelow(*path, *physicalRoot_)) return std::unexpected(ENOENT);
        if (path->size() == physicalRoot_->size()) return root_;
        // The way to the root may lead through a link.
        const std::string_view below = std::string_view(*path).substr(physicalRoot_->size());
        return Path::joined(root_, below.substr(below.starts_with('/') ? 1 : 0));
    }

    const std::string& root_;
    FileDescriptor mount_;
    std::expected<std::string, int> physicalRoot_;
    std::map<std::string, std::expected<std::string, int>> paths_;
};

/// Whether a handle can be turned into a path here, which takes a right of its own, by the example of the root.
bool canFindFolders(const std::string& root) {
    std::array<std::uint64_t, (sizeof(file_handle) + MAX_HANDLE_SZ) / sizeof(std::uint64_t)> room{};
    auto* const handle = reinterpret_cast<file_handle*>(room.data());
    handle->handle_bytes = MAX_HANDLE_SZ;
    int mount = 0;
    if (::name_to_handle_at(AT_FDCWD, root.c_str(), handle, &mount, AT_SYMLINK_FOLLOW) != 0) return false;
    const auto bytes = std::as_bytes(std::span(room)).first(sizeof(file_handle) + handle->handle_bytes);
    return Folders(root).path(bytes).has_value();
}

/// Tells of the end of the volume, with which the mark goes without a word. One watch of another kind does, and is no
/// more of an obstacle.
class VolumeEnd {
public:
    explicit VolumeEnd(const std::string& root) : inotify_(::inotify_init1(IN_CLOEXEC | IN_NONBLOCK)) {
        ::inotify_add_watch(inotify_.get(), root.c_str(), IN_UNMOUNT | IN_ONLYDIR);
    }

    int descriptor() const { return inotify_.get(); }
    bool hasCome() const {
        inotify_event event{};
        return ::read(inotify_.get(), &event, sizeof event) > 0;
    }

private:
    FileDescriptor inotify_;
};

/// Whether the mark took so long that the start no longer waits for it. A server may take its time.
bool tookLong(const WatchJob& job) {
    return timeNow().tv_sec - job.begun.tv_sec > 1;
}

class Reading {
public:
    explicit Reading(const WatchJob& job) : job_(job), buffer_(bufferSize) {}

    /// Reads everything that is there; false where the kernel has no more to give.
    bool drain(int group) {
        Folders folders(job_.root);
        std::vector<std::string> movedIn;
        while (!job_.stop.isRaised()) {
            const ssize_t got = ::read(group, buffer_.data(), buffer_.size());
            if (got < 0 && errno == EINTR) continue;
            if (got < 0 && errno == EAGAIN) break;
            if (got <= 0) return false;
            const auto bytes = std::as_bytes(std::span(buffer_)).first(static_cast<std::size_t>(got));
            EventRecords::forEachFanotify(bytes,
                                          [&](const FanotifyRecord& record) { report(record, folders, movedIn); });
        }
        // What a folder brings along may come from a part of the file system that nobody watched.
        for (const std::string& folder : movedIn)
            reportContents(job_, folder);
        return true;
    }

private:
    void report(const FanotifyRecord& record, Folders& folders, std::vector<std::string>& movedIn) {
        if ((record.mask & FAN_Q_OVERFLOW) != 0) {
            job_.events->addLost(job_.root);
            return;
        }
        if (record.folder.empty() || record.name.empty()) return;
        const auto& folder = folders.path(record.folder);
        if (!folder) {
            if (!meansGone(folder.error())) job_.events->addLost(job_.root);
            return;
        }
        std::string path = record.name == "." ? *folder : Path::joined(*folder, record.name);
        if (path == job_.root) return;
        const bool isMovedFolder = (record.mask & FAN_ONDIR) != 0 && (record.mask & FAN_MOVED_TO) != 0;
        if (isMovedFolder) movedIn.push_back(path);
        job_.events->add(job_.root, std::move(path));
    }

    const WatchJob& job_;
    std::vector<char> buffer_;
};

}  // namespace

WatchEnd run(const WatchJob& job) {
    const VolumeEnd end(job.root);  // before the mark: where the volume changes in between, it is noticed
    const FileDescriptor group(
        ::fanotify_init(FAN_CLASS_NOTIF | FAN_REPORT_DFID_NAME | FAN_CLOEXEC | FAN_NONBLOCK, O_RDONLY | O_CLOEXEC));
    if (!group.isOpen()) return WatchEnd::refused;
    if (::fanotify_mark(group.get(), FAN_MARK_ADD | FAN_MARK_FILESYSTEM, interest, AT_FDCWD, job.root.c_str()) != 0) {
        return WatchEnd::refused;
    }
    if (!canFindFolders(job.root)) return WatchEnd::refused;
    if (job.isLate || tookLong(job)) reportWhatChanged(job);
    job.onReady();
    Reading reading(job);
    while (waitUnlessStopped(group.get(), end.descriptor(), job.stop)) {
        if (!reading.drain(group.get())) {
            job.events->addLost(job.root);
            return WatchEnd::refused;
        }
        if (end.hasCome()) return WatchEnd::unmounted;
    }
    return WatchEnd::over;
}

}  // namespace varnel::FanotifyWatch
