// SPDX-License-Identifier: MIT
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

// The same sources, each port's namespace renamed.
#define Unicode LinuxUnicode
#include "platform/linux/Unicode.cpp"  // NOLINT(bugprone-suspicious-include)
#undef Unicode
#define ByteCount LinuxByteCount
#include "platform/linux/ByteCount.cpp"  // NOLINT(bugprone-suspicious-include)
#undef ByteCount

namespace varnel::LinuxUnicode {

std::u16string utf16(std::string_view text) {
    const icu::UnicodeString wide = fromUTF8(text);
    return {wide.getBuffer(), static_cast<std::size_t>(wide.length())};
}

std::vector<std::string> characters(std::string_view text) {
    const icu::UnicodeString wide = fromUTF8(text);
    icu::BreakIterator& iterator = characterIterator();
    iterator.setText(wide);
    std::vector<std::string> all;
    for (std::int32_t start = 0, end = iterator.next(); end != icu::BreakIterator::DONE;
         start = end, end = iterator.next()) {
        all.push_back(toUTF8(wide.tempSubStringBetween(start, end)));
    }
    return all;
}

}  // namespace varnel::LinuxUnicode
