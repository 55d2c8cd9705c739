// SPDX-License-Identifier: MIT
//
// Port: the system's own log, to which every message of the activity log is mirrored at the debug level.
#pragma once

#include <string>

namespace varnel::SystemLog {

/// Hands one message over, marked as fit for everyone to read. Does nothing where the system has no log or does not
/// want debug messages. Safe from any thread.
void mirror(const std::string& message);

}  // namespace varnel::SystemLog
