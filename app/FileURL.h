// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace varnel::FileURL {

/// The absolute path that a "file" URL names, percent escapes decoded to the bytes that they stand for.
///
/// None for everything of which nobody can be sure which file it means: another scheme, another host than this one
/// ("localhost" or none), a relative path, a broken escape, an escaped zero byte, a query or a fragment.
std::optional<std::string> path(std::string_view url);

}  // namespace varnel::FileURL
