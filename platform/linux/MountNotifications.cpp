// SPDX-License-Identifier: MIT
#include "core/watcher/MountNotifications.h"

#ifndef __linux__
#error "This source is for Linux."
#endif

#include <libmount/libmount.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <system_error>
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

/// How long to wait where the mount table cannot be read.
constexpr std::chrono::seconds pause{1};

/// Whether all of `some` is in `others`.
bool isAllIn(const MountTable::Places& some, const MountTable::Places& others) {
    return std::includes(others.all.begin(), others.all.end(), some.all.begin(), some.all.end());
}

/// Follows the kernel's mount table on a thread of its own, which sleeps until the table changes.
class MountTableNotifications final : public MountNotifications {
public:
    MountTableNotifications() : monitor_(mnt_new_monitor()) {
        if (!monitor_ || mnt_monitor_enable_kernel(monitor_.get(), 1) != 0) return;
        if (stop_.descriptor() < 0) return;  // the thread would never end
        // The monitor begins when its descriptor is first asked for; the table is read after that.
        descriptor_ = mnt_monitor_get_fd(monitor_.get());
        if (descriptor_ < 0) return;
        known_ = MountTable::places().value_or(MountTable::Places());
        try {
            thread_ = std::thread([this] { follow(); });
        } catch (const std::system_error&) {
            return;
        }
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

    bool canHear() const final { return thread_.joinable(); }

private:
    struct Observer {
        Kind kind = Kind::didMount;
        std::function<void()> call;
    };

    void follow() {
        bool isBehind = false;
        while (waitUnlessStopped(descriptor_, stop_, isBehind ? pause : forEver)) {
            mnt_monitor_event_cleanup(monitor_.get());
            auto now = MountTable::places();
            isBehind = !now;
            if (isBehind) continue;  // what is known stands until something else is
            const bool hasNew = !isAllIn(*now, known_);
            const bool hasGone = !isAllIn(known_, *now);
            // Something has changed; where it left no trace, a mount may have gone and come again.
            const bool mayHaveBoth = !hasNew && !hasGone && !now->isExact;
            known_ = *std::move(now);
            if (hasGone || mayHaveBoth) tell(Kind::didUnmount);
            if (hasNew || mayHaveBoth) tell(Kind::didMount);
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
    MountTable::Places known_;  // of the thread: all mounts, for a folder may be watched anywhere
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
