// SPDX-License-Identifier: MIT
#include "cli/VolumeEjection.h"

#include <algorithm>
#include <expected>
#include <filesystem>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include "cli/ExitStatus.h"
#include "cli/Output.h"
#include "core/base/Path.h"
#include "core/disk/Disk.h"
#include "core/plan/PlanCoding.h"
#include "core/scan/FSInfo.h"
#include "core/scan/PathGuard.h"
#include "core/scan/VolumeIdentity.h"

namespace varnel::cli::VolumeEjection {
namespace {

/// Ejects the volume; gives what went wrong, or an empty text.
std::string whyNotEjected(const Mounted& mounted) {
    // Were it unmounted by somebody else, its place would lead to the volume around it, or to the next one there.
    const auto now = VolumeIdentity::of(mounted.mountPoint);
    if (!FSInfo::isMountPoint(mounted.mountPoint) || !now || *now != mounted.volume)
        return "it is not mounted any more";
    const auto ejected = Disk::eject(mounted.mountPoint, /*force=*/false);
    return ejected ? "" : ejected.error().message;
}

}  // namespace

std::expected<std::string, std::error_code> mountPointOf(const std::string& path) {
    std::error_code error;
    std::string folder = std::filesystem::canonical(path, error).string();
    if (error) return std::unexpected(error);
    while (!FSInfo::isMountPoint(folder))
        folder = std::string(Path::withoutLastComponent(folder));
    return folder;
}

std::optional<std::string> whyRefused(const std::string& mountPoint) {
    if (!PathGuard::isForbiddenPlace(mountPoint)) return std::nullopt;
    return "is on the volume " + Output::shownInMessage(mountPoint) + ", which the system uses and nobody ejects.";
}

void leaveCurrentFolder(std::vector<std::string>& words) {
    std::error_code error;
    const std::string here = std::filesystem::current_path(error).string();
    if (error) return;  // what is wrong with it is said where a word needs it
    for (std::string& word : words) {
        if (!word.starts_with('/')) word = Path::joined(here, word);
    }
    std::filesystem::current_path("/", error);
}

Mounted Mounted::at(const std::string& mountPoint) {
    return {mountPoint, VolumeIdentity::of(mountPoint).value_or(VolumeIdentity())};
}

ExitStatus eject(const Mounted& mounted, bool json) {
    const std::string& mountPoint = mounted.mountPoint;
    const std::string error = whyNotEjected(mounted);
    const bool ejected = error.empty();
    if (json) {
        Output::result("{\"volume\":" + PlanCoding::encodeText(mountPoint) +
                       ",\"ejected\":" + (ejected ? "true" : "false") + ",\"error\":" + PlanCoding::encodeText(error) +
                       PlanCoding::encodePathBytes(mountPoint) + "}\n");
    } else if (ejected) {
        Output::result("ejected " + Output::shown(mountPoint) + '\n');
    }
    if (ejected) return ExitStatus::done;
    // A program's answer may have several lines.
    std::string line = error;
    std::replace(line.begin(), line.end(), '\n', ' ');
    Output::message(Output::shownInMessage(mountPoint) + ": eject failed: " + Output::shownInMessage(line));
    return ExitStatus::failed;
}

}  // namespace varnel::cli::VolumeEjection
