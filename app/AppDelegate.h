// SPDX-License-Identifier: MIT
//
// The application: what happens at its start and its end, what the menu shows and does, and the cleaning of a folder
// or volume that a person asked for. It knows the desktop only as a port.
//
// A desktop calls the six public operations on the main thread and nothing else. The flow of one clean hops between
// the main thread, where it asks, and the background, where it scans and removes:
//
//   preview() ─ guard, Mac format? ─▶ scan ─▶ confirm() ─ asks ─▶ remove, eject ─▶ finish() ─ reports
//   main                              background   main              background        main
//
// `isBusy` lets one flow at a time through: it is set while a background step of the flow waits or works, and free
// while the person is being asked.
#pragma once

#include <atomic>
#include <chrono>
#include <expected>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "app/AppPorts.h"
#include "app/Desktop.h"
#include "app/Pasteboard.h"
#include "app/StatusMenu.h"
#include "core/disk/DiskError.h"
#include "core/log/Log.h"
#include "core/plan/Plan.h"
#include "core/rules/RuleSet.h"
#include "core/scan/VolumeIdentity.h"
#include "core/volumes/Volume.h"
#include "core/watcher/Watcher.h"

namespace varnel {

class AppDelegate : public std::enable_shared_from_this<AppDelegate> {
public:
    /// Starts nothing.
    static std::shared_ptr<AppDelegate> create(std::shared_ptr<Desktop> desktop, AppPorts ports);

    AppDelegate(const AppDelegate&) = delete;
    AppDelegate& operator=(const AppDelegate&) = delete;

    /// To be called once, when the event loop has begun: offers the service, shows the status item, and starts the
    /// watcher where it is wanted. Without a log no watcher is started.
    void applicationDidFinishLaunching();

    /// To be called once, when the event loop is about to end: stops the watcher, ends a removal after the item
    /// that it is at, and sees the log written; but waits for a disk that does not answer no longer than a few seconds.
    void applicationWillTerminate();

    /// The menu as it should be now; to be called each time before it opens.
    StatusMenu menuNeedsUpdate();

    /// Does what a chosen entry stands for. `representedObject` is the entry's, none where it is no text. May show
    /// alerts and panels before it returns.
    void perform(MenuAction action, const std::optional<std::string>& representedObject);

    /// The service: another application hands over files or folders to be cleaned. The first that may be cleaned
    /// starts a flow, the rest are dropped. May show alerts before it returns.
    void cleanUsingVarnel(const Pasteboard& pasteboard);

    /// Whether a scan or a clean that was started here is at work.
    bool isBusy() const { return isBusy_; }

private:
    static constexpr const char* watcherPreference = "watcherEnabled";

    struct PreviewOptions {
        bool ejectAfter = false;
        bool alreadyConfirmed = false;
    };

    /// One clean on its way from step to step.
    struct Flow {
        std::string path;  // standardised
        PreviewOptions options;
        std::string fileSystemType;  // before the scan
        const RuleSet* rules;        // the application's
        Plan plan;
        VolumeIdentity volume;  // on which the scan took place
    };

    AppDelegate(std::shared_ptr<Desktop> desktop, AppPorts ports);

    void assertOnMain() const;
    void write(const std::string& message) const;

    Watcher* watcher();
    void logDeletions(Watcher& watcher) const;
    const RuleSet& rules();
    bool watcherEnabled() const;
    void stopWatcher(std::chrono::milliseconds limit);
    std::vector<Volume> targets();
    std::optional<std::string> fileSystemType(const std::string& path) const;

    void chooseFolder();
    void sweepAll();
    void toggleWatcher();
    void toggleLoginItem();
    void showLog();
    std::vector<std::string> paths(const Pasteboard& pasteboard) const;

    void previewVolume(const std::optional<std::string>& mountPoint, PreviewOptions options);
    void preview(const std::string& path, PreviewOptions options);
    bool mayTouch(const std::string& path, const std::string& fileSystemType);
    void begin(std::function<void()> work);
    void scan(Flow flow);
    void refuse(const std::string& path);
    void confirm(Flow flow);
    void remove(const Flow& flow);
    std::expected<void, DiskError> eject(const Flow& flow) const;
    void finish(const std::string& report);
    void waitForRemovals() const;

    const std::shared_ptr<Desktop> desktop_;
    const AppPorts ports_;
    std::shared_ptr<Watcher> watcher_;  // null until it is first asked for, and while the system has no thread for it
    bool logsDeletions_ = false;        // also those of a watcher that is yet to be made
    std::optional<RuleSet> rules_;      // never changed once it is filled
    std::optional<std::vector<Volume>> targets_;  // as they were seen last
    bool isBusy_ = false;

    // Read from everywhere.
    std::atomic<bool> isEnding_{false};
    std::atomic<int> removals_{0};  // at work
};

}  // namespace varnel
