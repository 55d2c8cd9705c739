// SPDX-License-Identifier: MIT
//
// Port: sizes as people read them.
#pragma once

#include <cstdint>
#include <string>

namespace varnel::ByteCount {

/// The count in the style that file browsers use: decimal units, "Zero KB" for nothing, "1.5 MB", "-1 byte".
std::string text(std::int64_t bytes);

}  // namespace varnel::ByteCount
