// SPDX-License-Identifier: MIT
#include "platform/linux/StopSignal.h"

#ifndef __linux__
#error "This source is for Linux."
#endif

#include <poll.h>

#include <array>
#include <cerrno>

namespace varnel {

bool waitUnlessStopped(int descriptor, const StopSignal& stop) {
    std::array<pollfd, 2> waits = {{{descriptor, POLLIN, 0}, {stop.descriptor(), POLLIN, 0}}};
    while (::poll(waits.data(), waits.size(), -1) < 0) {
        if (errno != EINTR) return false;
    }
    return waits[1].revents == 0;
}

}  // namespace varnel
