// SPDX-License-Identifier: MIT
#include "platform/linux/StopSignal.h"

#ifndef __linux__
#error "This source is for Linux."
#endif

#include <poll.h>

#include <array>
#include <cerrno>
#include <chrono>

namespace varnel {

bool waitUnlessStopped(int descriptor, const StopSignal& stop, std::chrono::milliseconds longest) {
    return waitUnlessStopped(descriptor, -1, stop, longest);
}

bool waitUnlessStopped(int descriptor, int other, const StopSignal& stop, std::chrono::milliseconds longest) {
    std::array<pollfd, 2> either = {{{descriptor, POLLIN, 0}, {other, POLLIN, 0}}};
    return waitUnlessStopped(either, stop, longest);
}

bool waitUnlessStopped(std::array<pollfd, 2>& either, const StopSignal& stop, std::chrono::milliseconds longest) {
    std::array<pollfd, 3> waits = {{{stop.descriptor(), POLLIN, 0}, either[0], either[1]}};
    while (::poll(waits.data(), waits.size(), static_cast<int>(longest.count())) < 0) {
        if (errno != EINTR) return false;
    }
    either = {waits[1], waits[2]};
    return waits[0].revents == 0;
}

}  // namespace varnel
