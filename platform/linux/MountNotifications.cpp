// SPDX-License-Identifier: MIT
#include "core/watcher/MountNotifications.h"

#ifndef __linux__
#error "This source is for Linux."
#endif

#include <libmount/libmount.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <iterator>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <thread>
#include <utility>
#include <vector>

#include "platform/linux/MountTable.h"
#include "platform/linux/StopSignal.h"

namespace varnel {
namespace {

struct MonitorDeleter {
    void operator()(libmnt_monitor* monitor) const { mnt_unref_monitor(monitor); }
};
using Monitor = std::unique_ptr<libmnt_monitor, MonitorDeleter>;

/// What is mounted where. All of it, for a folder may be watched anywhere.
using Mounts = std::set<MountTable::Place>;

/// Follows the kernel's mount table on a thread of its own, which sleeps until the table changes.
class MountTableNotifications final : public MountNotifications {
public:
    MountTableNotifications() : monitor_(mnt_new_monitor()) {
        if (!monitor_ || mnt_monitor_enable_kernel(monitor_.get(), 1) != 0) return;
        // The monitor begins when its descriptor is first asked for; the table is read after that.
        descriptor_ = mnt_monitor_get_fd(monitor_.get());
        if (descriptor_ < 0) return;
        known_ = MountTable::places();
        thread_ = std::thread([this] { follow(); });
    }

    ~MountTableNotifications() final {
        stop_.raise();
        if (thread_.joinable()) thread_.join();
    }

    MountTableNotifications(const MountTableNotifications&) = delete;
    MountTableNotifications& operator=(const MountTableNotifications&) = delete;

    Token add(Kind kind, std::function<void()> observer) final {
        const std::lock_guard lock(mutex_);
        observers_[nextToken_] = {kind, std::move(observer)};
        return nextToken_++;
    }

    void remove(Token token) final {
        const std::lock_guard lock(mutex_);
        observers_.erase(token);
    }

private:
    struct Observer {
        Kind kind = Kind::didMount;
        std::function<void()> call;
    };

    void follow() {
        while (waitUnlessStopped(descriptor_, stop_)) {
            mnt_monitor_event_cleanup(monitor_.get());
            Mounts now = MountTable::places();
            const bool hasNew = !std::includes(known_.begin(), known_.end(), now.begin(), now.end());
            const bool hasGone = !std::includes(now.begin(), now.end(), known_.begin(), known_.end());
            known_ = std::move(now);
            if (hasGone) tell(Kind::didUnmount);
            if (hasNew) tell(Kind::didMount);
        }
    }

    void tell(Kind kind) {
        std::vector<std::function<void()>> calls;
        {
            const std::lock_guard lock(mutex_);
            for (auto observer = observers_.rbegin(); observer != observers_.rend(); ++observer) {
                if (observer->second.kind == kind) calls.push_back(observer->second.call);
            }
        }
        for (const auto& call : calls)
            call();
    }

    Monitor monitor_;
    int descriptor_ = -1;  // the monitor's
    StopSignal stop_;
    Mounts known_;  // of the thread
    std::mutex mutex_;
    std::map<Token, Observer> observers_;
    Token nextToken_ = 1;
    std::thread thread_;
};

}  // namespace

std::shared_ptr<MountNotifications> MountNotifications::ofSystem() {
    return std::make_shared<MountTableNotifications>();
}

}  // namespace varnel
