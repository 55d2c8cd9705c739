// SPDX-License-Identifier: MIT
#include "app/qt/LaunchArguments.h"

#include <algorithm>
#include <cstddef>
#include <expected>
#include <span>
#include <string>
#include <string_view>

#include "core/base/Path.h"

namespace varnel {
namespace {

bool isAsciiLetter(char one) {
    return (one >= 'a' && one <= 'z') || (one >= 'A' && one <= 'Z');
}

bool isPlainInURL(char one) {
    return isAsciiLetter(one) || (one >= '0' && one <= '9') ||
           std::string_view("/-._~").find(one) != std::string_view::npos;
}

/// Whether a word is a URL and not a path: "scheme://", or "file:".
bool isURL(std::string_view word) {
    if (word.starts_with("file:")) return true;
    const std::size_t end = word.find("://");
    return end != std::string_view::npos && end > 0 &&
           std::all_of(word.begin(), word.begin() + static_cast<std::ptrdiff_t>(end), [](char one) {
               return isAsciiLetter(one) || (one >= '0' && one <= '9') || one == '+' || one == '-' || one == '.';
           });
}

}  // namespace

std::string fileURL(const std::string& path) {
    constexpr std::string_view digits = "0123456789ABCDEF";
    std::string url = "file://";
    for (const char one : path) {
        if (isPlainInURL(one)) {
            url += one;
            continue;
        }
        const auto byte = static_cast<unsigned char>(one);
        url += {'%', digits[byte / 16U], digits[byte % 16U]};
    }
    return url;
}

std::expected<LaunchArguments, std::string> LaunchArguments::parse(std::span<const std::string> words,
                                                                   const std::string& folder) {
    LaunchArguments arguments;
    bool mayBeOption = true;
    for (std::size_t at = 0; at < words.size(); ++at) {
        const std::string& word = words[at];
        if (!mayBeOption || !word.starts_with('-')) {
            if (word.empty()) continue;
            if (isURL(word)) {
                arguments.urls.push_back(word);
            } else {
                arguments.urls.push_back(fileURL(word.starts_with('/') ? word : Path::joined(folder, word)));
            }
        } else if (word == "--") {
            mayBeOption = false;
        } else if (word == "--help" || word == "-h") {
            arguments.request = Request::showHelp;
        } else if (word == "--version") {
            arguments.request = Request::showVersion;
        } else if (word == "--background") {
            arguments.isInBackground = true;
        } else if (word == "--action") {
            if (++at == words.size()) return std::unexpected("--action needs a name");
            arguments.action = words[at];
        } else {
            return std::unexpected("unknown option " + word);
        }
    }
    return arguments;
}

}  // namespace varnel
