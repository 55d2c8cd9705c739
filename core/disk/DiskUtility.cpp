// SPDX-License-Identifier: MIT
#include "core/disk/DiskUtility.h"

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "core/base/Process.h"
#include "core/disk/PropertyList.h"

namespace varnel {
namespace {

/// The words of a command line, with `word` before the last one where it is wanted.
std::vector<std::string> withForce(std::vector<std::string> words, const std::string& word, bool force) {
    if (force) words.insert(words.end() - 1, word);
    return words;
}

}  // namespace

DiskUtility::DiskUtility(Programs programs) : programs_(std::move(programs)) {}

std::optional<std::string> DiskUtility::deviceIdentifier(const std::string& path) {
    const ProgramResult info = runProgram(programs_.diskutil, {"info", "-plist", path});
    if (!info.succeeded()) return std::nullopt;
    return PropertyList::text(info.output, "DeviceIdentifier");
}

ProgramResult DiskUtility::eject(const std::string& target, bool force) {
    return runProgram(programs_.diskutil, withForce({"eject", target}, "force", force));
}

ProgramResult DiskUtility::unmount(const std::string& path, bool force) {
    return runProgram(programs_.diskutil, withForce({"unmount", path}, "force", force));
}

ProgramResult DiskUtility::unmountPlainly(const std::string& path, bool force) {
    return runProgram(programs_.umount, withForce({path}, "-f", force));
}

}  // namespace varnel
