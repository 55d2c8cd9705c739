// SPDX-License-Identifier: MIT
#include "cli/AppleDouble.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

namespace varnel::cli::AppleDouble {
namespace {

constexpr std::uint32_t magic = 0x00051607;
constexpr std::uint32_t resourceForkPart = 2;
constexpr std::uint32_t blankForkLength = 286;
constexpr std::string_view blankNote = "intentionally left blank";
constexpr std::size_t partCountAt = 24;
constexpr std::size_t partsAt = 26;
constexpr std::size_t partLength = 12;

std::optional<std::uint32_t> bigEndian(std::string_view bytes, std::size_t at, std::size_t length) {
    if (at > bytes.size() || bytes.size() - at < length) return std::nullopt;
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < length; ++i)
        value = value << 8U | static_cast<unsigned char>(bytes[at + i]);
    return value;
}

}  // namespace

bool holdsResourceFork(std::string_view head) {
    if (bigEndian(head, 0, 4) != magic) return false;
    const std::uint32_t parts = bigEndian(head, partCountAt, 2).value_or(0);
    for (std::size_t part = 0; part < parts; ++part) {
        const std::size_t at = partsAt + part * partLength;
        const auto id = bigEndian(head, at, 4);
        const auto offset = bigEndian(head, at + 4, 4);
        const auto length = bigEndian(head, at + 8, 4);
        if (!id || !offset || !length) return false;
        if (*id != resourceForkPart) continue;
        if (*length == 0) return false;
        if (*length > blankForkLength || *offset >= head.size()) return true;
        return head.substr(*offset, *length).find(blankNote) == std::string_view::npos;
    }
    return false;
}

}  // namespace varnel::cli::AppleDouble
