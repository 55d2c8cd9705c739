// SPDX-License-Identifier: MIT
//
// The live cleaner. One event stream over the whole system brings batches of paths; what is litter on a target volume
// is removed at once. Where events were lost, or a batch is too long to be worked off path by path, whole volumes are
// swept a little later with the ordinary scan and removal.
//
// Everything runs on the watcher's own serial queue, which is its only lock. Work that waits there holds the watcher
// weakly. Only the counters are read from elsewhere.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "core/base/SerialQueue.h"
#include "core/log/Log.h"
#include "core/rules/ActiveRules.h"
#include "core/rules/RuleSet.h"
#include "core/scan/VolumeIdentity.h"
#include "core/volumes/Volume.h"
#include "core/watcher/EventStream.h"
#include "core/watcher/LiveRemover.h"
#include "core/watcher/LoopGuard.h"
#include "core/watcher/MountNotifications.h"

namespace varnel {

/// What the watcher needs of the system.
struct WatcherPorts {
    std::shared_ptr<SerialQueue> queue;
    EventStreamFactory createStream;
    std::shared_ptr<MountNotifications> mounts;
    std::function<std::vector<Volume>()> targets;  ///< The volumes to watch, asked at the start and at every mount.
    std::function<double()> now;                   ///< Seconds since 1970.
};

class Watcher : public std::enable_shared_from_this<Watcher> {
public:
    /// Counters since the watcher was made; never reset.
    struct Stats {
        std::int64_t deleted = 0;
        std::int64_t batches = 0;
        std::int64_t dropRecoveries = 0;   ///< Batches that reported lost events.
        std::int64_t loopsSuppressed = 0;  ///< Paths that the loop guard gave up on.
    };

    static constexpr std::int64_t maxDeletesPerBatch = 5000;

    /// `latency` in seconds; `log` may be null. Starts nothing.
    static std::shared_ptr<Watcher> create(RuleSet rules, double latency, std::shared_ptr<Log> log, WatcherPorts ports);

    /// Stops as stop() does. May run on the queue itself, when work there was the last owner.
    ~Watcher();
    Watcher(const Watcher&) = delete;
    Watcher& operator=(const Watcher&) = delete;

    /// Begins to watch, soon; nothing where it does already.
    void start();
    /// Ends watching and returns when the stream is gone. A sweep that was asked for still takes place. Must not be
    /// called from the watcher's queue.
    void stop();
    /// Reads the target volumes anew, soon.
    void refreshVolumes();
    /// Sweeps every target volume, soon, in their order, with the live rules.
    void sweepNow();

    /// May lag a moment behind. Safe from any thread.
    Stats stats() const;
    bool isRunning() const { return isRunning_; }

    /// Called on the watcher's queue with each path that was removed live. Set before start().
    std::function<void(const std::string& path)> onDelete;

private:
    Watcher(RuleSet rules, double latency, std::shared_ptr<Log> log, WatcherPorts ports);

    void assertOnQueue() const;
    void async(std::function<void(Watcher&)> work);
    void write(const std::string& message) const;

    void startLocked();
    void refreshVolumesLocked();
    bool identifyLocked(const std::string& mountPoint);
    void takeLateAnswerLocked(const std::string& mountPoint, const std::optional<VolumeIdentity>& answer);
    bool postponeLocked(const std::string& mountPoint);
    void startStreamLocked();
    void observeMountsLocked();
    void stopLocked();

    void handle(std::span<const std::string> paths, std::span<const std::uint32_t> flags, std::int64_t count);
    void handleSingle(const std::string& path, LiveRemover& remover);

    void scheduleRecoverySweep();
    void recoverLocked();
    void sweepLocked(const std::string& root, const char* tag);

    RuleSet rules_;
    ActiveRules active_;
    std::shared_ptr<Log> log_;
    double latency_;
    WatcherPorts ports_;
    std::shared_ptr<SerialQueue> queue_;

    /// A volume that did not say in time which one it is.
    struct LateAnswer {
        bool mayBeOfAnother = false;  // something was mounted or unmounted since it was asked
        bool isMissed = false;        // what happened on the volume meanwhile was left undone
    };

    // Of the queue.
    std::unique_ptr<EventStream> stream_;
    std::vector<Volume> volumes_;
    VolumeIdentities identities_;             // of volumes_
    std::map<std::string, LateAnswer> late_;  // by mount point, while the answer is awaited
    LoopGuard guard_;
    std::set<std::string> pendingSweep_;
    std::shared_ptr<CancellableWork> sweepWork_;
    std::vector<MountNotifications::Token> observerTokens_;

    // Read from everywhere.
    std::atomic<bool> isRunning_{false};
    std::atomic<std::int64_t> deleted_{0};
    std::atomic<std::int64_t> batches_{0};
    std::atomic<std::int64_t> dropRecoveries_{0};
    std::atomic<std::int64_t> loopsSuppressed_{0};
};

}  // namespace varnel
