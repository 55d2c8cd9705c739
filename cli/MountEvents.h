// SPDX-License-Identifier: MIT
//
// macOS tells of mounts on the run loop of the main thread, which a command line does not have. Its event service tells
// of them in the stream as well.
#pragma once

#include <functional>

#include "core/watcher/EventStream.h"

namespace varnel::cli::MountEvents {

/// The same streams; `onMount` is called on the stream's queue after each batch that tells of a mount or an unmount.
EventStreamFactory heard(EventStreamFactory streams, std::function<void()> onMount);

}  // namespace varnel::cli::MountEvents
