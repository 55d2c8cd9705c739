// SPDX-License-Identifier: MIT
#include <cstddef>
#include <cstdint>

#include "cli/AppleDouble.h"
#include "fuzz/Target.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace varnel;
    const auto head = fuzz::textOf(data, size);
    const bool holds = cli::AppleDouble::holdsResourceFork(head);
    fuzz::require(!holds || (size >= 38 && head.starts_with(std::string_view("\0\5\x16\7", 4))),
                  "only a file with the magic number and a table holds a fork");
    return 0;
}
