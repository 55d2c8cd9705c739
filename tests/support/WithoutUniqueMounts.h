// SPDX-License-Identifier: MIT
#pragma once

namespace varnel::tests {

/// From now on, in this process and its children, the kernel has no numbers of mounts that are never given out again,
/// as before 6.8; expects that it has none. Cannot be undone: call it in a child process.
void takeUniqueMountsAway();

}  // namespace varnel::tests
