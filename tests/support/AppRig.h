// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstdint>
#include <expected>
#include <functional>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "app/AppDelegate.h"
#include "app/AppPorts.h"
#include "core/disk/DiskError.h"
#include "core/log/Log.h"
#include "core/rules/RuleSet.h"
#include "core/volumes/Volume.h"
#include "core/watcher/EventStream.h"
#include "core/watcher/MountNotifications.h"
#include "core/watcher/Watcher.h"
#include "tests/support/ManualQueue.h"
#include "tests/support/RecordingDesktop.h"
#include "tests/support/TemporaryFolder.h"

namespace varnel::tests {

/// Nothing is ever mounted.
class NoMounts final : public MountNotifications {
public:
    Token add(Kind, std::function<void()>) final { return 1; }
    void remove(Token) final {}
};

/// Counts, and keeps the request so that a test can deliver events.
struct StreamRecord {
    int started = 0;
    int stopped = 0;
    EventStreamRequest request;
    std::function<void()> onStop = [] {};
};

class RecordedStream final : public EventStream {
public:
    explicit RecordedStream(StreamRecord& record) : record_(record) {}
    void setQueue(std::shared_ptr<SerialQueue>) final {}
    bool start() final {
        ++record_.started;
        return true;
    }
    void stop() final {
        ++record_.stopped;
        record_.onStop();
    }
    void invalidate() final {}

private:
    StreamRecord& record_;
};

/// The application on a recording desktop: real folders, a real log, a real watcher whose queue and events are the
/// test's. The one target volume is the folder "v".
struct AppRig {
    explicit AppRig(
        bool hasLog = true, Log::Clock clock = [] { return std::int64_t{0}; }) {
        if (hasLog) ports.log = Log::open(tree.at("log"), std::make_shared<ManualQueue>(), std::move(clock));
        ports.createWatcher = [this](RuleSet rules, double latency,
                                     std::shared_ptr<Log> log) -> std::shared_ptr<Watcher> {
            if (!hasThreads) return nullptr;
            ++watchersMade;
            watcherRules = rules;
            watcherLatency = latency;
            watcherLog = log;
            return watcher = Watcher::create(
                       std::move(rules), latency, std::move(log),
                       {watcherQueue,
                        [this](EventStreamRequest request) {
                            stream.request = std::move(request);
                            return std::make_unique<RecordedStream>(stream);
                        },
                        std::make_shared<NoMounts>(), [this] { return targets; }, [] { return 1000.0; }});
        };
        ports.targets = [this] { return targets; };
        ports.fileSystemType = [this](const std::string& path) {
            typesAsked.push_back(path);
            return fileSystemType;
        };
        ports.eject = [this](const std::string& path, bool force) -> std::expected<void, DiskError> {
            EXPECT_FALSE(desktop->isMainThread()) << "ejecting blocks";
            ejected.push_back(path + (force ? " by force" : ""));
            if (ejectFailure) return std::unexpected(DiskError{*ejectFailure});
            return {};
        };
        ports.patience = std::chrono::seconds(20);
        ports.menuPatience = std::chrono::seconds(20);
    }

    /// What still waits holds the application, which holds the desktop that it waits on.
    ~AppRig() { desktop->drop(); }
    AppRig(const AppRig&) = delete;
    AppRig& operator=(const AppRig&) = delete;

    /// Made at the first use, so that a test can change the ports before.
    AppDelegate& app() {
        if (!delegate) delegate = AppDelegate::create(desktop, ports);
        return *delegate;
    }

    void perform(MenuAction action, const std::optional<std::string>& representedObject = std::nullopt) {
        app().perform(action, representedObject);
    }
    /// Asks for a clean of a path through the service, which confirms.
    void request(const std::string& path) { app().cleanUsingVarnel({.fileURLs = {}, .fileNames = {{path}}}); }

    /// Runs what waits on the watcher's queue.
    void runWatcher() const { manualQueue->run(); }

    /// The messages of the log, without stamps, with the tree's path replaced by "T".
    std::vector<std::string> logged() const {
        if (!ports.log) return {};
        ports.log->flush();
        std::vector<std::string> lines;
        std::istringstream text(tree.contents("log/varnel.log"));
        for (std::string line; std::getline(text, line);)
            lines.push_back(shortened(line.substr(20)));
        return lines;
    }

    std::string shortened(std::string text) const {
        for (std::size_t at = text.find(tree.path()); at != std::string::npos; at = text.find(tree.path(), at))
            text.replace(at, tree.path().size(), "T");
        return text;
    }

    TemporaryFolder tree;
    std::string root = tree.folder("v");
    std::shared_ptr<RecordingDesktop> desktop = std::make_shared<RecordingDesktop>();
    AppPorts ports;

    std::shared_ptr<ManualQueue> manualQueue = std::make_shared<ManualQueue>();
    std::shared_ptr<SerialQueue> watcherQueue = manualQueue;
    StreamRecord stream;
    std::shared_ptr<Watcher> watcher;
    bool hasThreads = true;
    int watchersMade = 0;
    RuleSet watcherRules;
    double watcherLatency = 0;
    std::shared_ptr<Log> watcherLog;

    std::vector<Volume> targets = {{root, "exfat", true, true, false}};
    std::optional<std::string> fileSystemType = "exfat";
    std::vector<std::string> typesAsked;
    std::optional<std::string> ejectFailure;
    std::vector<std::string> ejected;

    std::shared_ptr<AppDelegate> delegate;  // the first to go
};

}  // namespace varnel::tests
