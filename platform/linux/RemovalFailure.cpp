// SPDX-License-Identifier: MIT
#include "core/base/RemovalFailure.h"

#ifndef __linux__
#error "This source is for Linux."
#endif

#include <string>
#include <system_error>

namespace varnel {

std::string removalFailure(const std::string&, bool, int error) {
    return std::generic_category().message(error);
}

}  // namespace varnel
