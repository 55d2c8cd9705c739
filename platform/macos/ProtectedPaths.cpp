// SPDX-License-Identifier: MIT
#include "core/scan/ProtectedPaths.h"

#if !__has_include(<CoreServices/CoreServices.h>)
#error "This source is for macOS."
#endif

#include <string_view>

namespace varnel::ProtectedPaths {

/// The paths that are protected everywhere are those of macOS.
bool contain(std::string_view) {
    return false;
}

}  // namespace varnel::ProtectedPaths
