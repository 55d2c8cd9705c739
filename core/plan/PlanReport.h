// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "core/base/FunctionRef.h"
#include "core/plan/Plan.h"

namespace varnel::PlanReport {

/// The plan as plain text for a monospaced font: root, file system, a line per rule, total, the first `samples`
/// items (none for 0 or less), at most ten errors. Ends in a line feed. Bytes that are not UTF-8 are repaired.
std::string prettyText(const Plan& plan, std::int64_t samples);

/// The same with `shown` deciding how the root, each path and each error appear.
std::string prettyText(const Plan& plan, std::int64_t samples, FunctionRef<std::string(std::string_view)> shown);

}  // namespace varnel::PlanReport
