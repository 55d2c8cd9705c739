// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace varnel::Base64 {

/// The bytes in the standard alphabet, padded.
std::string encoded(std::string_view bytes);

/// The bytes of a padded text in the standard alphabet; none for anything else.
std::optional<std::string> decoded(std::string_view text);

}  // namespace varnel::Base64
