// SPDX-License-Identifier: MIT
#include <fcntl.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string>
#include <vector>

#include "fuzz/Target.h"
#include "platform/linux/EventRecords.h"

namespace {

using varnel::EventRecords::FanotifyRecord;
using varnel::fuzz::require;

struct Seen {
    std::uint64_t mask;
    std::vector<std::byte> folder;
    std::string name;
    bool operator==(const Seen&) const = default;
};

std::vector<Seen> recordsIn(std::span<const std::byte> buffer) {
    // A copy of exactly these bytes, so that a sanitizer sees a read beyond them.
    const std::vector<std::byte> bytes(buffer.begin(), buffer.end());
    std::vector<Seen> seen;
    varnel::EventRecords::forEachFanotify(bytes, [&](const FanotifyRecord& record) {
        seen.push_back({record.mask, {record.folder.begin(), record.folder.end()}, std::string(record.name)});
    });
    return seen;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    constexpr std::size_t header = 24;
    const auto buffer = std::as_bytes(std::span(data, size));
    const auto whole = recordsIn(buffer);
    require(whole.size() * header <= size, "each record has a header of its own");
    std::size_t contents = 0;
    for (const Seen& record : whole) {
        require(record.name.find('\0') == std::string::npos, "a name holds no zero byte");
        require(record.name.empty() || !record.folder.empty(), "a name is in a folder");
        contents += record.name.size() + record.folder.size();
        if (record.folder.empty()) continue;
        file_handle handle{};
        require(record.folder.size() >= sizeof handle, "a folder's handle has its header");
        std::memcpy(&handle, record.folder.data(), sizeof handle);
        require(record.folder.size() == sizeof handle + handle.handle_bytes, "and is as long as that says");
    }
    require(contents + whole.size() * header <= size, "handles and names do not overlap");
    for (const std::size_t cut : {size / 3, size / 2, size - size / 8}) {
        const auto part = recordsIn(buffer.first(cut));
        require(part.size() <= whole.size() && std::equal(part.begin(), part.end(), whole.begin()),
                "a buffer that is cut short loses records at its end and changes none");
    }
    return 0;
}
