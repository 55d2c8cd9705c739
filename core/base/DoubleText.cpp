// SPDX-License-Identifier: MIT
//
// The digits are found by printing with more and more of them until they read back as the same number: slower than the
// library's own way, which the oldest systems we build for lack, and fast enough for a line in a log.
#include "core/base/DoubleText.h"

#include <array>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace varnel::DoubleText {
namespace {

constexpr int mostDigits = 17;
constexpr double greatestPositional = 9007199254740992.0;  // 2 to the 53rd

struct Decimal {
    std::string digits;  // without a point; the first is not zero but for zero itself
    int exponent = 0;    // of ten, of the first digit
};

Decimal shortest(double magnitude) {
    std::array<char, 64> buffer{};
    for (int precision = 0;; ++precision) {
        std::snprintf(buffer.data(), buffer.size(), "%.*e", precision, magnitude);
        if (precision + 1 >= mostDigits || std::strtod(buffer.data(), nullptr) == magnitude) break;
    }
    const std::string text = buffer.data();
    const std::size_t mark = text.find('e');
    Decimal decimal;
    for (const char c : text.substr(0, mark)) {
        if (c >= '0' && c <= '9') decimal.digits += c;
    }
    decimal.exponent = std::atoi(text.c_str() + mark + 1);
    return decimal;
}

std::string scientific(const Decimal& decimal) {
    std::array<char, 16> exponent{};
    std::snprintf(exponent.data(), exponent.size(), "e%+03d", decimal.exponent);
    const std::string fraction = decimal.digits.size() > 1 ? "." + decimal.digits.substr(1) : std::string();
    return decimal.digits.substr(0, 1) + fraction + exponent.data();
}

std::string positional(Decimal decimal) {
    if (decimal.exponent < 0)
        return "0." + std::string(static_cast<std::size_t>(-decimal.exponent - 1), '0') + decimal.digits;
    const auto whole = static_cast<std::size_t>(decimal.exponent) + 1;
    if (decimal.digits.size() <= whole) return decimal.digits.append(whole - decimal.digits.size(), '0') + ".0";
    return decimal.digits.substr(0, whole) + "." + decimal.digits.substr(whole);
}

}  // namespace

std::string text(double value) {
    if (std::isnan(value)) return "nan";
    const std::string sign = std::signbit(value) ? "-" : "";
    const double magnitude = std::abs(value);
    if (std::isinf(magnitude)) return sign + "inf";
    if (magnitude == 0) return sign + "0.0";
    const Decimal decimal = shortest(magnitude);
    const bool isPositional = decimal.exponent >= -4 && magnitude <= greatestPositional;
    return sign + (isPositional ? positional(decimal) : scientific(decimal));
}

}  // namespace varnel::DoubleText
