// SPDX-License-Identifier: MIT
#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/base/FileDescriptor.h"
#include "fuzz/Target.h"
#include "platform/linux/MountTable.h"

namespace {

using varnel::MountTable::Mount;

std::optional<std::vector<Mount>> mountsIn(std::string_view table) {
    const varnel::FileDescriptor file(::memfd_create("table", MFD_CLOEXEC));
    for (std::string_view rest = table; !rest.empty();) {
        const ssize_t written = ::write(file.get(), rest.data(), rest.size());
        varnel::fuzz::require(written > 0, "there is room for the table");
        rest.remove_prefix(static_cast<std::size_t>(written));
    }
    return varnel::MountTable::readFrom("/proc/self/fd/" + std::to_string(file.get()));
}

/// As the kernel writes it.
std::string escaped(std::string_view text) {
    std::string out;
    for (const char c : text) {
        switch (c) {
            case ' ':
                out += "\\040";
                break;
            case '\t':
                out += "\\011";
                break;
            case '\n':
                out += "\\012";
                break;
            case '\\':
                out += "\\134";
                break;
            case '#':
                out += "\\043";
                break;
            default:
                out += c;
        }
    }
    return out;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using varnel::fuzz::require;
    const auto mounts = mountsIn(varnel::fuzz::textOf(data, size));
    if (!mounts) return 0;
    std::string table;
    std::vector<Mount> written;
    for (const Mount& mount : *mounts) {
        // What the kernel never writes need not come back.
        const bool isWhole = mount.mountPoint.starts_with('/') && mount.root.starts_with('/') &&
                             !mount.driver.empty() && !mount.source.empty() && mount.id < INT32_MAX;
        if (!isWhole) continue;
        table += std::to_string(mount.id) + " 1 0:1 " + escaped(mount.root) + ' ' + escaped(mount.mountPoint) +
                 " rw - " + escaped(mount.driver) + ' ' + escaped(mount.source) + " rw\n";
        written.push_back(mount);
    }
    const auto again = mountsIn(table);
    require(again && again->size() == written.size(), "as many mounts come back as were written");
    for (std::size_t i = 0; i < written.size(); ++i) {
        const Mount& one = written[i];
        const Mount& other = (*again)[i];
        require(one.id == other.id, "a mount keeps its number");
        require(one.mountPoint == other.mountPoint, "and its place, whatever characters that has");
        require(one.root == other.root, "and its root");
        require(one.driver == other.driver, "and its driver");
        require(one.source == other.source, "and so does a source");
    }
    return 0;
}
