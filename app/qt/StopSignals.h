// SPDX-License-Identifier: MIT
#pragma once

#include <QSocketNotifier>
#include <functional>
#include <memory>

namespace varnel {

/// Turns the signals by which a session or a person ends a program (SIGTERM, SIGINT, SIGHUP) into a call on the main
/// thread. One at a time in a process.
class StopSignals {
public:
    explicit StopSignals(std::function<void()> onStop);
    ~StopSignals();
    StopSignals(const StopSignals&) = delete;
    StopSignals& operator=(const StopSignals&) = delete;

private:
    std::unique_ptr<QSocketNotifier> notifier_;
};

}  // namespace varnel
