// SPDX-License-Identifier: MIT
//
// Follows the file count style of the formatter that macOS offers, in English: integers only, so that no locale and
// no rounding of doubles can show through.
#include "core/base/ByteCount.h"

#ifndef __linux__
#error "This source is for Linux."
#endif

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace varnel::ByteCount {
namespace {

struct Unit {
    std::uint64_t size;
    std::uint64_t decimalScale;  // 10 to the number of decimals shown
    int decimals;
    std::string_view name;
};

constexpr std::array<Unit, 6> units = {{
    {1'000, 1, 0, " KB"},
    {1'000'000, 10, 1, " MB"},
    {1'000'000'000, 100, 2, " GB"},
    {1'000'000'000'000, 100, 2, " TB"},
    {1'000'000'000'000'000, 100, 2, " PB"},
    {1'000'000'000'000'000'000, 100, 2, " EB"},
}};

/// `magnitude` in the smallest step that the unit shows, halves to the even step.
std::uint64_t roundedSteps(std::uint64_t magnitude, const Unit& unit) {
    const std::uint64_t step = unit.size / unit.decimalScale;
    const std::uint64_t quotient = magnitude / step;
    const std::uint64_t remainder = magnitude % step;
    const std::uint64_t half =
        step - remainder;  // compares like twice the remainder with the step, and cannot overflow
    if (remainder > half || (remainder == half && quotient % 2 == 1)) return quotient + 1;
    return quotient;
}

std::string shown(std::uint64_t steps, const Unit& unit) {
    std::string text = std::to_string(steps / unit.decimalScale);
    if (const std::uint64_t fraction = steps % unit.decimalScale; fraction != 0) {
        std::string digits = std::to_string(fraction);
        digits.insert(0, static_cast<std::size_t>(unit.decimals) - digits.size(), '0');
        while (digits.ends_with('0'))
            digits.pop_back();
        text += '.';
        text += digits;
    }
    text += unit.name;
    return text;
}

std::string textOfMagnitude(std::uint64_t magnitude) {
    if (magnitude == 0) return "Zero KB";
    if (magnitude == 1) return "1 byte";
    if (magnitude < 1000) return std::to_string(magnitude) + " bytes";
    std::size_t index = 0;
    while (index + 1 < units.size() && magnitude >= units[index + 1].size)
        ++index;
    std::uint64_t steps = roundedSteps(magnitude, units[index]);
    if (steps >= 1000 * units[index].decimalScale && index + 1 < units.size()) {
        ++index;
        steps = units[index].decimalScale;
    }
    return shown(steps, units[index]);
}

}  // namespace

std::string text(std::int64_t bytes) {
    if (bytes < 0) return "-" + textOfMagnitude(std::uint64_t{0} - static_cast<std::uint64_t>(bytes));
    return textOfMagnitude(static_cast<std::uint64_t>(bytes));
}

}  // namespace varnel::ByteCount
