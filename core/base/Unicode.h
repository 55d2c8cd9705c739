// SPDX-License-Identifier: MIT
//
// Port: what the platform's Unicode library knows. Text asks only after its own ASCII paths gave no answer.
// All texts are well-formed UTF-8. Safe from any thread.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace varnel::Unicode {

/// Number of extended grapheme clusters.
std::int64_t characterCount(std::string_view text);

/// The extended grapheme clusters, each normalised to NFC.
std::vector<std::string> composedCharacters(std::string_view text);

/// The whole text normalised to NFC.
std::string composed(std::string_view text);

/// Equality after full, locale-free case folding, without normalisation.
bool caseFoldedEqual(std::string_view a, std::string_view b);

/// Each code point lower-cased by itself; U+0130 becomes i and U+0307.
std::string lowercased(std::string_view text);

/// The file browser's order for American English: see Text::standardCompare.
int standardCompare(std::string_view a, std::string_view b);

}  // namespace varnel::Unicode
