// SPDX-License-Identifier: MIT
//
// The Linux layer's answers about text and sizes, under names of their own beside the macOS layer's.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace varnel::LinuxUnicode {
std::u16string utf16(std::string_view text);
/// The characters as they stand, not composed.
std::vector<std::string> characters(std::string_view text);
std::string composed(std::string_view text);
std::string lowercased(std::string_view text);
bool caseFoldedEqual(std::string_view a, std::string_view b);
int standardCompare(std::string_view a, std::string_view b);
}  // namespace varnel::LinuxUnicode

namespace varnel::LinuxByteCount {
std::string text(std::int64_t bytes);
}  // namespace varnel::LinuxByteCount
