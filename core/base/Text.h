// SPDX-License-Identifier: MIT
//
// Texts as people see them: UTF-8 whose unit is the character (extended grapheme cluster), never the byte.
//
// Four comparisons live here that must not be mixed: equalsIgnoringCase is literal and caseless, hasPrefix and
// canonicallyEqual compare characters up to canonical equivalence and mind the case, hasSuffixIgnoringCase
// lower-cases first. Every operation answers plain ASCII without leaving this file's own loops; only other texts
// reach the Unicode library. Bytes that are not UTF-8 count as U+FFFD.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace varnel::Text {

/// Number of characters. In ASCII every byte is one, save that CR followed by LF counts once.
std::int64_t characterCount(std::string_view text);

/// Whether two names are the same but for case: full case folding, no normalisation, no locale.
bool equalsIgnoringCase(std::string_view a, std::string_view b);

/// Whether `text` begins with the characters of `prefix`; case matters, canonically equivalent spellings do not.
bool hasPrefix(std::string_view text, std::string_view prefix);

/// Whether `text` ends in the characters of `suffix` once both are lower-cased.
bool hasSuffixIgnoringCase(std::string_view text, std::string_view suffix);

/// Every code point lower-cased by itself: no locale, no special form for a sigma at the end of a word.
std::string lowercased(std::string_view text);

/// The characters of `text`, each in its composed form, so that equivalent characters are equal strings.
std::vector<std::string> characters(std::string_view text);

/// Whether two texts are canonically equivalent, which is what "equal" means for texts that are not paths.
bool canonicallyEqual(std::string_view a, std::string_view b);

/// The order of a file browser: digit runs by value, then letters without regard to case or accent, then the rest.
/// Negative, zero or positive; zero only for the same text. Independent of the user's locale.
int standardCompare(std::string_view a, std::string_view b);

/// Whether the bytes are well-formed UTF-8.
bool isValidUTF8(std::string_view bytes);

/// The bytes as text: each maximal ill-formed part becomes one U+FFFD, the rest stays.
std::string repaired(std::string_view bytes);

/// `text` with spaces appended (padRight) or put before it (padLeft) up to `width` characters; never cut.
std::string padRight(std::string_view text, std::int64_t width);
std::string padLeft(std::string_view text, std::int64_t width);

/// `text` without white space and line ends at both ends.
std::string_view trimmed(std::string_view text);

/// Whether every byte is below 0x80.
bool isASCII(std::string_view text);

}  // namespace varnel::Text
