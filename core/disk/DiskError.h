// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace varnel {

/// Why a volume was not ejected or unmounted.
struct DiskError {
    std::string message;  ///< Shown to the person as it stands.

    const std::string& description() const { return message; }
    bool operator==(const DiskError&) const = default;
};

}  // namespace varnel
