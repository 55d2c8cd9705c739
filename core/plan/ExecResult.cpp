// SPDX-License-Identifier: MIT
#include "core/plan/ExecResult.h"

#include <string>

#include "core/base/ByteCount.h"

namespace varnel {

std::string ExecResult::summary(bool dryRun) const {
    std::string line = dryRun ? "would remove " : "removed ";
    line += std::to_string(removed) + " items";
    if (removedDirectories >= 1) line += " (" + std::to_string(removedDirectories) + " dirs)";
    line += ", " + ByteCount::text(bytes);
    if (!failures.empty()) line += ", " + std::to_string(failures.size()) + " failed";
    if (!skipped.empty()) line += ", " + std::to_string(skipped.size()) + " skipped";
    return line;
}

}  // namespace varnel
