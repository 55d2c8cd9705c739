// SPDX-License-Identifier: MIT
//
// Generated input for properties. The seed is fresh in every run and named when a test fails;
// VARNEL_SEED repeats a run.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

namespace varnel::tests {

class Random {
public:
    Random()
        : seed_(chosenSeed()), engine_(seed_), trace_(__FILE__, __LINE__, "VARNEL_SEED=" + std::to_string(seed_)) {}

    /// A number from 0 up to, not including, `bound`.
    std::size_t below(std::size_t bound) { return std::uniform_int_distribution<std::size_t>(0, bound - 1)(engine_); }
    bool chance(double probability) { return std::bernoulli_distribution(probability)(engine_); }

    template <typename Element>
    const Element& oneOf(const std::vector<Element>& list) {
        return list[below(list.size())];
    }

    /// A text of up to `longest` pieces.
    std::string text(const std::vector<std::string>& pieces, std::size_t longest) {
        std::string result;
        for (std::size_t count = below(longest + 1); count > 0; --count)
            result += oneOf(pieces);
        return result;
    }

private:
    static std::uint32_t chosenSeed() {
        const char* const wanted = std::getenv("VARNEL_SEED");
        return wanted == nullptr ? std::random_device()() : static_cast<std::uint32_t>(std::stoul(wanted));
    }

    std::uint32_t seed_;
    std::mt19937 engine_;
    ::testing::ScopedTrace trace_;
};

}  // namespace varnel::tests
