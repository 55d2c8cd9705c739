// SPDX-License-Identifier: MIT
#include <chrono>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "cli/Arguments.h"
#include "cli/Commands.h"
#include "cli/ExitStatus.h"
#include "cli/Interruption.h"
#include "cli/LiveForks.h"
#include "cli/MountEvents.h"
#include "cli/Output.h"
#include "cli/RepeatedSweep.h"
#include "cli/Target.h"
#include "core/base/BoundedWait.h"
#include "core/base/SerialQueue.h"
#include "core/base/Shortage.h"
#include "core/log/Log.h"
#include "core/rules/RuleSet.h"
#include "core/scan/FSInfo.h"
#include "core/volumes/MountedVolumes.h"
#include "core/volumes/Volume.h"
#include "core/volumes/VolumeList.h"
#include "core/watcher/EventStream.h"
#include "core/watcher/MountNotifications.h"
#include "core/watcher/Watcher.h"

namespace varnel::cli {
namespace {

constexpr double latency = 0.25;
constexpr const char* queueLabel = "com.quorin.varnel.watcher";

/// How long the end may take; a sweep on a dead share would hold it for ever.
constexpr std::chrono::seconds longestEnd{5};
constexpr std::chrono::milliseconds lookInterval{50};

double now() {
    return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
}

void say(const std::string& problem) {
    Output::message(Output::shownInMessage(problem));
}

Volume volumeAt(const std::string& path) {
    const auto system = MountedVolumes::current();
    const auto attachment = system->attachment(path).value_or(MountedVolumes::Attachment());
    return {path, FSInfo::type(path).value_or(Volume::unknownType), attachment.isLocal.value_or(true),
            attachment.isRemovable.value_or(false), attachment.isInternal.value_or(false)};
}

/// Why a folder is not watched, or none.
std::optional<std::string> whyRefused(const Volume& volume, bool allowLiveForks) {
    if (Target::isProtected(volume.mountPoint)) return "is a protected system path.";
    if (!allowLiveForks) {
        if (const auto reason = LiveForks::whyKept(volume.mountPoint)) {
            return *reason + "; --allow-live-forks watches it all the same.";
        }
    }
    if (volume.isMacFormat()) {
        return "is on a " + volume.fsType + " volume, a Mac format; such volumes are not watched.";
    }
    if (volume.fsType == Volume::unknownType)
        return "is on a volume whose format cannot be learned; it is not watched.";
    return std::nullopt;
}

/// The folders that were named, as far as they can be watched.
class NamedFolders {
public:
    explicit NamedFolders(const WatchArguments& arguments) {
        for (const std::string& word : arguments.paths)
            take(word, arguments.allowLiveForks);
    }

    ExitStatus status() const { return status_; }
    const std::vector<std::string>& paths() const { return paths_; }

private:
    void take(const std::string& word, bool allowLiveForks) {
        const auto target = Target::path(word);
        if (!target) return refuse(word + ' ' + target.error(), ExitStatus::refused);
        // What is missing is no refusal.
        if (const std::string problem = Target::problem(*target); !problem.empty() && !Target::isProtected(*target)) {
            return refuse(*target + ": " + problem + "; left out until the watch is started anew", ExitStatus::failed);
        }
        if (const auto refusal = whyRefused(volumeAt(*target), allowLiveForks)) {
            return refuse(*target + ' ' + *refusal, ExitStatus::refused);
        }
        paths_.push_back(*target);
    }

    void refuse(const std::string& problem, ExitStatus status) {
        say(problem);
        status_ = graver(status_, status);
    }

    std::vector<std::string> paths_;
    ExitStatus status_ = ExitStatus::done;
};

/// What is to be watched, asked anew whenever volumes come and go: another one may be in the place of a card that was
/// fine, and a server may have begun to share it. Each refusal is told once.
class Targets {
public:
    Targets(std::vector<std::string> paths, bool allowLiveForks)
        : paths_(std::move(paths)), allowLiveForks_(allowLiveForks) {}

    /// Safe from any thread.
    std::vector<Volume> now() {
        std::vector<Volume> volumes = paths_.empty() ? VolumeList::targets() : present();
        std::erase_if(volumes, [&](const Volume& volume) {
            const auto refusal = whyRefused(volume, allowLiveForks_);
            if (refusal) tellOnce(volume.mountPoint + ' ' + *refusal);
            return refusal.has_value();
        });
        return volumes;
    }

private:
    /// The named folders that are there at the moment.
    std::vector<Volume> present() {
        std::vector<Volume> volumes;
        for (const std::string& path : paths_) {
            // Neither asks the server of what is mounted there, which may be dead.
            const bool isMounted = FSInfo::isMountPoint(path);
            if (isMounted) mountPoints_.insert(path);
            if (FSInfo::type(path) && (isMounted || !mountPoints_.contains(path))) {
                volumes.push_back(volumeAt(path));
            } else {
                tellOnce(path + " is not there; it is watched again once something is mounted there");
            }
        }
        return volumes;
    }

    void tellOnce(const std::string& refusal) {
        const std::lock_guard lock(mutex_);
        if (told_.insert(refusal).second) say(refusal);
    }

    const std::vector<std::string> paths_;
    const bool allowLiveForks_;
    std::mutex mutex_;
    std::set<std::string> told_;
    std::set<std::string> mountPoints_;  // of the paths; the folder that an unmounted volume leaves behind is not meant
};

void noteShares(const std::vector<Volume>& volumes, bool isSwept) {
    for (const Volume& volume : volumes) {
        if (volume.isLocal || isSwept) continue;
        say(volume.mountPoint +
            " is a network share: what other computers change there is not reported; --sweep-every sweeps it.");
    }
}

/// Waits until the queue has done what it was given; false where an interruption came first, for a volume may take its
/// time.
bool waitForWork(SerialQueue& queue) {
    const auto done = std::make_shared<std::promise<void>>();
    const auto isDone = done->get_future();
    queue.async([done] { done->set_value(); });
    while (isDone.wait_for(lookInterval) != std::future_status::ready) {
        if (Interruption::isRequested()) return false;
    }
    return true;
}

/// Ends the watcher, and the process where the watcher does not end in time.
void endInTime(const std::shared_ptr<Watcher>& watcher) {
    if (BoundedWait::run([watcher] { watcher->stop(); }, longestEnd)) return;
    say("a sweep is still at work, or a volume does not answer; ended all the same");
    Interruption::leave();
}

}  // namespace

ExitStatus runWatch(const WatchArguments& arguments) {
    Interruption::begin();
    const NamedFolders named(arguments);
    if (!arguments.paths.empty() && named.paths().empty()) return named.status();

    const auto watched = std::make_shared<Targets>(named.paths(), arguments.allowLiveForks);
    const auto targets = [watched] { return watched->now(); };
    noteShares(targets(), arguments.sweepEvery.has_value());

    const auto log = Log::openEchoing(Log::defaultDirectory(), [](std::string_view line) {
        Output::result(Output::shown(line) + '\n');
        Output::flush();
    });
    const auto queue = SerialQueue::create(queueLabel);
    if (!log || !queue) {
        say(std::string("cannot watch: ") + shortageText);
        return ExitStatus::failed;
    }
    if (log->path().empty()) say("log unavailable: " + Log::defaultDirectory());

    const auto mounts = MountNotifications::ofSystem();
    const auto watching = std::make_shared<std::weak_ptr<Watcher>>();
    auto streams = MountEvents::heard(EventStreams::ofSystem(targets, mounts, say), [watching] {
        if (const auto self = watching->lock()) self->refreshVolumes();
    });
    const auto watcher =
        Watcher::create(RuleSet::standard(), latency, log, {queue, std::move(streams), mounts, targets, now});
    *watching = watcher;
    const Interruption::Deferred deferred("ending the watch; Ctrl-C again stops at once");
    watcher->start();
    if (waitForWork(*queue)) {
        if (!watcher->isRunning()) return ExitStatus::failed;  // the log line says why
        if (arguments.sweepFirst) watcher->sweepNow();
        if (arguments.sweepEvery) RepeatedSweep::begin(queue, watcher, std::chrono::minutes(*arguments.sweepEvery));
        Interruption::waitUntilRequested();
    }
    endInTime(watcher);
    log->flush();
    return named.status();
}

}  // namespace varnel::cli
