// SPDX-License-Identifier: MIT
#include <cstddef>
#include <cstdint>
#include <string>

#include "core/base/Text.h"
#include "core/disk/PropertyList.h"
#include "fuzz/Target.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace varnel;
    const std::string list(fuzz::textOf(data, size));
    const auto text = PropertyList::text(list, "DeviceIdentifier");
    if (!text) return 0;
    fuzz::require(list.find('<') != std::string::npos, "no text comes from what is no list");
    fuzz::require(!Text::isValidUTF8(list) || Text::isValidUTF8(*text), "what is read is text where the list is");
    return 0;
}
