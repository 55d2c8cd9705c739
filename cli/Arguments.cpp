// SPDX-License-Identifier: MIT
#include "cli/Arguments.h"

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Error.hpp>
#include <CLI/Formatter.hpp>
#include <CLI/Option.hpp>
#include <CLI/Validators.hpp>
#include <algorithm>
#include <cstdint>
#include <expected>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "cli/ExitStatus.h"
#include "cli/Output.h"
#include "core/rules/Rule.h"
#include "core/rules/RuleScope.h"
#include "core/rules/RuleSet.h"

namespace varnel::cli {
namespace {

constexpr const char* footer =
    "Exit status: 0 done, 1 something failed or was declined, 2 wrong usage, 3 refused, 130 interrupted.";

constexpr std::int64_t mostMinutes = std::int64_t{60} * 24 * 365;

/// The options of scan and clean as they were given.
struct SelectionWords {
    Selection selection;
    bool live = false;
    std::vector<std::string> only;
    std::vector<std::string> except;
};

/// `paths`: one text, or several.
template <typename Paths>
CLI::Option* addPaths(CLI::App& command, Paths& paths, const char* description = "Folders or volumes") {
    // An empty word is what a script's unset variable leaves, and must not mean the current folder.
    const auto refuseEmpty = [](const std::string& path) {
        return path.empty() ? std::string("a PATH is empty") : std::string();
    };
    return command.add_option("PATH", paths, description)->check(refuseEmpty, "");
}

void addSelection(CLI::App& command, SelectionWords& words) {
    command.add_flag("--json", words.selection.json, "Print one JSON object per PATH");
    command.add_option("--samples", words.selection.samples, "How many items to list; 0 lists none")
        ->type_name("N")
        ->capture_default_str()
        ->check(CLI::NonNegativeNumber);
    auto* const only = command.add_option("--only", words.only, "Only these rules")
                           ->delimiter(',')
                           ->type_name("ID,...")
                           ->allow_extra_args(false);
    command.add_option("--except", words.except, "All rules but these")
        ->delimiter(',')
        ->type_name("ID,...")
        ->allow_extra_args(false)
        ->excludes(only);
}

/// The parser has notations of its own: "[a,b]" is a list of two words to it, and "++" ends a command's words. A folder
/// may have such a name, and another folder must never be cleaned in its place.
std::string takenAsItStands(std::string word) {
    if (word.starts_with('[') || word == "++") word.insert(0, "./");
    return word;
}

bool isListed(const std::vector<std::string>& ids, const std::string& id) {
    return std::find(ids.begin(), ids.end(), id) != ids.end();
}

/// Switches rules off as --only and --except say; throws what is wrong with them in the parser's own manner.
Selection selected(SelectionWords words) {
    std::vector<Rule>& rules = words.selection.rules.rules;
    for (const auto* const ids : {&words.only, &words.except}) {
        for (const std::string& id : *ids) {
            if (std::none_of(rules.begin(), rules.end(), [&](const Rule& rule) { return rule.id == id; })) {
                throw CLI::ValidationError("there is no rule \"" + id + "\"; `varnel rules` lists them");
            }
        }
    }
    for (Rule& rule : rules) {
        if (!words.only.empty() && !isListed(words.only, rule.id)) rule.enabled = false;
        if (isListed(words.except, rule.id)) rule.enabled = false;
    }
    if (words.live) words.selection.scope = RuleScope::watcher;
    return std::move(words.selection);
}

/// The whole command line: the parser and what it fills in.
class CommandLine {
public:
    CommandLine() {
        app_.set_version_flag("--version", "varnel " VARNEL_VERSION, "Print the version");
        app_.footer(footer);
        app_.require_subcommand(1);
        addPaths(scan_, scanArguments_.paths)->required();
        addPaths(clean_, cleanArguments_.paths)->required();
        addPaths(watch_, watchArguments_.paths);
        addPaths(eject_, ejectArguments_.path, "A volume, or anything on it")->required();
        addSelection(scan_, scanWords_);
        addSelection(clean_, cleanWords_);
        addSelection(sweep_, sweepWords_);
        for (const auto& [command, words] : {std::pair(&scan_, &scanWords_), std::pair(&clean_, &cleanWords_)}) {
            command->add_flag("--live", words->live, "Only the rules that the live watcher applies");
        }
        sweep_.add_flag("--yes", sweepArguments_.yes, "Do not ask");
        sweep_.add_flag("--dry-run", sweepArguments_.dryRun, "Do everything but delete");
        sweep_.add_flag("--allow-live-forks", sweepArguments_.allowLiveForks,
                        "Also clean shares whose file server keeps live data in ._ files");
        clean_.add_flag("--yes", cleanArguments_.yes, "Do not ask");
        clean_.add_flag("--dry-run", cleanArguments_.dryRun, "Do everything but delete");
        clean_.add_flag("--mac-format", cleanArguments_.macFormat, "Also clean Mac-formatted volumes");
        clean_.add_flag("--allow-live-forks", cleanArguments_.allowLiveForks,
                        "Also clean shares whose file server keeps live data in ._ files");
        clean_.add_flag("--force-system-volume-information", cleanArguments_.forceSystemVolumeInformation,
                        "Also remove a System Volume Information folder that holds data or keys");
        clean_.add_flag("--eject", cleanArguments_.eject, "Eject the volumes afterwards");
        watch_.add_flag("--sweep-first", watchArguments_.sweepFirst, "Remove what is there already");
        watch_.add_option("--sweep-every", sweepMinutes_, "Sweep again and again, for shares that report no changes")
            ->type_name("MINUTES")
            ->check(CLI::Range(std::int64_t{1}, mostMinutes));
        watch_.add_flag("--allow-live-forks", watchArguments_.allowLiveForks,
                        "Also watch shares whose file server keeps live data in ._ files");
        rules_.add_flag("--json", rulesArguments_.json, "Print JSON");
        volumes_.add_flag("--json", volumesArguments_.json, "Print one JSON object per volume");
        log_.add_option("-n,--lines", lines_, "Print the last N lines")->type_name("N")->check(CLI::NonNegativeNumber);
        log_.add_flag("-f,--follow", logArguments_.follow, "Go on printing lines as they are written");
        help_.add_option("COMMAND", topic_, "The command to explain");
    }

    std::expected<Arguments, Answer> parse(std::vector<std::string> words) {
        if (!words.empty() && !words.front().starts_with('-') && named(words.front()) == nullptr) {
            return std::unexpected(wrongUsage("there is no command \"" + words.front() + '"'));
        }
        std::transform(words.begin(), words.end(), words.begin(), takenAsItStands);
        std::reverse(words.begin(), words.end());  // the parser takes them from the back
        try {
            app_.parse(std::move(words));
            if (help_.parsed()) return std::unexpected(help());
            return arguments();
        } catch (const CLI::ParseError& error) {
            return std::unexpected(answer(error));
        }
    }

private:
    Arguments arguments() {
        if (scan_.parsed()) {
            scanArguments_.selection = selected(std::move(scanWords_));
            return scanArguments_;
        }
        if (clean_.parsed()) {
            cleanArguments_.selection = selected(std::move(cleanWords_));
            return cleanArguments_;
        }
        if (sweep_.parsed()) {
            sweepWords_.live = true;
            sweepArguments_.selection = selected(std::move(sweepWords_));
            return sweepArguments_;
        }
        if (watch_.parsed()) {
            if (watch_.count("--sweep-every") > 0) watchArguments_.sweepEvery = sweepMinutes_;
            return watchArguments_;
        }
        if (eject_.parsed()) return ejectArguments_;
        if (rules_.parsed()) return rulesArguments_;
        if (volumes_.parsed()) return volumesArguments_;
        if (log_.count("--lines") > 0) logArguments_.lines = lines_;
        return logArguments_;
    }

    /// The explanation of the command that was asked for, or of the whole.
    Answer help() {
        const CLI::App* const topic = topic_.empty() ? &app_ : named(topic_);
        if (topic == nullptr) return wrongUsage("there is no command \"" + topic_ + '"');
        // Not help(): once a command was parsed, that explains the command whatever it is asked of.
        const std::string name = topic == &app_ ? "varnel" : "varnel " + topic_;
        return {app_.get_formatter()->make_help(topic, name, CLI::AppFormatMode::Normal), /*isError=*/false,
                ExitStatus::done};
    }

    /// The command of that name, or null.
    const CLI::App* named(const std::string& name) {
        const auto found =
            app_.get_subcommands([&name](const CLI::App* command) { return command->get_name() == name; });
        return found.empty() ? nullptr : found.front();
    }

    static Answer wrongUsage(const std::string& problem) {
        return {"varnel: " + Output::shownInMessage(problem) + "\nTry `varnel --help`.\n", /*isError=*/true,
                ExitStatus::wrongUsage};
    }

    Answer answer(const CLI::ParseError& error) {
        if (error.get_exit_code() != 0) return wrongUsage(error.what());
        std::ostringstream out;
        std::ostringstream problem;
        app_.exit(error, out, problem);
        return {out.str(), /*isError=*/false, ExitStatus::done};
    }

    CLI::App app_{"Removes the litter that Macs and Windows PCs leave on disks that are not theirs.", "varnel"};
    CLI::App& scan_ = *app_.add_subcommand("scan", "Show what would be removed; delete nothing");
    CLI::App& clean_ = *app_.add_subcommand("clean", "Scan, show, ask, delete");
    CLI::App& sweep_ =
        *app_.add_subcommand("sweep", "Clean every volume that is not Mac-formatted, with the live rules");
    CLI::App& watch_ =
        *app_.add_subcommand("watch",
                             "Remove litter as it appears, until Ctrl-C; without PATH on every volume that is "
                             "not Mac-formatted");
    CLI::App& eject_ = *app_.add_subcommand("eject", "Eject the volume that holds PATH");
    CLI::App& rules_ = *app_.add_subcommand("rules", "Print the rules and the protected file types");
    CLI::App& volumes_ = *app_.add_subcommand("volumes", "List the mounted volumes; those to clean are marked");
    CLI::App& log_ = *app_.add_subcommand("log", "Print the path of the activity log, or its lines");
    CLI::App& help_ = *app_.add_subcommand("help", "Explain a command");
    SelectionWords scanWords_;
    SelectionWords cleanWords_;
    SelectionWords sweepWords_;
    ScanArguments scanArguments_;
    CleanArguments cleanArguments_;
    SweepArguments sweepArguments_;
    WatchArguments watchArguments_;
    EjectArguments ejectArguments_;
    RulesArguments rulesArguments_;
    VolumesArguments volumesArguments_;
    LogArguments logArguments_;
    std::int64_t lines_ = 0;
    std::int64_t sweepMinutes_ = 0;
    std::string topic_;
};

}  // namespace

std::expected<Arguments, Answer> parseArguments(const std::vector<std::string>& words) {
    return CommandLine().parse(words);
}

}  // namespace varnel::cli
