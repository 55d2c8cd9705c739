// SPDX-License-Identifier: MIT
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include "cli/Output.h"
#include "core/base/Base64.h"
#include "core/base/ByteCount.h"
#include "core/base/Text.h"
#include "fuzz/Target.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace varnel;
    const auto bytes = fuzz::textOf(data, size);
    const std::string repaired = Text::repaired(bytes);
    fuzz::require(Text::isValidUTF8(repaired), "what was repaired is text");
    fuzz::require(Text::repaired(repaired) == repaired, "text needs no repair");
    fuzz::require(Text::isValidUTF8(bytes) == (repaired == bytes), "and is left as it is");
    fuzz::require(Text::characterCount(bytes) <= static_cast<std::int64_t>(size), "a character has a byte at least");
    fuzz::require(Text::characters(bytes).size() == static_cast<std::size_t>(Text::characterCount(bytes)),
                  "as many characters as are counted");

    const std::string shown = cli::escapedForTerminal(bytes);
    fuzz::require(Text::isValidUTF8(shown), "a terminal gets text");
    for (const char c : shown) {
        fuzz::require(static_cast<unsigned char>(c) >= 0x20 && c != 0x7F, "and no control byte");
    }

    fuzz::require(Base64::decoded(Base64::encoded(bytes)) == bytes, "base64 reads back what it wrote");
    if (const auto decoded = Base64::decoded(bytes)) {
        fuzz::require(Base64::encoded(*decoded) == bytes, "and accepts only what it writes");
    }

    std::int64_t count = 0;
    std::memcpy(&count, data, size < sizeof count ? size : sizeof count);
    const std::string text = ByteCount::text(count);
    fuzz::require(text.size() <= 10 && text.find_first_not_of("-0123456789. bytesKMGTPEBZro") == std::string::npos,
                  "a size is short and plain");
    return 0;
}
