// SPDX-License-Identifier: MIT
#include "core/base/Unicode.h"

#ifndef __linux__
#error "This source is for Linux."
#endif

#include <unicode/brkiter.h>
#include <unicode/coll.h>
#include <unicode/locid.h>
#include <unicode/normalizer2.h>
#include <unicode/uchar.h>
#include <unicode/ucol.h>
#include <unicode/unistr.h>
#include <unicode/utypes.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "core/base/Checked.h"

namespace varnel::Unicode {
namespace {

icu::UnicodeString fromUTF8(std::string_view text) {
    return icu::UnicodeString::fromUTF8(icu::StringPiece(text.data(), static_cast<std::int32_t>(text.size())));
}

std::string toUTF8(const icu::UnicodeString& text) {
    std::string bytes;
    return text.toUTF8String(bytes);
}

void require(UErrorCode status, const char* what) {
    if (U_FAILURE(status)) trap(what);
}

/// A break iterator is stateful and dear to build: one master for the process, one clone for each thread.
icu::BreakIterator& characterIterator() {
    static const std::unique_ptr<icu::BreakIterator> master = [] {
        UErrorCode status = U_ZERO_ERROR;
        std::unique_ptr<icu::BreakIterator> iterator(
            icu::BreakIterator::createCharacterInstance(icu::Locale::getRoot(), status));
        require(status, "the Unicode library has no character break iterator");
        return iterator;
    }();
    thread_local const std::unique_ptr<icu::BreakIterator> mine(master->clone());
    return *mine;
}

const icu::Normalizer2& composer() {
    static const icu::Normalizer2* const instance = [] {
        UErrorCode status = U_ZERO_ERROR;
        const icu::Normalizer2* const nfc = icu::Normalizer2::getNFCInstance(status);
        require(status, "the Unicode library has no composing normaliser");
        return nfc;
    }();
    return *instance;
}

icu::UnicodeString compose(const icu::UnicodeString& text) {
    UErrorCode status = U_ZERO_ERROR;
    icu::UnicodeString result = composer().normalize(text, status);
    require(status, "the Unicode library could not normalise a text");
    return result;
}

const icu::Collator& collator() {
    static const std::unique_ptr<icu::Collator> instance = [] {
        UErrorCode status = U_ZERO_ERROR;
        std::unique_ptr<icu::Collator> made(icu::Collator::createInstance(icu::Locale("en", "US"), status));
        require(status, "the Unicode library has no collator");
        made->setAttribute(UCOL_NUMERIC_COLLATION, UCOL_ON, status);
        made->setAttribute(UCOL_ALTERNATE_HANDLING, UCOL_NON_IGNORABLE, status);
        made->setAttribute(UCOL_NORMALIZATION_MODE, UCOL_ON, status);
        made->setStrength(icu::Collator::TERTIARY);
        require(status, "the Unicode library refused a collation setting");
        return made;
    }();
    return *instance;
}

/// The lengths of the digit runs from the left, which break the tie between disk1 and disk01.
int compareDigitRuns(const icu::UnicodeString& a, const icu::UnicodeString& b) {
    const auto nextRun = [](const icu::UnicodeString& text, std::int32_t& at) {
        while (at < text.length() && u_isdigit(text.charAt(at)) == 0)
            ++at;
        const std::int32_t start = at;
        while (at < text.length() && u_isdigit(text.charAt(at)) != 0)
            ++at;
        return at - start;
    };
    std::int32_t inA = 0;
    std::int32_t inB = 0;
    for (;;) {
        const std::int32_t runA = nextRun(a, inA);
        const std::int32_t runB = nextRun(b, inB);
        if (runA != runB) return runA < runB ? -1 : 1;
        if (runA == 0) return 0;
    }
}

}  // namespace

std::int64_t characterCount(std::string_view text) {
    const icu::UnicodeString wide = fromUTF8(text);
    icu::BreakIterator& iterator = characterIterator();
    iterator.setText(wide);
    std::int64_t count = 0;
    while (iterator.next() != icu::BreakIterator::DONE)
        ++count;
    return count;
}

std::vector<std::string> composedCharacters(std::string_view text) {
    const icu::UnicodeString wide = fromUTF8(text);
    icu::BreakIterator& iterator = characterIterator();
    iterator.setText(wide);
    std::vector<std::string> all;
    for (std::int32_t start = iterator.first(), end = iterator.next(); end != icu::BreakIterator::DONE;
         start = end, end = iterator.next()) {
        all.push_back(toUTF8(compose(wide.tempSubStringBetween(start, end))));
    }
    return all;
}

std::string composed(std::string_view text) {
    return toUTF8(compose(fromUTF8(text)));
}

bool caseFoldedEqual(std::string_view a, std::string_view b) {
    return fromUTF8(a).caseCompare(fromUTF8(b), U_FOLD_CASE_DEFAULT) == 0;
}

std::string lowercased(std::string_view text) {
    constexpr UChar32 capitalIWithDot = 0x130;
    constexpr UChar32 combiningDotAbove = 0x307;
    const icu::UnicodeString wide = fromUTF8(text);
    icu::UnicodeString lower;
    for (std::int32_t at = 0; at < wide.length(); at = wide.moveIndex32(at, 1)) {
        const UChar32 c = wide.char32At(at);
        if (c == capitalIWithDot) {
            lower.append(static_cast<UChar32>('i')).append(combiningDotAbove);
        } else {
            lower.append(u_tolower(c));
        }
    }
    return toUTF8(lower);
}

int standardCompare(std::string_view a, std::string_view b) {
    const icu::UnicodeString wideA = fromUTF8(a);
    const icu::UnicodeString wideB = fromUTF8(b);
    UErrorCode status = U_ZERO_ERROR;
    const UCollationResult order = collator().compare(wideA, wideB, status);
    require(status, "the Unicode library could not compare two texts");
    if (order != UCOL_EQUAL) return order == UCOL_LESS ? -1 : 1;
    if (const int runs = compareDigitRuns(wideA, wideB); runs != 0) return runs;
    if (wideA == wideB) return 0;
    return wideA < wideB ? -1 : 1;
}

}  // namespace varnel::Unicode
