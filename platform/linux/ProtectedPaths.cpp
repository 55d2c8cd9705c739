// SPDX-License-Identifier: MIT
#include "core/scan/ProtectedPaths.h"

#ifndef __linux__
#error "This source is for Linux."
#endif

#include <algorithm>
#include <array>
#include <string_view>

#include "core/base/Path.h"

namespace varnel::ProtectedPaths {
namespace {

constexpr std::array<std::string_view, 9> trees = {
    "/boot", "/lib", "/lib32", "/lib64", "/libx32", "/proc", "/sys", "/run", "/root",
};

/// Refused themselves, not what lies in them: people's folders and their mounted media.
constexpr std::array<std::string_view, 2> folders = {"/home", "/media"};

/// Removable media of the person at the machine are mounted below this one, inside /run.
constexpr std::string_view userMedia = "/run/media/";

}  // namespace

bool contain(std::string_view path) {
    if (path.starts_with(userMedia)) return false;
    return std::find(folders.begin(), folders.end(), path) != folders.end() ||
           std::any_of(trees.begin(), trees.end(),
                       [path](std::string_view tree) { return Path::isAtOrBelow(path, tree); });
}

}  // namespace varnel::ProtectedPaths
