// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>

namespace varnel::cli {

/// One line on standard error that says how far a long run has come. Nothing is ever printed where standard error is
/// no terminal, and nothing stays on it in the end.
class ProgressLine {
public:
    /// Whether there is a terminal to draw the line on.
    static bool isPossible();

    ProgressLine();
    ~ProgressLine();
    ProgressLine(const ProgressLine&) = delete;
    ProgressLine& operator=(const ProgressLine&) = delete;

    /// Entries seen and litter found while scanning, with the rate. Cheap: redraws a few times a second.
    void scanning(std::int64_t entries, std::int64_t litter);

    /// Items removed of all while cleaning, with the rate.
    void cleaning(std::int64_t removed, std::int64_t all);

    /// Takes the line away.
    void erase();

    /// What takes the line away, for whoever ends the process from another thread.
    static std::string_view eraser();

private:
    bool isDue();
    std::string rate(std::int64_t count) const;
    void draw(const std::string& text);

    bool isShown_ = false;
    bool isDrawn_ = false;
    std::chrono::steady_clock::time_point begun_;
    std::chrono::steady_clock::time_point drawn_;
};

}  // namespace varnel::cli
