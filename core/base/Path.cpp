// SPDX-License-Identifier: MIT
#include "core/base/Path.h"

#include <algorithm>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/base/FunctionRef.h"

namespace varnel::Path {
namespace {

std::string expandTilde(std::string_view path, FunctionRef<std::optional<std::string>(std::string_view)> home) {
    if (!path.starts_with('~')) return std::string(path);
    const std::size_t slash = std::min(path.find('/'), path.size());
    const std::optional<std::string> folder = home(path.substr(1, slash - 1));
    if (!folder || folder->empty()) return std::string(path);
    return *folder + std::string(path.substr(slash));
}

std::string_view withoutTrailingSlashes(std::string_view path) {
    while (path.ends_with('/'))
        path.remove_suffix(1);
    return path;
}

}  // namespace

std::string standardized(std::string_view path, FunctionRef<std::optional<std::string>(std::string_view user)> home) {
    const std::string expanded = expandTilde(path, home);
    const bool isAbsolute = expanded.starts_with('/');
    std::vector<std::string_view> parts;
    const std::string_view text = expanded;
    for (std::size_t start = 0; start < text.size();) {
        const std::size_t end = std::min(text.find('/', start), text.size());
        const std::string_view part = text.substr(start, end - start);
        start = end + 1;
        if (part.empty()) continue;
        // A relative path keeps a leading ".": it is all that tells "./~a" from "~a".
        if (part == "." && (isAbsolute || !parts.empty())) continue;
        if (part == ".." && isAbsolute) {
            if (!parts.empty()) parts.pop_back();
            continue;
        }
        parts.push_back(part);
    }
    std::string result;
    for (const std::string_view part : parts) {
        if (isAbsolute || !result.empty()) result += '/';
        result += part;
    }
    if (result.empty() && isAbsolute) return "/";
    return result;
}

std::string_view lastComponent(std::string_view path) {
    const std::string_view trimmed = withoutTrailingSlashes(path);
    if (trimmed.empty()) return path.empty() ? path : path.substr(0, 1);
    const std::size_t slash = trimmed.rfind('/');
    return slash == std::string_view::npos ? trimmed : trimmed.substr(slash + 1);
}

std::string_view withoutLastComponent(std::string_view path) {
    const std::string_view trimmed = withoutTrailingSlashes(path);
    if (trimmed.empty()) return path.empty() ? path : path.substr(0, 1);
    const std::size_t slash = trimmed.rfind('/');
    if (slash == std::string_view::npos) return {};
    const std::string_view parent = withoutTrailingSlashes(trimmed.substr(0, slash));
    return parent.empty() ? path.substr(0, 1) : parent;
}

std::string_view extension(std::string_view name) {
    const std::size_t dot = name.rfind('.');
    if (dot == std::string_view::npos || dot == 0) return {};
    return name.substr(dot + 1);
}

bool isAtOrBelow(std::string_view path, std::string_view folder) {
    if (folder == "/") return path.starts_with('/');
    return path.starts_with(folder) && (path.size() == folder.size() || path[folder.size()] == '/');
}

std::string joined(std::string_view folder, std::string_view name) {
    std::string path;
    path.reserve(folder.size() + 1 + name.size());
    path += folder;
    if (!folder.ends_with('/')) path += '/';
    path += name;
    return path;
}

}  // namespace varnel::Path
