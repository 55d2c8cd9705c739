// SPDX-License-Identifier: MIT
//
// Paths are absolute texts that are compared byte by byte: two spellings of one name are two files on Linux.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "core/base/FunctionRef.h"

namespace varnel::Path {

/// The one form in which paths are compared, walked, stored and shown: a leading tilde expanded, no empty and no "."
/// component, no trailing slash; in an absolute path no "..". Resolves no link.
std::string standardized(std::string_view path);

/// The same with the home folders handed in: `home` gives the folder of the named user, of the current one for an
/// empty name. Touches no disk.
std::string standardized(std::string_view path, FunctionRef<std::optional<std::string>(std::string_view user)> home);

/// The text after the last slash, trailing slashes ignored; "/" for the root, empty for an empty path.
std::string_view lastComponent(std::string_view path);

/// The path without its last component; "/" stays "/". A path of one relative component gives an empty text.
std::string_view withoutLastComponent(std::string_view path);

/// The text after the last dot of a name, unless that dot is the first character or nothing follows it.
std::string_view extension(std::string_view name);

/// Whether `path` equals `folder` or lies below it; both standardised.
bool isAtOrBelow(std::string_view path, std::string_view folder);

/// `folder` + "/" + `name`, without a second slash after "/".
std::string joined(std::string_view folder, std::string_view name);

}  // namespace varnel::Path
