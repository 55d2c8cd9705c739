// SPDX-License-Identifier: MIT
#include "cli/ProgressLine.h"

#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>

#include "cli/Output.h"

namespace varnel::cli {
namespace {

using std::chrono::steady_clock;

constexpr std::chrono::milliseconds redrawInterval{100};

}  // namespace

ProgressLine::ProgressLine() : isShown_(isPossible()), begun_(steady_clock::now()), drawn_(begun_) {}

bool ProgressLine::isPossible() {
    return ::isatty(STDERR_FILENO) == 1;
}

ProgressLine::~ProgressLine() {
    erase();
}

void ProgressLine::scanning(std::int64_t entries, std::int64_t litter) {
    if (!isDue()) return;
    draw(std::to_string(entries) + " entries, " + std::to_string(litter) + " litter, " + rate(entries) + " entries/s");
}

void ProgressLine::cleaning(std::int64_t removed, std::int64_t all) {
    if (!isDue()) return;
    draw(std::to_string(removed) + " of " + std::to_string(all) + " removed, " + rate(removed) + " items/s");
}

void ProgressLine::erase() {
    if (isDrawn_) Output::aside(eraser());
    isDrawn_ = false;
}

std::string_view ProgressLine::eraser() {
    return "\r\x1b[K";
}

bool ProgressLine::isDue() {
    if (!isShown_) return false;
    const auto now = steady_clock::now();
    if (now - drawn_ < redrawInterval) return false;
    drawn_ = now;
    return true;
}

std::string ProgressLine::rate(std::int64_t count) const {
    const auto milliseconds = std::chrono::duration_cast<std::chrono::milliseconds>(drawn_ - begun_).count();
    return std::to_string(milliseconds > 0 ? count * 1000 / milliseconds : 0);
}

void ProgressLine::draw(const std::string& text) {
    Output::aside(std::string(eraser()) + "  " + text);
    isDrawn_ = true;
}

}  // namespace varnel::cli
