// SPDX-License-Identifier: MIT
#include "core/base/Path.h"

#ifndef __linux__
#error "This source is for Linux."
#endif

#include <optional>
#include <string>
#include <string_view>

#include "core/base/HomeFolder.h"

namespace varnel::Path {

std::string standardized(std::string_view path) {
    return standardized(path, [](std::string_view user) {
        return user.empty() ? std::optional<std::string>(HomeFolder::current()) : HomeFolder::of(user);
    });
}

}  // namespace varnel::Path
