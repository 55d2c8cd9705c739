// SPDX-License-Identifier: MIT
#include "core/watcher/Watcher.h"

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
#include "core/watcher/MountNotifications.h"

namespace varnel {
namespace {

constexpr const char* everything = "/";

/// How long a volume may take to say which one it is. A dead one must not hold up the others.
constexpr std::chrono::seconds longestAnswer{2};

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
        const auto identity = std::make_shared<std::optional<VolumeIdentity>>();
        const bool hasAnswered =
            BoundedWait::run([mountPoint, identity] { *identity = VolumeIdentity::of(mountPoint); }, longestAnswer);
        if (hasAnswered) {
            if (*identity) identities_[mountPoint] = **identity;
        } else if (const auto known = before.find(mountPoint); known != before.end()) {
            // Whoever removes anything there asks again.
            identities_.insert(*known);
        }
    }
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
