// SPDX-License-Identifier: MIT
#include "platform/linux/InotifyWatch.h"

#ifndef __linux__
#error "This source is for Linux."
#endif

#include <fcntl.h>
#include <poll.h>
#include <sys/inotify.h>
#include <sys/types.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <expected>
#include <fstream>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "core/base/FileDescriptor.h"
#include "core/base/Path.h"
#include "core/scan/Directory.h"
#include "core/scan/Walker.h"
#include "platform/linux/EventRecords.h"
#include "platform/linux/MountTable.h"
#include "platform/linux/StopSignal.h"
#include "platform/linux/WatchJob.h"
#include "platform/linux/WatchedFolders.h"

namespace varnel::InotifyWatch {
namespace {

using EventRecords::InotifyRecord;

/// MODIFY and CLOSE_WRITE as well, because a network file system may report a new file by nothing else.
constexpr std::uint32_t interest = IN_CREATE | IN_MOVED_TO | IN_MODIFY | IN_CLOSE_WRITE | IN_MOVED_FROM |
                                   IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR | IN_DONT_FOLLOW | IN_EXCL_UNLINK;

/// A name has up to 765 bytes on some file systems; one record must fit whatever its length.
constexpr std::size_t bufferSize = std::size_t{64} * 1024;

std::string limitText() {
    std::ifstream file("/proc/sys/fs/inotify/max_user_watches");
    std::string limit;
    return file >> limit ? " (now " + limit + ")" : "";
}

/// A walk begins by path. Where that is too long, it begins at a folder further up.
std::string walkable(std::string folder) {
    while (folder.size() >= PATH_MAX)
        folder = Path::withoutLastComponent(folder);
    return folder;
}

class Watch {
public:
    explicit Watch(const WatchJob& job)
        : job_(job), buffer_(bufferSize), mountTable_(::open("/proc/self/mountinfo", O_RDONLY | O_CLOEXEC)) {}

    WatchEnd run() {
        if (auto inner = innerMounts()) inner_ = *std::move(inner);
        if (!begin(Report::whatChanged)) return WatchEnd::over;
        job_.onReady();
        while (!isOver_) {
            std::array<pollfd, 2> either = {{{inotify_.get(), POLLIN, 0}, {mountTable_.get(), POLLPRI, 0}}};
            if (!waitUnlessStopped(either, job_.stop)) break;
            drain();
            if (hasOverflown_ && !isOver_ && !beginAnew()) return WatchEnd::over;
            if (either[1].revents != 0 && !isOver_) uncover();
        }
        return end_;
    }

private:
    enum class Report : std::uint8_t {
        nothing,
        whatChanged,  ///< What lies in folders that changed since the job began.
        everything,
    };

    bool begin(Report report) {
        inotify_.reset();  // first, for it may be the last that the system grants
        inotify_ = FileDescriptor(::inotify_init1(IN_CLOEXEC | IN_NONBLOCK));
        if (!inotify_.isOpen()) {
            const int error = errno;
            job_.onProblem("cannot watch " + job_.root + ": " + std::generic_category().message(error) +
                           (error == EMFILE ? "; fs.inotify.max_user_instances limits the programs that watch" : ""));
            job_.events->addLost(job_.root);
            return false;
        }
        isAtLimit_ = false;
        const int root = watch(job_.root);
        if (root < 0) return false;
        folders_.reset(root, job_.root);
        watchBelow(job_.root, report);
        return true;
    }

    /// Which folders were made, moved and removed meanwhile, nobody can tell. The folders are found anew, and what they
    /// hold is left to a sweep.
    bool beginAnew() {
        hasOverflown_ = false;
        const bool hasBegun = begin(Report::nothing);
        job_.events->addLost(job_.root);
        return hasBegun;
    }

    /// Where something is mounted below the root; none where that cannot be asked. The table has no links in its paths,
    /// the way to the root may.
    std::optional<std::set<std::string>> innerMounts() const {
        const auto root = Directory::openRoot(job_.root, Directory::Links::follow, Directory::Purpose::lookUp);
        const auto physicalRoot = root ? Directory::physicalPath(root->get()) : std::unexpected(root.error());
        const auto places = MountTable::places();
        if (!physicalRoot || !places) return std::nullopt;
        std::set<std::string> inner;
        for (const auto& [id, mountPoint] : places->all) {
            if (mountPoint.size() <= physicalRoot->size() || !Path::isAtOrBelow(mountPoint, *physicalRoot)) continue;
            const std::string_view below = std::string_view(mountPoint).substr(physicalRoot->size());
            inner.insert(Path::joined(job_.root, below.substr(below.starts_with('/') ? 1 : 0)));
        }
        return inner;
    }

    /// What a mount inside the root had hidden is part of it again when that is unmounted.
    void uncover() {
        auto now = innerMounts();
        if (!now) return;
        for (const std::string& folder : inner_) {
            if (now->contains(folder)) continue;
            const int parent = folders_.watchOf(Path::withoutLastComponent(folder));
            if (parent < 0) continue;
            const int watch = this->watch(folder);
            if (watch >= 0 && folders_.add(watch, parent, Path::lastComponent(folder))) {
                watchBelow(folder, Report::whatChanged);
            }
        }
        inner_ = *std::move(now);
    }

    /// Watches one folder; negative where the system refuses.
    int watch(const std::string& path) {
        const auto watch = tryToWatch(path);
        if (watch) return *watch;
        // The root is not something else by now: it is a link, and those are not followed.
        const bool isLink = path == job_.root && watch.error() == ENOTDIR;
        if (isLink || !meansGone(watch.error())) refused(path, watch.error());
        return -1;
    }

    std::expected<int, int> tryToWatch(const std::string& path) const {
        int watch = ::inotify_add_watch(inotify_.get(), path.c_str(), interest);
        if (watch < 0 && errno == ENAMETOOLONG) {
            const auto folder = openFolder(job_, path, Directory::Purpose::lookUp);
            if (!folder) return std::unexpected(folder.error());
            const std::string link = "/proc/self/fd/" + std::to_string(folder->get());
            watch = ::inotify_add_watch(inotify_.get(), link.c_str(), interest & ~std::uint32_t{IN_DONT_FOLLOW});
        }
        if (watch < 0) return std::unexpected(errno);
        return watch;
    }

    void refused(const std::string& path, int error) {
        job_.events->addLost(job_.root);
        if (error != ENOSPC) {
            job_.onProblem("cannot watch " + path + ": " + std::generic_category().message(error));
            return;
        }
        isAtLimit_ = true;
        if (std::exchange(hasToldLimit_, true)) return;
        job_.onProblem("cannot watch all folders of " + job_.root +
                       ": the system's limit is reached; raise fs.inotify.max_user_watches" + limitText() +
                       ", or have the volume swept (--sweep-every)");
    }

    /// Watches every folder below one that is watched.
    void watchBelow(const std::string& top, Report report) {
        const auto wants = [&](const std::string& folder) {
            return report == Report::whatChanged && hasChanged(job_, folder);
        };
        std::vector<std::string> changed;
        if (wants(top)) changed.push_back(top);
        // What lies in one folder is visited in one go, so the folder need not be looked up for each.
        std::string above;
        int parent = -1;
        const auto onError = [&](std::string problem) {
            if (!isAboutSomethingThere(problem)) return;  // what is gone by now needs no watching
            job_.onProblem(std::move(problem) + "; what appears there is not seen");
            job_.events->addLost(job_.root);
        };
        Walker::walk(
            walkable(top), onError,
            [&](const WalkEntry& entry) {
                if (report == Report::everything) job_.events->add(job_.root, entry.path);
                if (!entry.isDirectory || job_.stop.isRaised()) return false;
                if (isAtLimit_) return report == Report::everything;
                const std::string_view folder = Path::withoutLastComponent(entry.path);
                if (folder != above) {
                    above = folder;
                    parent = folders_.watchOf(folder);
                }
                const int watch = this->watch(entry.path);
                if (watch < 0) return isAtLimit_ && report == Report::everything;
                folders_.add(watch, parent, entry.name);
                if (wants(entry.path)) changed.push_back(entry.path);
                return true;
            },
            [&](std::string_view) { return report != Report::everything; });
        for (const std::string& folder : changed)
            reportEntries(job_, folder);
    }

    void drain() {
        // What comes after the queue ran over is left to the sweep.
        while (!hasOverflown_ && !job_.stop.isRaised()) {
            const ssize_t got = ::read(inotify_.get(), buffer_.data(), buffer_.size());
            if (got < 0 && errno == EINTR) continue;
            if (got <= 0) return;
            const auto bytes = std::as_bytes(std::span(buffer_)).first(static_cast<std::size_t>(got));
            EventRecords::forEachInotify(bytes, [this](const InotifyRecord& record) { handle(record); });
        }
    }

    void handle(const InotifyRecord& record) {
        if ((record.mask & IN_Q_OVERFLOW) != 0) {
            hasOverflown_ = true;
            job_.events->addLost(job_.root);
            return;
        }
        if (isOver_ || !folders_.contains(record.watch)) return;
        const bool isRoot = folders_.isRoot(record.watch);
        if (isRoot && (record.mask & (IN_IGNORED | IN_UNMOUNT | IN_DELETE_SELF | IN_MOVE_SELF)) != 0) {
            isOver_ = true;
            // A volume that is unmounted is nobody's loss; a folder that is gone is news.
            if ((record.mask & (IN_DELETE_SELF | IN_MOVE_SELF)) != 0) {
                job_.onProblem(job_.root + " is gone; it is not watched until the watch is started anew");
            } else {
                end_ = WatchEnd::unmounted;
            }
            return;
        }
        if ((record.mask & IN_IGNORED) != 0) {
            folders_.remove(record.watch);
            return;
        }
        if (record.name.empty()) return;
        const bool isFolder = (record.mask & IN_ISDIR) != 0;
        const auto folder = folders_.path(record.watch);
        if (!folder) {
            job_.events->addLost(job_.root);
            return;
        }
        if ((record.mask & IN_MOVED_FROM) != 0) {
            if (!isFolder) return;
            for (const int gone : folders_.removeBelow(record.watch, record.name))
                ::inotify_rm_watch(inotify_.get(), gone);
            // By now another may be there: two folders may change places, and the listing of a folder runs ahead.
            enter(Path::joined(*folder, record.name), record);
            return;
        }
        std::string path = Path::joined(*folder, record.name);
        if (isFolder && (record.mask & (IN_CREATE | IN_MOVED_TO)) != 0) enter(path, record);
        job_.events->add(job_.root, std::move(path));
    }

    /// A folder that has just appeared.
    void enter(const std::string& path, const InotifyRecord& record) {
        isAtLimit_ = false;  // others may have gone since
        const int watch = this->watch(path);
        if (watch >= 0 && !folders_.add(watch, record.watch, record.name)) return;  // found in a listing already
        if (watch >= 0 || isAtLimit_) watchBelow(path, Report::everything);
    }

    const WatchJob& job_;
    std::vector<char> buffer_;
    const FileDescriptor mountTable_;
    std::set<std::string> inner_;
    FileDescriptor inotify_;
    WatchedFolders folders_;
    bool isAtLimit_ = false;
    bool hasToldLimit_ = false;
    bool hasOverflown_ = false;
    bool isOver_ = false;
    WatchEnd end_ = WatchEnd::over;
};

}  // namespace

WatchEnd run(const WatchJob& job) {
    return Watch(job).run();
}

}  // namespace varnel::InotifyWatch
