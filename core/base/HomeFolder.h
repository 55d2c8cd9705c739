// SPDX-License-Identifier: MIT
//
// Port: where people's home folders are.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace varnel::HomeFolder {

/// The current user's home folder, not standardised; empty when the system knows none.
std::string current();

/// The home folder of the named user, or none.
std::optional<std::string> of(std::string_view user);

/// Every folder that counts as the current user's home: what the environment says and what the user database says.
std::vector<std::string> all();

}  // namespace varnel::HomeFolder
