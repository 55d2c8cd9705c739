// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <thread>

#include "platform/linux/WatchJob.h"

namespace varnel {

/// One watch job on a thread of its own, by the best way that the system grants.
class WatchThread {
public:
    /// Begins at once. The job's onReady is called once, also where the folder cannot be watched.
    explicit WatchThread(std::unique_ptr<WatchJob> job);
    /// Ends the job. A thread that a dead server holds is left behind; it ends when the server answers.
    ~WatchThread();
    WatchThread(const WatchThread&) = delete;
    WatchThread& operator=(const WatchThread&) = delete;

    /// Asks the job to end, without waiting.
    void stop() const;

    /// Waits until everything is being watched, until `deadline` at most.
    void waitUntilReady(std::chrono::steady_clock::time_point deadline) const;
    /// Whether nothing is being watched any more.
    bool hasEnded() const;

private:
    struct State;

    void giveUp();

    std::shared_ptr<State> state_;
    std::thread thread_;
};

}  // namespace varnel
