// SPDX-License-Identifier: MIT
#include "core/volumes/Volume.h"

#include <algorithm>
#include <array>
#include <string>
#include <string_view>

#include "core/base/Path.h"
#include "core/base/Text.h"

namespace varnel {
namespace {

constexpr std::array<std::string_view, 3> macFormats = {"apfs", "hfs", "hfsx"};

}  // namespace

bool Volume::isMacFormat(std::string_view fsType) {
    const std::string lower = Text::lowercased(fsType);
    return std::find(macFormats.begin(), macFormats.end(), lower) != macFormats.end();
}

std::string Volume::name() const {
    if (mountPoint == "/") return "Macintosh HD";
    return std::string(Path::lastComponent(mountPoint));
}

std::string Volume::summary() const {
    return name() + " — " + fsType + ", " + (isLocal ? "local" : "network");
}

}  // namespace varnel
