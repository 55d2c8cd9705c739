// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <expected>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "cli/ExitStatus.h"
#include "core/rules/RuleScope.h"
#include "core/rules/RuleSet.h"

namespace varnel::cli {

/// Which rules apply, and how the result is shown: what scan and clean have in common.
struct Selection {
    RuleSet rules = RuleSet::standard();
    RuleScope scope = RuleScope::adhoc;
    std::int64_t samples = 20;
    bool json = false;
};

struct ScanArguments {
    std::vector<std::string> paths;
    Selection selection;
};

struct CleanArguments {
    std::vector<std::string> paths;
    Selection selection;
    bool yes = false;
    bool dryRun = false;
    bool macFormat = false;
    bool allowLiveForks = false;
    bool forceSystemVolumeInformation = false;
    bool eject = false;
};

/// A clean of every visible volume that is not Mac-formatted, with the live rules.
struct SweepArguments {
    Selection selection;
    bool yes = false;
    bool dryRun = false;
    bool allowLiveForks = false;
};

/// The live watcher in the foreground.
struct WatchArguments {
    std::vector<std::string> paths;  ///< None: the visible volumes that are not Mac-formatted.
    bool sweepFirst = false;
    std::optional<std::int64_t> sweepEvery;  ///< Minutes.
    bool allowLiveForks = false;
};

struct EjectArguments {
    std::string path;
};

struct RulesArguments {
    bool json = false;
};

struct VolumesArguments {
    bool json = false;
};

struct LogArguments {
    std::optional<std::int64_t> lines;
    bool follow = false;
};

using Arguments = std::variant<ScanArguments, CleanArguments, SweepArguments, WatchArguments, EjectArguments,
                               RulesArguments, VolumesArguments, LogArguments>;

/// A command line that is answered by a text alone: help, the version, or what is wrong with it.
struct Answer {
    std::string text;
    bool isError = false;
    ExitStatus status = ExitStatus::done;
};

/// Reads the words behind the program's name.
std::expected<Arguments, Answer> parseArguments(const std::vector<std::string>& words);

}  // namespace varnel::cli
