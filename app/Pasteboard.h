// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace varnel {

/// What another application hands over to be cleaned, as it came.
struct Pasteboard {
    /// For each item, in order, its text of the file-URL type; none for an item without one. Not yet parsed.
    std::vector<std::optional<std::string>> fileURLs = {};
    /// The older list of plain paths, looked at only where no item yields a URL; none where it is missing or is not a
    /// list of texts. The place for the paths of a command line, made absolute.
    std::optional<std::vector<std::string>> fileNames = std::nullopt;
};

}  // namespace varnel
