// SPDX-License-Identifier: MIT
#include "core/log/SystemLog.h"

#if !__has_include(<CoreServices/CoreServices.h>)
#error "This source is for macOS."
#endif

#include <os/log.h>

#include <string>

namespace varnel::SystemLog {

void mirror(const std::string& message) {
    static const os_log_t log = os_log_create("com.quorin.varnel", "clean");
    os_log_debug(log, "%{public}s", message.c_str());
}

}  // namespace varnel::SystemLog
