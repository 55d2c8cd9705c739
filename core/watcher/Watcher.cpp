// SPDX-License-Identifier: MIT
#include "core/watcher/Watcher.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "core/base/BoundedWait.h"
#include "core/base/Checked.h"
#include "core/base/DoubleText.h"
#include "core/log/Log.h"
#include "core/rules/RuleScope.h"
#include "core/rules/RuleSet.h"
#include "core/scan/VolumeIdentity.h"
#include "core/volumes/Volume.h"
#include "core/watcher/EventStream.h"
#include "core/watcher/LiveRemover.h"
#include "core/watcher/MountNotifications.h"

namespace varnel {
namespace {

constexpr const char* everything = "/";

/// How long a volume may take to say which one it is. A dead one must not hold up the others.
constexpr std::chrono::seconds longestAnswer{2};

/// What a volume says of itself, and who came first: the answer, or the end of the wait for it.
struct Question {
    std::optional<VolumeIdentity> answer;
    std::atomic<bool> isDecided{false};
};

}  // namespace

std::shared_ptr<Watcher> Watcher::create(RuleSet rules, double latency, std::shared_ptr<Log> log, WatcherPorts ports) {
    return std::shared_ptr<Watcher>(new Watcher(std::move(rules), latency, std::move(log), std::move(ports)));
}

Watcher::Watcher(RuleSet rules, double latency, std::shared_ptr<Log> log, WatcherPorts ports)
    : rules_(std::move(rules)),
      active_(rules_, RuleScope::watcher),
      log_(std::move(log)),
      latency_(latency),
      ports_(std::move(ports)),
      queue_(ports_.queue) {}

Watcher::~Watcher() {
    // The last owner may have been a piece of work on the queue, which must not wait for itself.
    if (queue_->isCurrent()) {
        stopLocked();
    } else {
        queue_->sync([this] { stopLocked(); });
    }
}

void Watcher::start() {
    async([](Watcher& self) { self.startLocked(); });
}

void Watcher::stop() {
    queue_->sync([this] { stopLocked(); });
}

void Watcher::refreshVolumes() {
    async([](Watcher& self) { self.refreshVolumesLocked(); });
}

void Watcher::sweepNow() {
    async([](Watcher& self) {
        const std::vector<Volume> volumes = self.volumes_;
        for (const Volume& volume : volumes)
            self.sweepLocked(volume.mountPoint, "SWEEP ");
    });
}

Watcher::Stats Watcher::stats() const {
    return {.deleted = deleted_,
            .batches = batches_,
            .dropRecoveries = dropRecoveries_,
            .loopsSuppressed = loopsSuppressed_};
}

void Watcher::assertOnQueue() const {
    if (!queue_->isCurrent()) trap("the watcher was touched off its queue");
}

void Watcher::async(std::function<void(Watcher&)> work) {
    queue_->async([weak = weak_from_this(), work = std::move(work)] {
        if (const auto self = weak.lock()) work(*self);
    });
}

void Watcher::write(const std::string& message) const {
    if (log_) log_->write(message);
}

void Watcher::startLocked() {
    assertOnQueue();
    if (stream_) return;
    refreshVolumesLocked();
    startStreamLocked();
    observeMountsLocked();
    // A volume that came while the stream was started, before anybody listened, is told of by nobody.
    refreshVolumesLocked();
}

void Watcher::refreshVolumesLocked() {
    volumes_ = ports_.targets();
    const VolumeIdentities before = std::exchange(identities_, {});
    for (const Volume& volume : volumes_) {
        const std::string& mountPoint = volume.mountPoint;
        const auto awaited = late_.find(mountPoint);
        if (awaited != late_.end()) awaited->second.mayBeOfAnother = true;
        if (awaited == late_.end() && identifyLocked(mountPoint)) continue;
        // Whoever removes anything there asks again.
        if (const auto known = before.find(mountPoint); known != before.end()) identities_.insert(*known);
    }
}

/// Asks a volume which one it is; false where it does not say in time. Then its answer is taken whenever it comes.
bool Watcher::identifyLocked(const std::string& mountPoint) {
    const auto question = std::make_shared<Question>();
    const bool hasEnded = BoundedWait::run(
        [mountPoint, question, queue = std::weak_ptr(queue_), weak = weak_from_this()] {
            question->answer = VolumeIdentity::of(mountPoint);
            if (!question->isDecided.exchange(true)) return;
            const auto late = queue.lock();
            if (!late) return;
            late->async([mountPoint, question, weak] {
                if (const auto self = weak.lock()) self->takeLateAnswerLocked(mountPoint, question->answer);
            });
        },
        longestAnswer);
    if (!hasEnded && !question->isDecided.exchange(true)) {
        late_[mountPoint] = {};
        return false;
    }
    if (const auto& answer = question->answer) identities_[mountPoint] = *answer;
    return true;
}

void Watcher::takeLateAnswerLocked(const std::string& mountPoint, const std::optional<VolumeIdentity>& answer) {
    assertOnQueue();
    const LateAnswer late = late_.extract(mountPoint).mapped();
    const bool isStillThere = std::any_of(volumes_.begin(), volumes_.end(), [&mountPoint](const Volume& volume) {
        return volume.mountPoint == mountPoint;
    });
    if (!isStillThere) return;
    if (late.mayBeOfAnother) {
        if (!identifyLocked(mountPoint)) late_[mountPoint].isMissed = late.isMissed;
    } else if (answer) {
        identities_[mountPoint] = *answer;
    }
    if (!late.isMissed || !identities_.contains(mountPoint)) return;
    pendingSweep_.insert(mountPoint);
    scheduleRecoverySweep();
}

/// Leaves what was to be done on a volume for later, because it has not said yet which one it is; false where it can be
/// done now. Also noted where the volume was known before, for it may have been exchanged.
bool Watcher::postponeLocked(const std::string& mountPoint) {
    const auto awaited = late_.find(mountPoint);
    if (awaited == late_.end()) return false;
    awaited->second.isMissed = true;
    return !identities_.contains(mountPoint);
}

void Watcher::startStreamLocked() {
    if (stream_) return;
    EventStreamRequest request;
    // The stream does not own the watcher: stopping, which the watcher's end does as well, is the end of the stream.
    request.deliver = [this](std::span<const std::string> paths, std::span<const std::uint32_t> flags,
                             std::int64_t count) { handle(paths, flags, count); };
    request.paths = {everything};
    request.latency = latency_;
    std::unique_ptr<EventStream> stream = ports_.createStream(std::move(request));
    if (!stream) {
        write("ERROR could not create FSEvents stream");
        return;
    }
    stream->setQueue(queue_);
    if (!stream->start()) {
        stream->invalidate();
        stream.reset();
        write("ERROR could not start FSEvents stream");
        return;
    }
    stream_ = std::move(stream);
    isRunning_ = true;
    write("WATCH started latency=" + DoubleText::text(latency_) + "s volumes=" + std::to_string(volumes_.size()));
}

void Watcher::observeMountsLocked() {
    if (!observerTokens_.empty()) return;
    for (const auto kind : {MountNotifications::Kind::didMount, MountNotifications::Kind::didUnmount}) {
        // Nothing is owned on the notifying thread: the last owner of a watcher must not be found there.
        observerTokens_.push_back(ports_.mounts->add(kind, [queue = queue_, weak = weak_from_this()] {
            queue->async([weak] {
                if (const auto self = weak.lock()) self->refreshVolumesLocked();
            });
        }));
    }
}

void Watcher::stopLocked() {
    if (stream_) {
        stream_->stop();
        stream_->invalidate();
        stream_.reset();
        isRunning_ = false;
        write("WATCH stopped");
    }
    for (const MountNotifications::Token token : observerTokens_)
        ports_.mounts->remove(token);
    observerTokens_.clear();
}

}  // namespace varnel
