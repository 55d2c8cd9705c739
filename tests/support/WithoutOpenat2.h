// SPDX-License-Identifier: MIT
#pragma once

#include <cerrno>
#include <functional>

namespace varnel::tests {

/// From now on, in this process and its children, the kernel answers openat2() with `error`, as one that does not know
/// it or a filter in front of it does, which sends every opening down the other road; expects that it does. Cannot be
/// undone: call it in a child process.
void takeOpenat2Away(int error = ENOSYS);

/// Runs `body` on the road with openat2() and, in a child process, on the one without; expects both to succeed.
void onBothRoads(const std::function<void()>& body);

}  // namespace varnel::tests
