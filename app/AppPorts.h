// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <expected>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "app/Desktop.h"
#include "core/disk/DiskError.h"
#include "core/log/Log.h"
#include "core/rules/RuleSet.h"
#include "core/volumes/Volume.h"
#include "core/watcher/Watcher.h"

namespace varnel {

/// What the application needs beside the desktop.
struct AppPorts {
    std::shared_ptr<Log> log;  ///< Null where none could be opened.
    /// A watcher at rest; null where the system has no thread for it.
    std::function<std::shared_ptr<Watcher>(RuleSet rules, double latency, std::shared_ptr<Log> log)> createWatcher;
    std::function<std::vector<Volume>()> targets;  ///< The volumes for the menu. May wait for a server.
    /// The type of the file system that holds a path. May wait for a server that is asked for the road to it.
    std::function<std::optional<std::string>(const std::string& path)> fileSystemType;
    std::function<std::expected<void, DiskError>(const std::string& path, bool force)> eject;  ///< Blocks.
    std::chrono::milliseconds patience{5000};      ///< How long quitting waits for a sweep that is at work.
    std::chrono::milliseconds menuPatience{1000};  ///< How long the menu and what it does wait for a sweep or a server.
    /// The same for the first list of volumes, which nothing can stand in for: a disk may have to spin up.
    std::chrono::milliseconds firstPatience{10000};

    /// The system's own. What the watcher cannot watch goes to the desktop's console.
    static AppPorts ofSystem(std::shared_ptr<Desktop> desktop);
};

}  // namespace varnel
