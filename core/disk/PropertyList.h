// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>

namespace varnel::PropertyList {

/// The text under a key of a property list whose root is a dictionary; none where it is no such list, where what stands
/// under the key is no text, or where the list is nested as deeply as nobody writes it.
std::optional<std::string> text(const std::string& list, const std::string& key);

/// Port: the same of a list that is nested no deeper than the platform's reader stands.
std::optional<std::string> textOfShallow(const std::string& list, const std::string& key);

}  // namespace varnel::PropertyList
