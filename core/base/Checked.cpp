// SPDX-License-Identifier: MIT
#include "core/base/Checked.h"

#include <cstdio>
#include <cstdlib>

namespace varnel {

void trap(const char* message) {
    std::fprintf(stderr, "varnel: fatal: %s\n", message);
    std::abort();
}

}  // namespace varnel
