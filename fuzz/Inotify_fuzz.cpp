// SPDX-License-Identifier: MIT
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "fuzz/Target.h"
#include "platform/linux/EventRecords.h"

namespace {

using varnel::EventRecords::InotifyRecord;

struct Seen {
    int watch;
    std::uint32_t mask;
    std::string name;
    bool operator==(const Seen&) const = default;
};

std::vector<Seen> recordsIn(std::span<const std::byte> buffer) {
    // A copy of exactly these bytes, so that a sanitizer sees a read beyond them.
    const std::vector<std::byte> bytes(buffer.begin(), buffer.end());
    std::vector<Seen> seen;
    varnel::EventRecords::forEachInotify(bytes, [&](const InotifyRecord& record) {
        seen.push_back({record.watch, record.mask, std::string(record.name)});
    });
    return seen;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using varnel::fuzz::require;
    constexpr std::size_t header = 16;
    const auto buffer = std::as_bytes(std::span(data, size));
    const auto whole = recordsIn(buffer);
    require(whole.size() * header <= size, "each record has a header of its own");
    std::size_t names = 0;
    for (const Seen& record : whole) {
        require(record.name.find('\0') == std::string::npos, "a name holds no zero byte");
        names += record.name.size();
    }
    require(names + whole.size() * header <= size, "names do not overlap");
    for (const std::size_t cut : {size / 3, size / 2, size - size / 8}) {
        const auto part = recordsIn(buffer.first(cut));
        require(part.size() <= whole.size() && std::equal(part.begin(), part.end(), whole.begin()),
                "a buffer that is cut short loses records at its end and changes none");
    }
    return 0;
}
