// SPDX-License-Identifier: MIT
//
// What a tree is, entry by entry, so that a test can say: this is gone, and nothing else changed.
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>

namespace varnel::tests {

class Manifest {
public:
    /// Everything below `root`, links not followed: kind, mode, owner, size, times, contents, extended attributes,
    /// number of names.
    /// Mounts are entered.
    static Manifest of(const std::string& root);

    /// The paths below the root, as bytes.
    std::set<std::string> paths() const;

    /// How `after` differs from this one if exactly `gone`, with everything below it, should be missing; empty where
    /// it does not. The times of a folder that lost an entry are free to change.
    std::string differences(const Manifest& after, const std::set<std::string>& gone) const;

private:
    struct Entry {
        std::string facts;  // everything that must stay
        std::string times;  // what may change where something inside is gone
        std::string file;   // what other names of one file share; empty where there is no other
        std::uint64_t links = 1;
    };
    std::map<std::string, Entry> entries_;
};

/// Expects that `after` is this manifest without `gone`.
#define EXPECT_ONLY_GONE(before, after, ...) EXPECT_EQ((before).differences(after, __VA_ARGS__), "")

}  // namespace varnel::tests
