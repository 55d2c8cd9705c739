// SPDX-License-Identifier: MIT
#include "core/disk/DiskTools.h"

#if !__has_include(<CoreServices/CoreServices.h>)
#error "This source is for macOS."
#endif

#include <memory>

#include "core/disk/DiskUtility.h"

namespace varnel {

std::unique_ptr<DiskTools> DiskTools::ofSystem() {
    return std::make_unique<DiskUtility>();
}

}  // namespace varnel
