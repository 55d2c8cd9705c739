// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>

namespace varnel::PropertyList {

/// Port: the text under a key of a property list whose root is a dictionary; none where it is no such list, or where
/// what stands under the key is no text.
std::optional<std::string> text(const std::string& list, const std::string& key);

}  // namespace varnel::PropertyList
