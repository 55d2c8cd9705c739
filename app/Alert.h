// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace varnel {

/// A modal question or message, as a value: a desktop only shows it. Every text is well-formed UTF-8, plain, never
/// markup, and is shown as it stands.
struct Alert {
    enum class Style : std::uint8_t { plain, warning };

    std::string message;
    std::string informativeText;
    std::vector<std::string> buttons;  ///< Titles in order, at least one; the first means yes.
    Style style = Style::plain;
    /// A longer text to scroll through, read-only and in a monospaced font of size 11, in an area of 520 by 240 points.
    std::optional<std::string> report = std::nullopt;

    bool operator==(const Alert&) const = default;
};

}  // namespace varnel
