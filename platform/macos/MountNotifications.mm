// SPDX-License-Identifier: MIT
//
// The workspace posts on the thread whose run loop hears of the mount: the main thread, and only while its loop runs.
#include "core/watcher/MountNotifications.h"

#if !__has_include(<CoreServices/CoreServices.h>)
#error "This source is for macOS."
#endif

#import <AppKit/AppKit.h>

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <utility>

#include "platform/macos/ObjectiveC.h"

namespace varnel {
namespace {

class WorkspaceNotifications final : public MountNotifications {
public:
    WorkspaceNotifications() = default;
    WorkspaceNotifications(const WorkspaceNotifications&) = delete;
    WorkspaceNotifications& operator=(const WorkspaceNotifications&) = delete;
    ~WorkspaceNotifications() final {
        for (const auto& [token, observer] : observers_)
            removeFromCenter(observer);
    }

    Token add(Kind kind, std::function<void()> observer) final {
        @autoreleasepool {
            const bool isMount = kind == Kind::didMount;
            ObjectiveC::Retained added([center()
                addObserverForName:isMount ? NSWorkspaceDidMountNotification : NSWorkspaceDidUnmountNotification
                            object:nil
                             queue:nil
                        usingBlock:^(NSNotification*) {
                            observer();
                        }]);
            const std::lock_guard lock(mutex_);
            observers_.emplace(nextToken_, std::move(added));
            return nextToken_++;
        }
    }

    void remove(Token token) final {
        const std::lock_guard lock(mutex_);
        const auto found = observers_.find(token);
        if (found == observers_.end()) return;
        removeFromCenter(found->second);
        observers_.erase(found);
    }

private:
    static NSNotificationCenter* center() { return [[NSWorkspace sharedWorkspace] notificationCenter]; }

    static void removeFromCenter(const ObjectiveC::Retained& observer) {
        @autoreleasepool {
            [center() removeObserver:observer.get()];
        }
    }

    std::mutex mutex_;
    std::map<Token, ObjectiveC::Retained> observers_;
    Token nextToken_ = 1;
};

}  // namespace

std::shared_ptr<MountNotifications> MountNotifications::ofSystem() {
    return std::make_shared<WorkspaceNotifications>();
}

}  // namespace varnel
