// SPDX-License-Identifier: MIT
#include "core/base/Process.h"

#ifndef __linux__
#error "This source is for Linux."
#endif

#include <string>
#include <system_error>

namespace varnel {

std::string launchFailure(const std::string& /*program*/, int error) {
    return std::generic_category().message(error);
}

}  // namespace varnel
