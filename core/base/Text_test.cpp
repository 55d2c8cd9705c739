// SPDX-License-Identifier: MIT
#include "core/base/Text.h"

#include <gtest/gtest.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <cstdint>

#include <string>
#include <vector>

#include "core/base/Unicode.h"
#include "tests/support/Random.h"
#include "tests/support/Vectors.h"

namespace varnel {
namespace {

using nlohmann::json;
using tests::forEachVector;

TEST(TextCharacterCount, CountsWhatAPersonCounts) {
    forEachVector("grapheme-count.json",
                  [](const json& v) { EXPECT_EQ(Text::characterCount(v["input"].get<std::string>()), v["expected"]); });
}

TEST(TextEqualsIgnoringCase, IsLiteralAndCaseless) {
    forEachVector("name-equals.json", [](const json& v) {
        const std::string a = v["input"][0];
        const std::string b = v["input"][1];
        EXPECT_EQ(Text::equalsIgnoringCase(a, b), v["expected"]);
        EXPECT_EQ(Text::equalsIgnoringCase(b, a), v["expected"]) << "the other way round";
    });
}

TEST(TextEqualsIgnoringCase, KnowsEveryCodePointThatFoldsToASCII) {
    for (UChar32 c = 0x80; c <= 0x10FFFF; ++c) {
        if (c >= 0xD800 && c <= 0xDFFF) continue;
        icu::UnicodeString folded(c);
        folded.foldCase();
        std::string ascii;
        folded.toUTF8String(ascii);
        if (!Text::isASCII(ascii)) continue;
        std::string text;
        icu::UnicodeString(c).toUTF8String(text);
        EXPECT_TRUE(Text::equalsIgnoringCase("x" + text, "X" + ascii)) << "U+" << std::hex << c;
    }
}

TEST(TextHasPrefix, ComparesCharacters) {
    forEachVector("has-prefix.json", [](const json& v) {
        EXPECT_EQ(Text::hasPrefix(v["input"][0].get<std::string>(), v["input"][1].get<std::string>()), v["expected"]);
    });
}

TEST(TextHasSuffixIgnoringCase, ComparesLowerCasedCharacters) {
    forEachVector("has-suffix-lowercased.json", [](const json& v) {
        EXPECT_EQ(Text::hasSuffixIgnoringCase(v["input"][0].get<std::string>(), v["input"][1].get<std::string>()),
                  v["expected"]);
    });
}

TEST(TextLowercased, MapsEachCodePointByItself) {
    forEachVector("lowercase.json", [](const json& v) {
        EXPECT_EQ(Text::lowercased(v["input"].get<std::string>()), v["expected"].get<std::string>());
    });
}

TEST(TextCanonicallyEqual, TakesEquivalentSpellingsForEqual) {
    forEachVector("text-equality.json", [](const json& v) {
        EXPECT_EQ(Text::canonicallyEqual(v["input"][0].get<std::string>(), v["input"][1].get<std::string>()),
                  v["expected"]);
    });
}

TEST(TextStandardCompare, OrdersLikeAFileBrowser) {
    forEachVector("localized-standard-compare.json", [](const json& v) {
        if (v["input"].is_object()) {
            auto list = v["input"]["items"].get<std::vector<std::string>>();
            ASSERT_FALSE(list.empty());
            std::stable_sort(list.begin(), list.end(),
                             [](const auto& a, const auto& b) { return Text::standardCompare(a, b) < 0; });
            EXPECT_EQ(json(list), v["expected"]);
            return;
        }
        const std::string a = v["input"][0];
        const std::string b = v["input"][1];
        EXPECT_EQ(Text::standardCompare(a, b), v["expected"]);
        EXPECT_EQ(Text::standardCompare(b, a), -v["expected"].get<int>()) << "the other way round";
    });
}

TEST(TextRepaired, ReplacesEachMaximalIllFormedPart) {
    forEachVector("utf8-repair.json", [](const json& v) {
        const std::string bytes = tests::bytesFromHex(v["input"]);
        EXPECT_EQ(Text::repaired(bytes), v["expected"]["text"].get<std::string>());
        EXPECT_EQ(Text::isValidUTF8(bytes), v["expected"]["valid"]);
        EXPECT_EQ(Text::repaired(bytes) == bytes, v["expected"]["roundTrips"]);
    });
}

TEST(TextPad, FillsUpToAWidthInCharactersAndNeverCuts) {
    forEachVector("pad.json", [](const json& v) {
        const std::string text = v["input"]["text"];
        const std::int64_t width = v["input"]["width"];
        EXPECT_EQ(v["input"]["op"] == "right" ? Text::padRight(text, width) : Text::padLeft(text, width),
                  v["expected"].get<std::string>());
    });
}

TEST(TextTrimmed, TakesWhiteSpaceFromBothEnds) {
    forEachVector("trim-white-space.json", [](const json& v) {
        EXPECT_EQ(Text::trimmed(v["input"].get<std::string>()), v["expected"].get<std::string>());
    });
}

TEST(TextTrimmed, LeavesBytesThatAreNoText) {
    EXPECT_EQ(Text::trimmed(" \xff "), "\xff");
    EXPECT_EQ(Text::trimmed("\x80"), "\x80");
}

TEST(TextCharacters, GivesComposedCharacters) {
    EXPECT_EQ(Text::characters("ab"), (std::vector<std::string>{"a", "b"}));
    EXPECT_EQ(Text::characters("a\r\nb"), (std::vector<std::string>{"a", "\r\n", "b"}));
    EXPECT_EQ(Text::characters("e\u0301x"), (std::vector<std::string>{"\u00e9", "x"}));
    EXPECT_TRUE(Text::characters("").empty());
}

TEST(TextIsASCII, LooksAtEveryByte) {
    for (std::size_t length = 0; length < 40; ++length) {
        std::string text(length, 'a');
        EXPECT_TRUE(Text::isASCII(text));
        for (std::size_t at = 0; at < length; ++at) {
            std::string marked = text;
            marked[at] = '\x80';
            EXPECT_FALSE(Text::isASCII(marked)) << at << " of " << length;
        }
    }
}

/// The answers without the fast paths, straight from the Unicode library.
struct Model {
    static bool hasPrefix(const std::string& text, const std::string& prefix) {
        const auto a = Unicode::composedCharacters(text);
        const auto b = Unicode::composedCharacters(prefix);
        return a.size() >= b.size() && std::equal(b.begin(), b.end(), a.begin());
    }
    static bool hasSuffix(const std::string& text, const std::string& suffix) {
        const auto a = Unicode::composedCharacters(Unicode::lowercased(text));
        const auto b = Unicode::composedCharacters(Unicode::lowercased(suffix));
        return a.size() >= b.size() && std::equal(b.rbegin(), b.rend(), a.rbegin());
    }
};

TEST(TextFastPaths, AgreeWithTheUnicodeLibrary) {
    tests::Random random;
    const std::vector<std::string> pieces = {".",          "_",      "a",      "A",       "k",      "K",      "s",
                                             ";",          "`",      "\r",     "\n",      "*",      "\u0301", "\u017f",
                                             "\u212a",     "\u00df", "\u00e9", "e\u0301", "\u1fef", "\u037e", "\u200d",
                                             "\U0001f469", "\ufb05", "\u0130", "i"};
    for (int round = 0; round < 20000; ++round) {
        const std::string a = random.text(pieces, 6);
        const std::string b = random.text(pieces, 3);
        SCOPED_TRACE(json(a).dump() + " and " + json(b).dump());
        EXPECT_EQ(Text::characterCount(a), Unicode::characterCount(a));
        EXPECT_EQ(Text::equalsIgnoringCase(a, b), Unicode::caseFoldedEqual(a, b));
        EXPECT_EQ(Text::hasPrefix(a, b), Model::hasPrefix(a, b));
        EXPECT_EQ(Text::hasSuffixIgnoringCase(a, b), Model::hasSuffix(a, b));
        EXPECT_EQ(Text::lowercased(a), Unicode::lowercased(a));
        EXPECT_EQ(Text::characters(a), Unicode::composedCharacters(a));
        EXPECT_EQ(Text::canonicallyEqual(a, b), Unicode::composed(a) == Unicode::composed(b));
        if (::testing::Test::HasFailure()) return;
    }
}

}  // namespace
}  // namespace varnel
