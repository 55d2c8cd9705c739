// SPDX-License-Identifier: MIT
#include "app/FileURL.h"

#include <algorithm>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "core/base/Text.h"

namespace varnel::FileURL {
namespace {

/// Takes `prefix` off the front of `text`, whatever the case of its letters; false where it does not stand there.
bool takePrefix(std::string_view& text, std::string_view prefix) {
    if (text.size() < prefix.size() || !Text::equalsIgnoringCase(text.substr(0, prefix.size()), prefix)) return false;
    text.remove_prefix(prefix.size());
    return true;
}

std::optional<int> hexDigit(char character) {
    if (character >= '0' && character <= '9') return character - '0';
    if (character >= 'a' && character <= 'f') return character - 'a' + 10;
    if (character >= 'A' && character <= 'F') return character - 'A' + 10;
    return std::nullopt;
}

/// Percent escapes as the bytes that they stand for; none where one is broken or stands for a zero byte.
std::optional<std::string> decoded(std::string_view text) {
    std::string bytes;
    bytes.reserve(text.size());
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (text[at] != '%') {
            bytes.push_back(text[at]);
            continue;
        }
        if (text.size() - at < 3) return std::nullopt;
        const auto high = hexDigit(text[at + 1]);
        const auto low = hexDigit(text[at + 2]);
        if (!high || !low || (*high == 0 && *low == 0)) return std::nullopt;
        bytes.push_back(static_cast<char>(*high * 16 + *low));
        at += 2;
    }
    return bytes;
}

}  // namespace

std::optional<std::string> path(std::string_view url) {
    if (!takePrefix(url, "file:")) return std::nullopt;
    if (takePrefix(url, "//")) {
        std::string_view afterHost = url;
        if (takePrefix(afterHost, "localhost") && afterHost.starts_with('/')) url = afterHost;
    }
    // A host that is left over, or a relative path, does not begin with a slash; two slashes would hide a host.
    if (!url.starts_with('/') || url.starts_with("//")) return std::nullopt;
    const bool isPlain =
        std::none_of(url.begin(), url.end(), [](char one) { return one == '?' || one == '#' || one == '\0'; });
    return isPlain ? decoded(url) : std::nullopt;
}

}  // namespace varnel::FileURL
