// SPDX-License-Identifier: MIT
#include "cli/Output.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <iostream>
#include <string>
#include <string_view>
#include <system_error>

#include "core/base/Text.h"

namespace varnel::cli {
namespace {

std::string hex(std::uint32_t value, int digits) {
    std::array<char, 16> buffer{};
    std::snprintf(buffer.data(), buffer.size(), "%0*X", digits, value);
    return buffer.data();
}

/// The first code point of a well-formed text and its length in bytes.
std::uint32_t firstCodePoint(std::string_view text, std::size_t& length) {
    const auto lead = static_cast<unsigned char>(text.front());
    length = lead < 0x80 ? 1 : (lead < 0xE0 ? 2 : (lead < 0xF0 ? 3 : 4));
    std::uint32_t codePoint = length == 1 ? lead : lead & (0x7FU >> length);
    for (std::size_t i = 1; i < length; ++i)
        codePoint = codePoint << 6U | (static_cast<unsigned char>(text[i]) & 0x3FU);
    return codePoint;
}

struct Range {
    std::uint32_t first, last;
};

/// Control characters, line separators and everything that turns the direction of writing.
constexpr std::array<Range, 7> neverRaw = {{
    {0x00, 0x1F},
    {0x7F, 0x9F},
    {0x061C, 0x061C},
    {0x200E, 0x200F},
    {0x2028, 0x202E},
    {0x2066, 0x2069},
    {0xFEFF, 0xFEFF},
}};

std::string escapedCodePoint(std::uint32_t codePoint) {
    switch (codePoint) {
        case '\n':
            return "\\n";
        case '\r':
            return "\\r";
        case '\t':
            return "\\t";
        default:
            return codePoint < 0x80 ? "\\x" + hex(codePoint, 2) : "\\u{" + hex(codePoint, 4) + "}";
    }
}

/// Length of the longest well-formed beginning, at most `limit` bytes long.
std::size_t wellFormedLength(std::string_view text) {
    for (std::size_t length = std::min<std::size_t>(4, text.size()); length > 0; --length) {
        if (!Text::isValidUTF8(text.substr(0, length))) continue;
        std::size_t first = 0;
        firstCodePoint(text, first);
        return first;
    }
    return 0;
}

bool outIsTerminal() {
    static const bool is = ::isatty(STDOUT_FILENO) == 1;
    return is;
}

bool errIsTerminal() {
    static const bool is = ::isatty(STDERR_FILENO) == 1;
    return is;
}

/// Why a part of the results could not be written, by the first that could not; 0 where none is missing.
std::atomic<int> loss{0};

void noteLoss(int error) {
    int none = 0;
    loss.compare_exchange_strong(none, error == 0 ? EIO : error);
}

void writeToErrors(std::string_view text) {
    std::fwrite(text.data(), 1, text.size(), stderr);
}

}  // namespace

std::string escapedForTerminal(std::string_view bytes) {
    std::string text;
    while (!bytes.empty()) {
        const std::size_t length = wellFormedLength(bytes);
        if (length == 0) {
            text += "\\x" + hex(static_cast<unsigned char>(bytes.front()), 2);
            bytes.remove_prefix(1);
            continue;
        }
        std::size_t same = 0;
        const std::uint32_t codePoint = firstCodePoint(bytes, same);
        const bool isHidden = std::any_of(neverRaw.begin(), neverRaw.end(), [codePoint](const Range& range) {
            return codePoint >= range.first && codePoint <= range.last;
        });
        if (isHidden) {
            text += escapedCodePoint(codePoint);
        } else {
            text += bytes.substr(0, length);
        }
        bytes.remove_prefix(length);
    }
    return text;
}

namespace Output {

std::string shown(std::string_view bytes) {
    return outIsTerminal() ? escapedForTerminal(bytes) : Text::repaired(bytes);
}

std::string shownInMessage(std::string_view bytes) {
    return errIsTerminal() ? escapedForTerminal(bytes) : Text::repaired(bytes);
}

void result(std::string_view text) {
    errno = 0;
    if (std::fwrite(text.data(), 1, text.size(), stdout) < text.size()) noteLoss(errno);
}

void message(std::string_view text) {
    writeToErrors("varnel: " + std::string(text) + '\n');
}

void aside(std::string_view text) {
    writeToErrors(text);
}

bool flush() {
    errno = 0;
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) noteLoss(errno);
    return loss == 0;
}

bool finish() {
    if (flush()) return true;
    // Whoever closed the pipe has read enough, and knows.
    if (loss != EPIPE) message("cannot write the result: " + std::generic_category().message(loss));
    return false;
}

}  // namespace Output

namespace Terminal {

bool canAsk() {
    return ::isatty(STDIN_FILENO) == 1 && errIsTerminal();
}

bool ask(std::string_view question) {
    // Nobody can agree to what was not shown.
    if (!Output::flush()) return false;
    Output::aside(question);
    std::string answer;
    if (!std::getline(std::cin, answer)) {
        Output::aside("\n");
        return false;
    }
    const std::string lower = Text::lowercased(Text::trimmed(answer));
    return lower == "y" || lower == "yes";
}

}  // namespace Terminal
}  // namespace varnel::cli
