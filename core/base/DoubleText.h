// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace varnel::DoubleText {

/// The shortest digits that read back as the same number, always with a fraction or an exponent: "0.25", "1.0",
/// "1e+16".
std::string text(double value);

}  // namespace varnel::DoubleText
