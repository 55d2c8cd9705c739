// SPDX-License-Identifier: MIT
#pragma once

#include <poll.h>
#include <sys/eventfd.h>

#include <array>
#include <atomic>
#include <chrono>

#include "core/base/FileDescriptor.h"

namespace varnel {

/// Ends a thread that waits in poll(): readable from the moment that it is raised.
class StopSignal {
public:
    StopSignal() : event_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

    void raise() {
        isRaised_ = true;
        ::eventfd_write(event_.get(), 1);
    }
    bool isRaised() const { return isRaised_; }
    int descriptor() const { return event_.get(); }

private:
    FileDescriptor event_;
    std::atomic<bool> isRaised_{false};
};

constexpr std::chrono::milliseconds forEver{-1};

/// Waits until the descriptor can be read, or one of the two; a negative one never can. False once the signal is
/// raised.
bool waitUnlessStopped(int descriptor, const StopSignal& stop, std::chrono::milliseconds longest = forEver);
bool waitUnlessStopped(int descriptor, int other, const StopSignal& stop, std::chrono::milliseconds longest = forEver);

/// Waits for either of two things, and notes in them what has come. False once the signal is raised.
bool waitUnlessStopped(std::array<pollfd, 2>& either, const StopSignal& stop,
                       std::chrono::milliseconds longest = forEver);

}  // namespace varnel
