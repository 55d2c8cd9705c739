// SPDX-License-Identifier: MIT
#include "core/disk/PropertyList.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace varnel::PropertyList {
namespace {

/// The readers of the platforms go down by recursion; no list that anybody writes comes near this.
constexpr int deepest = 512;

bool isTooDeep(std::string_view list) {
    int depth = 0;
    for (std::size_t at = list.find('<'); at != std::string_view::npos; at = list.find('<', at + 1)) {
        const std::string_view tag = list.substr(at + 1, 6);
        if (tag.starts_with("dict") || tag.starts_with("array")) {
            if (++depth > deepest) return true;
        } else if (tag.starts_with("/dict") || tag.starts_with("/array")) {
            --depth;
        }
    }
    return false;
}

}  // namespace

std::optional<std::string> text(const std::string& list, const std::string& key) {
    return isTooDeep(list) ? std::nullopt : textOfShallow(list, key);
}

}  // namespace varnel::PropertyList
