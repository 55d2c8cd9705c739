// SPDX-License-Identifier: MIT
#include <algorithm>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include "cli/Arguments.h"
#include "cli/Commands.h"
#include "cli/ExitStatus.h"
#include "cli/Interruption.h"
#include "cli/LiveForks.h"
#include "cli/Notes.h"
#include "cli/Output.h"
#include "cli/ProgressLine.h"
#include "cli/Target.h"
#include "cli/VolumeEjection.h"
#include "core/log/Log.h"
#include "core/plan/ExecResult.h"
#include "core/plan/Executor.h"
#include "core/plan/Plan.h"
#include "core/plan/PlanCoding.h"
#include "core/plan/PlanReport.h"
#include "core/scan/FSInfo.h"
#include "core/scan/Scanner.h"
#include "core/scan/VolumeIdentity.h"
#include "core/volumes/Volume.h"

namespace varnel::cli {
namespace {

constexpr const char* noTerminal =
    "clean asks before it deletes, and there is no terminal to ask at; --yes goes without asking.";

/// What stands for the type where the system does not tell it.
/// The result of one path as one JSON object.
std::string json(const std::string& path, bool dryRun, const ExecResult& result,
                 const std::vector<std::string>& errors) {
    const auto texts = [](const std::vector<std::string>& list) {
        std::string text = "[";
        for (const std::string& element : list)
            text += (text.size() > 1 ? "," : "") + PlanCoding::encodeText(element);
        return text + ']';
    };
    std::string skipped = "[";
    for (const std::string& item : result.skipped) {
        skipped += std::string(skipped.size() > 1 ? "," : "") + "{\"path\":" + PlanCoding::encodeText(item) +
                   PlanCoding::encodePathBytes(item) + '}';
    }
    std::string failures = "[";
    for (const ExecResult::Failure& failure : result.failures) {
        failures += std::string(failures.size() > 1 ? "," : "") + "{\"path\":" + PlanCoding::encodeText(failure.path) +
                    ",\"reason\":" + PlanCoding::encodeText(failure.reason) +
                    PlanCoding::encodePathBytes(failure.path) + '}';
    }
    return "{\"root\":" + PlanCoding::encodeText(path) + ",\"dryRun\":" + (dryRun ? "true" : "false") +
           ",\"removed\":" + std::to_string(result.removed) +
           ",\"removedDirectories\":" + std::to_string(result.removedDirectories) +
           ",\"bytes\":" + std::to_string(result.bytes) + ",\"failures\":" + failures + "],\"skipped\":" + skipped +
           "],\"errors\":" + texts(errors) + ",\"summary\":" + PlanCoding::encodeText(result.summary(dryRun)) +
           PlanCoding::encodePathBytes(path) + "}\n";
}

/// The clean of one path after the other.
class Clean {
public:
    explicit Clean(const CleanArguments& arguments)
        : arguments_(arguments), log_(Log::open(Log::defaultDirectory())), canAsk_(Terminal::canAsk()) {
        if (!log_) Output::message("log unavailable: " + Output::shownInMessage(Log::defaultDirectory()));
    }

    ExitStatus all() {
        auto status = ExitStatus::done;
        for (const std::string& word : arguments_.paths) {
            status = graver(status, one(word));
            if (Interruption::isRequested()) return ExitStatus::interrupted;
        }
        return status;
    }

    /// Ejects every volume that is through, once.
    ExitStatus ejectAll() const {
        auto status = ExitStatus::done;
        for (const VolumeEjection::Mounted& mounted : toEject_) {
            if (arguments_.dryRun) {
                Output::message("would eject " + Output::shownInMessage(mounted.mountPoint));
            } else {
                status = graver(status, VolumeEjection::eject(mounted, arguments_.selection.json));
            }
        }
        return status;
    }

    /// Says what the log could not take; a full disk is no reason to stop a clean.
    void closeLog() {
        if (!log_) return;
        log_->flush();
        if (log_->lastError() == 0) return;
        Output::message("the log is incomplete: " + Output::shownInMessage(log_->path()) + ": " +
                        std::generic_category().message(log_->lastError()));
    }

private:
    ExitStatus one(const std::string& word) {
        const auto target = Target::path(word);
        if (!target) return refuse(word, target.error());
        const std::string& path = *target;
        if (const auto refusal = whyRefused(path)) return refuse(path, *refusal);
        // Without knowing which volume this is, nobody could tell another one that takes its place; nothing matches
        // this.
        const auto known = VolumeIdentity::of(path);
        const auto volume = known.value_or(VolumeIdentity());
        // Asked after the volume was looked at, which mounts one that waits to be used.
        const std::string type = FSInfo::type(path).value_or(Volume::unknownType);
        if (known) {
            if (const auto refusal = whyNotWanted(path, type)) return refuse(path, *refusal);
        }
        std::optional<VolumeEjection::Mounted> mounted;
        if (arguments_.eject && known) {
            const std::string mountPoint = VolumeEjection::mountPointOf(path).value_or("");
            if (const auto refusal = VolumeEjection::whyRefused(mountPoint)) return refuse(path, *refusal);
            if (!mountPoint.empty()) mounted = VolumeEjection::Mounted::at(mountPoint);
        }
        Plan plan = scan(path);
        if (plan.volume.fsType != type) {
            if (const auto refusal = whyNotWanted(path, plan.volume.fsType)) return refuse(path, *refusal);
        }
        auto status = plan.errors.empty() ? ExitStatus::done : ExitStatus::failed;
        if (const std::string problem = Target::problem(path); !problem.empty()) {
            Output::message(Output::shownInMessage(path) + ": " + problem);
        }
        const std::vector<std::string> kept =
            arguments_.forceSystemVolumeInformation ? std::vector<std::string>() : Notes::keepSystemVolumes(plan);
        show(plan, kept);
        if (plan.isEmpty()) {
            if (arguments_.selection.json) Output::result(json(path, arguments_.dryRun, {}, plan.errors));
            ejectLater(mounted);
            return status;
        }
        if (asks() && !Terminal::ask("Clean? [y/N] ")) {
            if (arguments_.selection.json) Output::result(json(path, arguments_.dryRun, {}, plan.errors));
            return graver(status, ExitStatus::failed);
        }
        ejectLater(mounted);
        return graver(status, remove(plan, volume));
    }

    void ejectLater(const std::optional<VolumeEjection::Mounted>& mounted) {
        if (!mounted || std::find(toEject_.begin(), toEject_.end(), *mounted) != toEject_.end()) return;
        toEject_.push_back(*mounted);
    }

    ExitStatus refuse(const std::string& path, const std::string& reason) const {
        Output::message(Output::shownInMessage(path) + ' ' + reason);
        if (arguments_.selection.json) {
            ExecResult result;
            result.failures.push_back({path, reason});
            Output::result(json(path, arguments_.dryRun, result, {}));
        }
        return ExitStatus::refused;
    }

    bool asks() const { return !arguments_.yes && !arguments_.dryRun; }

    /// Why nothing below the path may be removed, or none.
    std::optional<std::string> whyRefused(const std::string& path) const {
        if (Target::isProtected(path)) return "is a protected system path.";
        if (!arguments_.allowLiveForks) {
            if (const auto reason = LiveForks::whyKept(path)) {
                return *reason + "; --allow-live-forks cleans it all the same.";
            }
        }
        return std::nullopt;
    }

    /// Why nothing on a volume of that type may be removed, or none where it may, or the person says so.
    std::optional<std::string> whyNotWanted(const std::string& path, const std::string& volumeType) const {
        const std::string type = Output::shownInMessage(volumeType);
        if (arguments_.macFormat || arguments_.dryRun) return std::nullopt;
        if (volumeType == Volume::unknownType) {
            return "is on a volume whose format cannot be learned, so it may be a Mac's; --mac-format cleans it all "
                   "the "
                   "same.";
        }
        if (!Volume::isMacFormat(volumeType)) return std::nullopt;
        if (canAsk_ &&
            Terminal::ask(Output::shownInMessage(path) + " is on a " + type +
                          " volume\nThis is a Mac format. Deleting metadata here only affects Finder cosmetics, "
                          "but it is unusual. Clean anyway? [y/N] ")) {
            return std::nullopt;
        }
        return "is on a " + type + " volume, a Mac format; --mac-format cleans it all the same.";
    }

    Plan scan(const std::string& path) const {
        ProgressLine progress;
        return Scanner{arguments_.selection.rules, arguments_.selection.scope}.scan(
            path, [&](const ScanProgress& now) { progress.scanning(now.entries, now.items); });
    }

    /// Shows the plan and what is dear in it: as a result, or beside the JSON for the person who is asked.
    void show(const Plan& plan, const std::vector<std::string>& kept) const {
        const bool json = arguments_.selection.json;
        if (json && !asks()) {
            for (const std::string& folder : kept)
                Output::message(noteOnKept(Output::shownInMessage(folder)));
            return;
        }
        const auto print = json ? Output::aside : Output::result;
        print(
            PlanReport::prettyText(plan, arguments_.selection.samples, json ? Output::shownInMessage : Output::shown));
        for (const std::string& folder : kept)
            print("  note: " + noteOnKept(Output::shown(folder)) + '\n');
        // Nobody weighs anything when nothing is asked, and reading every companion is dear.
        if (arguments_.yes && !arguments_.dryRun) return;
        for (const std::string& line : Notes::about(plan))
            print("  note: " + line + '\n');
    }

    static std::string noteOnKept(const std::string& folder) {
        return folder + " may hold the volume's data or keys and stays (remove: --force-system-volume-information)";
    }

    ExitStatus remove(const Plan& plan, const std::optional<VolumeIdentity>& volume) {
        const bool dryRun = arguments_.dryRun;
        ExecResult result;
        const Interruption::Deferred deferred("finishing the item at hand; Ctrl-C again stops at once");
        {
            ProgressLine progress;
            const auto all = static_cast<std::int64_t>(plan.items.size());
            const auto mayGoOn = [&](const ExecResult& soFar) {
                progress.cleaning(soFar.removed, all);
                return !Interruption::isRequested();
            };
            result = Executor::execute(plan, dryRun, log_.get(), {volume, mayGoOn});
        }
        if (arguments_.selection.json) {
            Output::result(json(plan.root, dryRun, result, plan.errors));
        } else {
            Output::result(result.summary(dryRun) + '\n');
        }
        for (const ExecResult::Failure& failure : result.failures) {
            Output::message(Output::shownInMessage(failure.path) + " — " + failure.reason);
        }
        // Whoever interrupts what follows has at least been told of this.
        Output::flush();
        if (log_) log_->flush();
        return result.ok() ? ExitStatus::done : ExitStatus::failed;
    }

    const CleanArguments& arguments_;
    std::shared_ptr<Log> log_;
    bool canAsk_;
    std::vector<VolumeEjection::Mounted> toEject_;
};

}  // namespace

ExitStatus runClean(const CleanArguments& given) {
    CleanArguments arguments = given;
    if (arguments.eject) VolumeEjection::leaveCurrentFolder(arguments.paths);
    Interruption::begin();
    if (!arguments.yes && !arguments.dryRun && !Terminal::canAsk()) {
        Output::message(noTerminal);
        for (const std::string& path : arguments.paths) {
            if (!arguments.selection.json) break;
            ExecResult result;
            result.failures.push_back({path, noTerminal});
            Output::result(json(path, arguments.dryRun, result, {}));
        }
        return ExitStatus::refused;
    }
    Clean clean(arguments);
    ExitStatus status = clean.all();
    clean.closeLog();
    if (status != ExitStatus::interrupted) status = graver(status, clean.ejectAll());
    return status;
}

}  // namespace varnel::cli
