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
    std::array<pollfd, 3> waits = {{{stop.descriptor(), POLLIN, 0}, {descriptor, POLLIN, 0}, {other, POLLIN, 0}}};
    while (::poll(waits.data(), waits.size(), static_cast<int>(longest.count())) < 0) {
        if (errno != EINTR) return false;
    }
    return waits[0].revents == 0;
}

}  // namespace varnel
