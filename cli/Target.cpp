// SPDX-License-Identifier: MIT
#include "cli/Target.h"

#include <expected>
#include <filesystem>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

#include "core/base/Path.h"
#include "core/scan/Directory.h"
#include "core/scan/PathGuard.h"

namespace varnel::cli::Target {
namespace {

bool holdsParent(const std::string& word) {
    return word == ".." || word.starts_with("../") || word.ends_with("/..") || word.find("/../") != std::string::npos;
}

/// Whether a path without its ".." is still the same place: behind a link, the kernel's ".." is not the one that is
/// written before it.
bool isSamePlace(const std::string& written, const std::string& standardized) {
    const auto one = Directory::factsFollowingLinks(written);
    const auto other = Directory::factsFollowingLinks(standardized);
    return one.has_value() == other.has_value() && (!one || one->isSameFolder(*other));
}

}  // namespace

std::expected<std::string, std::string> path(const std::string& word) {
    std::string absolute = word;
    if (!word.starts_with('/')) {
        std::error_code error;
        const std::string here = std::filesystem::current_path(error).string();
        if (error) return std::unexpected("cannot be found: the current folder: " + error.message());
        absolute = Path::joined(here, word);
    }
    std::string standardized = Path::standardized(absolute);
    if (holdsParent(word) && !isSamePlace(absolute, standardized)) {
        return std::unexpected(
            "is not the folder that it reads like, because a link comes before \"..\"; name it without.");
    }
    return standardized;
}

std::string physical(const std::string& path) {
    for (std::string folder = path;;) {
        const auto opened = Directory::openRoot(folder, Directory::Links::follow, Directory::Purpose::lookUp);
        if (const auto place = opened ? Directory::physicalPath(opened->get()) : std::unexpected(opened.error())) {
            const std::string_view rest = std::string_view(path).substr(folder.size());
            return rest.empty() ? *place : Path::joined(*place, rest.substr(rest.starts_with('/') ? 1 : 0));
        }
        std::string parent(Path::withoutLastComponent(folder));
        if (parent.empty() || parent == folder) return path;
        folder = std::move(parent);
    }
}

bool isProtected(const std::string& path) {
    return PathGuard::isForbidden(path) || PathGuard::isForbiddenPlace(physical(path));
}

std::string problem(const std::string& path) {
    const auto facts = Directory::facts(path);
    if (!facts) return std::generic_category().message(facts.error());
    if (facts->isSymlink) return "is a link; name the folder that it leads to";
    if (!facts->isDirectory) return "is not a folder";
    return {};
}

}  // namespace varnel::cli::Target
