// SPDX-License-Identifier: MIT
#include "platform/linux/WatchThread.h"

#ifndef __linux__
#error "This source is for Linux."
#endif

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <system_error>
#include <thread>
#include <utility>

#include "core/base/Shortage.h"
#include "core/scan/FSInfo.h"
#include "platform/linux/FanotifyWatch.h"
#include "platform/linux/InotifyWatch.h"
#include "platform/linux/WatchJob.h"

namespace varnel {
namespace {

/// How long an end may take before the thread counts as held by a server.
constexpr std::chrono::seconds patience{1};

WatchEnd watch(const WatchJob& job) {
    // A mark on the whole file system would report far more than one folder of it.
    const bool isVolume = FSInfo::isMountPoint(job.root);
    const auto end = isVolume ? FanotifyWatch::run(job) : WatchEnd::refused;
    return end == WatchEnd::refused ? InotifyWatch::run(job) : end;
}

}  // namespace

/// Shared with the thread, which may outlive the object.
struct WatchThread::State {
    explicit State(std::unique_ptr<WatchJob> what) : job(std::move(what)) {}

    void note(bool& fact) {
        {
            const std::lock_guard lock(mutex);
            fact = true;
        }
        changed.notify_all();
    }

    bool waitFor(const bool& fact, std::chrono::steady_clock::time_point deadline) {
        std::unique_lock lock(mutex);
        return changed.wait_until(lock, deadline, [&fact] { return fact; });
    }

    /// Whether the thread is to go on because another volume has taken the place of the one that is gone.
    bool beginsAnew() {
        if (!FSInfo::isMountPoint(job->root)) return false;
        const std::lock_guard lock(mutex);
        if (job->stop.isRaised()) return false;
        hasEnded = false;
        job->begun = justBefore(timeNow());
        job->isLate = true;
        return true;
    }

    std::unique_ptr<WatchJob> job;
    std::mutex mutex;
    std::condition_variable changed;
    bool isReady = false;
    bool hasEnded = false;
};

WatchThread::WatchThread(std::unique_ptr<WatchJob> job) : state_(std::make_shared<State>(std::move(job))) {
    state_->job->onReady = [state = state_.get()] { state->note(state->isReady); };
    if (state_->job->stop.descriptor() < 0) {  // the thread would never end
        giveUp();
        return;
    }
    try {
        thread_ = std::thread([state = state_] {
            auto end = WatchEnd::over;
            do {
                end = watch(*state->job);
                state->note(state->isReady);
                state->note(state->hasEnded);
                // Whoever follows the mounts may have looked when this one was already there and the end not yet known.
            } while (end == WatchEnd::unmounted && state->beginsAnew());
        });
    } catch (const std::system_error&) {
        giveUp();
    }
}

void WatchThread::giveUp() {
    const std::string& root = state_->job->root;
    state_->job->onProblem("cannot watch " + root + ": " + shortageText);
    state_->job->events->addLost(root);
    state_->note(state_->isReady);
    state_->note(state_->hasEnded);
}

WatchThread::~WatchThread() {
    stop();
    if (!thread_.joinable()) return;
    if (state_->waitFor(state_->hasEnded, std::chrono::steady_clock::now() + patience)) {
        thread_.join();
    } else {
        thread_.detach();
    }
}

void WatchThread::stop() const {
    state_->job->stop.raise();
}

void WatchThread::waitUntilReady(std::chrono::steady_clock::time_point deadline) const {
    state_->waitFor(state_->isReady, deadline);
}

bool WatchThread::hasEnded() const {
    const std::lock_guard lock(state_->mutex);
    return state_->hasEnded;
}

}  // namespace varnel
