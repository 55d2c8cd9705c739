// SPDX-License-Identifier: MIT
#include "cli/Target.h"

#include <filesystem>
#include <string>
#include <system_error>

#include "core/base/Path.h"
#include "core/scan/Directory.h"
#include "core/scan/PathGuard.h"

namespace varnel::cli::Target {

std::string path(const std::string& word) {
    if (word.starts_with('/')) return Path::standardized(word);
    std::error_code error;
    const std::string here = std::filesystem::current_path(error).string();
    return Path::standardized(Path::joined(error ? "/" : here, word));
}

bool isProtected(const std::string& path) {
    if (PathGuard::isForbidden(path)) return true;
    std::error_code error;
    const std::filesystem::path physical = std::filesystem::canonical(path, error);
    return !error && PathGuard::isForbidden(physical.string());
}

std::string problem(const std::string& path) {
    const auto facts = Directory::facts(path);
    if (!facts) return std::generic_category().message(facts.error());
    if (facts->isSymlink) return "is a link; name the folder that it leads to";
    if (!facts->isDirectory) return "is not a folder";
    return {};
}

}  // namespace varnel::cli::Target
