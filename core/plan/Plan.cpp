// SPDX-License-Identifier: MIT
#include "core/plan/Plan.h"

#include <cstdint>
#include <numeric>

#include "core/base/Checked.h"

namespace varnel {

std::int64_t Plan::totalBytes() const {
    return std::accumulate(items.begin(), items.end(), std::int64_t{0},
                           [](std::int64_t sum, const MatchItem& item) { return addOrTrap(sum, item.bytes); });
}

}  // namespace varnel
