// SPDX-License-Identifier: MIT
#include "core/base/Text.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "core/base/Unicode.h"

namespace varnel::Text {
namespace {

constexpr std::string_view replacementCharacter = "\xEF\xBF\xBD";

unsigned char byteAt(std::string_view text, std::size_t at) {
    return static_cast<unsigned char>(text[at]);
}

char lowerASCII(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

/// Length of the well-formed UTF-8 sequence that begins at `at`, or 0; `broken` then tells how many bytes one
/// replacement stands for.
std::size_t sequenceLength(std::string_view text, std::size_t at, std::size_t& broken) {
    broken = 1;
    const unsigned char lead = byteAt(text, at);
    if (lead < 0x80) return 1;
    std::size_t length = 0;
    unsigned char lowest = 0x80;
    unsigned char highest = 0xBF;
    if (lead >= 0xC2 && lead <= 0xDF) {
        length = 2;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        length = 3;
        if (lead == 0xE0) lowest = 0xA0;
        if (lead == 0xED) highest = 0x9F;  // the rest would be surrogates
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        length = 4;
        if (lead == 0xF0) lowest = 0x90;
        if (lead == 0xF4) highest = 0x8F;
    } else {
        return 0;
    }
    for (std::size_t i = 1; i < length; ++i) {
        if (at + i >= text.size() || byteAt(text, at + i) < lowest || byteAt(text, at + i) > highest) {
            broken = i;
            return 0;
        }
        lowest = 0x80;
        highest = 0xBF;
    }
    return length;
}

/// A view of the text as valid UTF-8; `storage` holds the repaired copy where one is needed.
std::string_view valid(std::string_view text, std::string& storage) {
    if (isValidUTF8(text)) return text;
    storage = repaired(text);
    return storage;
}

/// The few code points outside ASCII whose full case folding is ASCII, as UTF-8.
constexpr std::array<std::string_view, 11> foldingToASCII = {
    "\u00DF", "\u017F", "\u1E9E", "\u212A",  // sharp s, long s, capital sharp s, Kelvin sign
    "\uFB00", "\uFB01", "\uFB02", "\uFB03", "\uFB04", "\uFB05", "\uFB06",  // Latin ligatures
};

/// Whether the text could fold to ASCII, which is the only way in which it can equal an ASCII name.
bool mayFoldToASCII(std::string_view text) {
    for (std::size_t at = 0; at < text.size();) {
        if (byteAt(text, at) < 0x80) {
            ++at;
            continue;
        }
        const auto found = std::find_if(foldingToASCII.begin(), foldingToASCII.end(),
                                        [&](std::string_view special) { return text.substr(at).starts_with(special); });
        if (found == foldingToASCII.end()) return false;
        at += found->size();
    }
    return true;
}

bool equalASCIIIgnoringCase(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) return false;
    for (std::size_t i = 0; i < a.size(); ++i) {
        if (lowerASCII(a[i]) != lowerASCII(b[i])) return false;
    }
    return true;
}

bool holdsLineEndPair(std::string_view text) {
    return text.find('\r') != std::string_view::npos;
}

/// Texts in which byte comparison and character comparison agree.
bool isPlain(std::string_view text) {
    return isASCII(text) && !holdsLineEndPair(text);
}

/// Whether the text consists of ASCII characters that no other code point is equivalent to and that never join with
/// what follows them but for marks: not a line end; and not K, semicolon and grave accent, which the Kelvin sign, the
/// Greek question mark and the Greek varia are under another number.
bool hasOneSpelling(std::string_view text) {
    return std::all_of(text.begin(), text.end(), [](char c) {
        return static_cast<unsigned char>(c) < 0x80 && c != '\r' && c != 'K' && c != ';' && c != '`';
    });
}

/// Whether a character begins where `text` does, behind an ASCII character that is no line end: every code point does
/// but marks and joiners, which belong to what stands before them.
bool beginsCharacter(std::string_view text, char before) {
    const unsigned char lead = byteAt(text, 0);
    constexpr unsigned char firstLeadOfMarks = 0xCC;  // U+0300
    const bool isIdeograph = lead >= 0xE4 && lead <= 0xE9;
    if (lead < firstLeadOfMarks || isIdeograph) return true;
    std::size_t broken = 0;
    const std::size_t length = sequenceLength(text, 0, broken);
    if (length == 0) return true;  // shown as U+FFFD, which is a character
    return Unicode::characterCount(before + std::string(text.substr(0, length))) == 2;
}

bool charactersEndWith(std::string_view text, std::string_view suffix) {
    const std::vector<std::string> textCharacters = characters(text);
    const std::vector<std::string> suffixCharacters = characters(suffix);
    return textCharacters.size() >= suffixCharacters.size() &&
           std::equal(suffixCharacters.rbegin(), suffixCharacters.rend(), textCharacters.rbegin());
}

/// Length in bytes of the white space character at the front of `text`, or 0.
std::size_t whiteSpaceLength(std::string_view text) {
    const unsigned char first = byteAt(text, 0);
    if (first == ' ' || (first >= 0x09 && first <= 0x0D)) return 1;
    if (text.starts_with("\u0085") || text.starts_with("\u00A0")) return 2;
    if (text.size() < 3) return 0;
    const std::string_view three = text.substr(0, 3);
    const bool isBlock2000 = three >= "\u2000" && three <= "\u200B";
    const bool isOther = three == "\u1680" || three == "\u2028" || three == "\u2029" || three == "\u202F" ||
                         three == "\u205F" || three == "\u3000";
    return isBlock2000 || isOther ? 3 : 0;
}

}  // namespace

bool isASCII(std::string_view text) {
    std::size_t at = 0;
    for (; at + sizeof(std::uint64_t) <= text.size(); at += sizeof(std::uint64_t)) {
        std::uint64_t word = 0;
        std::memcpy(&word, text.data() + at, sizeof word);
        if ((word & 0x8080808080808080U) != 0) return false;
    }
    for (; at < text.size(); ++at) {
        if (byteAt(text, at) >= 0x80) return false;
    }
    return true;
}

std::int64_t characterCount(std::string_view text) {
    if (isASCII(text)) {
        auto count = static_cast<std::int64_t>(text.size());
        for (std::size_t at = text.find("\r\n"); at != std::string_view::npos; at = text.find("\r\n", at + 2))
            --count;
        return count;
    }
    std::string storage;
    return Unicode::characterCount(valid(text, storage));
}

bool equalsIgnoringCase(std::string_view a, std::string_view b) {
    if (a == b) return true;
    if (equalASCIIIgnoringCase(a, b)) return true;
    const bool aIsASCII = isASCII(a);
    const bool bIsASCII = isASCII(b);
    if (aIsASCII && bIsASCII) return false;
    if (aIsASCII && !mayFoldToASCII(b)) return false;
    if (bIsASCII && !mayFoldToASCII(a)) return false;
    std::string aStorage;
    std::string bStorage;
    return Unicode::caseFoldedEqual(valid(a, aStorage), valid(b, bStorage));
}

bool hasPrefix(std::string_view text, std::string_view prefix) {
    if (prefix.empty()) return true;
    if (hasOneSpelling(prefix)) {
        if (!text.starts_with(prefix)) return false;
        // The prefix must end where a character ends: a mark that follows belongs to the prefix's last character.
        return text.size() == prefix.size() || beginsCharacter(text.substr(prefix.size()), prefix.back());
    }
    const std::vector<std::string> textCharacters = characters(text);
    const std::vector<std::string> prefixCharacters = characters(prefix);
    return textCharacters.size() >= prefixCharacters.size() &&
           std::equal(prefixCharacters.begin(), prefixCharacters.end(), textCharacters.begin());
}

bool hasSuffixIgnoringCase(std::string_view text, std::string_view suffix) {
    if (isPlain(text) && isPlain(suffix)) {
        return text.size() >= suffix.size() && equalASCIIIgnoringCase(text.substr(text.size() - suffix.size()), suffix);
    }
    return charactersEndWith(lowercased(text), lowercased(suffix));
}

std::string lowercased(std::string_view text) {
    if (isASCII(text)) {
        std::string lower(text);
        std::transform(lower.begin(), lower.end(), lower.begin(), lowerASCII);
        return lower;
    }
    std::string storage;
    return Unicode::lowercased(valid(text, storage));
}

std::vector<std::string> characters(std::string_view text) {
    if (isPlain(text)) {
        std::vector<std::string> all;
        all.reserve(text.size());
        for (const char c : text)
            all.emplace_back(1, c);
        return all;
    }
    std::string storage;
    return Unicode::composedCharacters(valid(text, storage));
}

bool canonicallyEqual(std::string_view a, std::string_view b) {
    if (a == b) return true;
    if (isASCII(a) && isASCII(b)) return false;
    std::string aStorage;
    std::string bStorage;
    return Unicode::composed(valid(a, aStorage)) == Unicode::composed(valid(b, bStorage));
}

int standardCompare(std::string_view a, std::string_view b) {
    if (a == b) return 0;
    std::string aStorage;
    std::string bStorage;
    return Unicode::standardCompare(valid(a, aStorage), valid(b, bStorage));
}

bool isValidUTF8(std::string_view bytes) {
    if (isASCII(bytes)) return true;
    std::size_t broken = 0;
    for (std::size_t at = 0; at < bytes.size();) {
        const std::size_t length = sequenceLength(bytes, at, broken);
        if (length == 0) return false;
        at += length;
    }
    return true;
}

std::string repaired(std::string_view bytes) {
    std::string text;
    text.reserve(bytes.size());
    std::size_t broken = 0;
    for (std::size_t at = 0; at < bytes.size();) {
        const std::size_t length = sequenceLength(bytes, at, broken);
        if (length == 0) {
            text += replacementCharacter;
            at += broken;
        } else {
            text += bytes.substr(at, length);
            at += length;
        }
    }
    return text;
}

std::string padRight(std::string_view text, std::int64_t width) {
    const std::int64_t missing = std::max<std::int64_t>(0, width - characterCount(text));
    return std::string(text).append(static_cast<std::size_t>(missing), ' ');
}

std::string padLeft(std::string_view text, std::int64_t width) {
    const std::int64_t missing = std::max<std::int64_t>(0, width - characterCount(text));
    return std::string(static_cast<std::size_t>(missing), ' ').append(text);
}

std::string_view trimmed(std::string_view text) {
    while (!text.empty()) {
        const std::size_t length = whiteSpaceLength(text);
        if (length == 0) break;
        text.remove_prefix(length);
    }
    while (!text.empty()) {
        std::size_t start = text.size() - 1;
        while (start > 0 && text.size() - start < 3 && (byteAt(text, start) & 0xC0U) == 0x80U)
            --start;
        const std::size_t length = whiteSpaceLength(text.substr(start));
        if (length == 0 || start + length != text.size()) break;
        text.remove_suffix(length);
    }
    return text;
}

}  // namespace varnel::Text
