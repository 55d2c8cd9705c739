// SPDX-License-Identifier: MIT
#include "core/disk/Disk.h"

#include <expected>
#include <string>
#include <utility>

#include "core/base/Process.h"
#include "core/disk/DiskError.h"
#include "core/disk/DiskTools.h"

namespace varnel::Disk {
namespace {

std::unexpected<DiskError> failure(std::string message) {
    return std::unexpected(DiskError{std::move(message)});
}

}  // namespace

std::expected<void, DiskError> eject(const std::string& path, bool force) {
    return eject(path, force, *DiskTools::ofSystem());
}

std::expected<void, DiskError> eject(const std::string& path, bool force, DiskTools& tools) {
    const std::string target = tools.deviceIdentifier(path).value_or(path);
    const ProgramResult first = tools.eject(target, force);
    if (first.succeeded()) return {};
    if (const auto unmounted = unmount(path, force, tools); !unmounted) {
        return failure(first.output.empty() ? unmounted.error().message : first.output);
    }
    const ProgramResult second = tools.eject(target, force);
    if (second.succeeded()) return {};
    return failure(second.output.empty() ? "unmounted but could not detach " + target : second.output);
}

std::expected<void, DiskError> unmount(const std::string& path, bool force) {
    return unmount(path, force, *DiskTools::ofSystem());
}

std::expected<void, DiskError> unmount(const std::string& path, bool force, DiskTools& tools) {
    const ProgramResult first = tools.unmount(path, force);
    if (first.succeeded()) return {};
    const ProgramResult second = tools.unmountPlainly(path, force);
    if (second.succeeded()) return {};
    if (!first.output.empty()) return failure(first.output);
    return failure(second.output.empty() ? "unmount failed" : second.output);
}

}  // namespace varnel::Disk
