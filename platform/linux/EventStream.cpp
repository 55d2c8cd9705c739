// SPDX-License-Identifier: MIT
//
// The stream over the whole system is the sum of the volumes that are to be watched: it follows them as they come and
// go, each on a thread of its own, and hands on what they report.
#include "core/watcher/EventStream.h"

#ifndef __linux__
#error "This source is for Linux."
#endif

#include <chrono>
#include <cmath>
#include <ctime>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "core/base/SerialQueue.h"
#include "core/base/Shortage.h"
#include "core/volumes/Volume.h"
#include "core/watcher/MountNotifications.h"
#include "platform/linux/EventBatcher.h"
#include "platform/linux/MountTable.h"
#include "platform/linux/WatchJob.h"
#include "platform/linux/WatchThread.h"

namespace varnel {
namespace {

using std::chrono::steady_clock;

/// How long the start waits for the volumes to be watched. What a slower one misses until then it finds by itself.
constexpr std::chrono::seconds longestStart{5};

std::chrono::milliseconds milliseconds(double seconds) {
    return std::chrono::milliseconds(std::isfinite(seconds) && seconds > 0 ? std::llround(seconds * 1000) : 0);
}

/// The threads that watch, one for each folder. Touched by whoever learns of a mount.
class WatchThreads {
public:
    WatchThreads(std::function<std::vector<std::string>()> roots, std::shared_ptr<EventBatcher> events,
                 std::function<void(const std::string&)> onProblem)
        : roots_(std::move(roots)), events_(std::move(events)), onProblem_(std::move(onProblem)) {}

    /// Begins to watch what is there.
    void begin() {
        const std::lock_guard lock(mutex_);
        followLocked(timeNow(), /*isLate=*/false);
    }

    /// Begins to watch what is new, ends what is gone or is another volume by now.
    void follow() {
        // The system's word of a mount comes a little later than the mount, and later still where the last word was
        // being worked off: then it may have been mounted since the volumes were last asked for.
        const timespec since = justBefore(timeNow());
        const std::lock_guard lock(mutex_);
        const bool wasIdle = std::tie(workedOff_.tv_sec, workedOff_.tv_nsec) < std::tie(since.tv_sec, since.tv_nsec);
        followLocked(wasIdle ? since : asked_, /*isLate=*/true);
    }

    void waitUntilReady(steady_clock::time_point deadline) {
        const std::lock_guard lock(mutex_);
        for (const auto& [root, watched] : threads_)
            watched.thread->waitUntilReady(deadline);
    }

    void end() {
        const std::lock_guard lock(mutex_);
        isEnded_ = true;
        // All of them first, so that those that take their time take it together.
        for (const auto& [root, watched] : threads_)
            watched.thread->stop();
        threads_.clear();
    }

private:
    struct Watched {
        std::optional<MountTable::Occupant> mount;
        std::unique_ptr<WatchThread> thread;
    };

    /// What is new is reported since `since`; where that is late, it may have been there since then.
    void followLocked(timespec since, bool isLate) {
        if (isEnded_) return;
        asked_ = timeNow();
        std::map<std::string, std::optional<MountTable::Occupant>> wanted;
        for (const std::string& root : roots_())
            wanted[root] = MountTable::occupantOf(root);
        std::erase_if(threads_, [&](const auto& entry) {
            const auto& [root, watched] = entry;
            const auto found = wanted.find(root);
            return found == wanted.end() || found->second != watched.mount || watched.thread->hasEnded();
        });
        for (const auto& [root, mount] : wanted) {
            if (threads_.contains(root)) continue;
            auto job = std::make_unique<WatchJob>();
            job->root = root;
            job->begun = since;
            job->isLate = isLate;
            job->events = events_;
            job->onProblem = onProblem_;
            threads_[root] = {mount, std::make_unique<WatchThread>(std::move(job))};
        }
        workedOff_ = timeNow();
    }

    const std::function<std::vector<std::string>()> roots_;
    const std::shared_ptr<EventBatcher> events_;
    const std::function<void(const std::string&)> onProblem_;
    std::mutex mutex_;
    std::map<std::string, Watched> threads_;
    timespec asked_{};      // when the volumes were last asked for
    timespec workedOff_{};  // when that was worked off
    bool isEnded_ = false;
};

class VolumesStream final : public EventStream {
public:
    VolumesStream(EventStreamRequest request, std::function<std::vector<std::string>()> roots,
                  std::shared_ptr<MountNotifications> mounts, std::function<void(const std::string&)> onProblem)
        : events_(std::make_shared<EventBatcher>(std::move(request.deliver), milliseconds(request.latency))),
          threads_(std::make_shared<WatchThreads>(std::move(roots), events_, onProblem)),
          mounts_(std::move(mounts)),
          onProblem_(std::move(onProblem)) {}

    ~VolumesStream() final { stop(); }
    VolumesStream(const VolumesStream&) = delete;
    VolumesStream& operator=(const VolumesStream&) = delete;

    void setQueue(std::shared_ptr<SerialQueue> queue) final { queue_ = std::move(queue); }

    bool start() final {
        if (!queue_) return false;
        // Volumes that come later would go unwatched without a word.
        if (!mounts_->canHear() || !events_->begin(queue_)) {
            onProblem_(std::string("cannot watch: ") + shortageText);
            return false;
        }
        for (const auto kind : {MountNotifications::Kind::didMount, MountNotifications::Kind::didUnmount}) {
            tokens_.push_back(mounts_->add(kind, [weak = std::weak_ptr(threads_)] {
                if (const auto threads = weak.lock()) threads->follow();
            }));
        }
        threads_->begin();
        threads_->waitUntilReady(steady_clock::now() + longestStart);
        return true;
    }

    void stop() final {
        for (const MountNotifications::Token token : std::exchange(tokens_, {}))
            mounts_->remove(token);
        threads_->end();
        events_->end();
    }

    void invalidate() final { queue_.reset(); }

private:
    std::shared_ptr<EventBatcher> events_;
    std::shared_ptr<WatchThreads> threads_;
    std::shared_ptr<MountNotifications> mounts_;
    std::function<void(const std::string&)> onProblem_;
    std::shared_ptr<SerialQueue> queue_;
    std::vector<MountNotifications::Token> tokens_;
};

}  // namespace

EventStreamFactory EventStreams::ofSystem(std::function<std::vector<Volume>()> volumes,
                                          std::shared_ptr<MountNotifications> mounts,
                                          std::function<void(const std::string&)> onProblem) {
    return [volumes = std::move(volumes), mounts = std::move(mounts),
            onProblem = std::move(onProblem)](EventStreamRequest request) -> std::unique_ptr<EventStream> {
        const bool isWholeSystem = request.paths == std::vector<std::string>{"/"};
        std::function<std::vector<std::string>()> roots = [paths = request.paths] { return paths; };
        if (isWholeSystem) {
            roots = [volumes] {
                std::vector<std::string> mountPoints;
                for (const Volume& volume : volumes())
                    mountPoints.push_back(volume.mountPoint);
                return mountPoints;
            };
        }
        return std::make_unique<VolumesStream>(std::move(request), std::move(roots), mounts, onProblem);
    };
}

}  // namespace varnel
