// SPDX-License-Identifier: MIT
#include "platform/linux/EventRecords.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/fanotify.h>
#include <sys/inotify.h>

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace varnel {
namespace {

using EventRecords::FanotifyRecord;
using EventRecords::InotifyRecord;

std::string bytesOf(const auto& structure) {
    return {reinterpret_cast<const char*>(&structure), sizeof structure};
}

std::string inotifyRecord(int watch, std::uint32_t mask, std::string name, std::size_t padding = 0) {
    if (!name.empty()) name.append(1 + padding, '\0');
    const inotify_event event{watch, mask, 0, static_cast<std::uint32_t>(name.size())};
    return std::string(reinterpret_cast<const char*>(&event), sizeof event) + name;
}

std::string fanotifyRecord(std::uint64_t mask, const std::string& handle, const std::string& name) {
    std::string body(sizeof(__kernel_fsid_t), '\7');
    file_handle header{};
    header.handle_bytes = static_cast<unsigned>(handle.size());
    body += std::string(reinterpret_cast<const char*>(&header), sizeof header) + handle + name + '\0';
    fanotify_event_info_header info{};
    info.info_type = FAN_EVENT_INFO_TYPE_DFID_NAME;
    info.len = static_cast<std::uint16_t>(sizeof info + body.size());
    fanotify_event_metadata event{};
    event.vers = FANOTIFY_METADATA_VERSION;
    event.metadata_len = sizeof event;
    event.mask = mask;
    event.event_len = static_cast<std::uint32_t>(sizeof event + sizeof info + body.size());
    return bytesOf(event) + bytesOf(info) + body;
}

/// A copy of exactly these bytes, so that a sanitizer sees a read beyond them.
std::vector<std::byte> exact(const std::string& bytes) {
    const auto all = std::as_bytes(std::span(bytes));
    return {all.begin(), all.end()};
}

std::vector<std::string> inotifyNames(const std::string& bytes) {
    std::vector<std::string> names;
    EventRecords::forEachInotify(exact(bytes), [&](const InotifyRecord& record) { names.emplace_back(record.name); });
    return names;
}

std::vector<std::string> fanotifyNames(const std::string& bytes) {
    std::vector<std::string> names;
    EventRecords::forEachFanotify(exact(bytes), [&](const FanotifyRecord& record) { names.emplace_back(record.name); });
    return names;
}

using Texts = std::vector<std::string>;

TEST(InotifyRecords, AreReadOneAfterTheOther) {
    const auto bytes = exact(inotifyRecord(3, IN_CREATE, "a", 14) + inotifyRecord(4, IN_IGNORED, "") +
                             inotifyRecord(5, IN_MODIFY, std::string(765, 'n')));
    std::vector<int> watches;
    std::vector<std::uint32_t> masks;
    Texts names;
    EventRecords::forEachInotify(bytes, [&](const InotifyRecord& record) {
        watches.push_back(record.watch);
        masks.push_back(record.mask);
        names.emplace_back(record.name);
    });
    EXPECT_EQ(watches, (std::vector<int>{3, 4, 5}));
    EXPECT_EQ(masks, (std::vector<std::uint32_t>{IN_CREATE, IN_IGNORED, IN_MODIFY}));
    EXPECT_EQ(names, (Texts{"a", "", std::string(765, 'n')}));
}

TEST(InotifyRecords, EndWhereOneIsCutShort) {
    const std::string first = inotifyRecord(1, IN_CREATE, "first");
    const std::string both = first + inotifyRecord(2, IN_CREATE, "second");
    for (std::size_t length = 0; length < both.size(); ++length) {
        const Texts expected = length < first.size() ? Texts{} : Texts{"first"};
        EXPECT_EQ(inotifyNames(both.substr(0, length)), expected) << length;
    }
    EXPECT_EQ(inotifyNames(both).size(), 2U);
}

TEST(FanotifyRecords, NameAFolderByHandleAndAnEntry) {
    const auto bytes = exact(fanotifyRecord(FAN_CREATE, "12345678", "name") + fanotifyRecord(FAN_MODIFY, "", "."));
    Texts names;
    std::vector<std::size_t> handles;
    EventRecords::forEachFanotify(bytes, [&](const FanotifyRecord& record) {
        names.emplace_back(record.name);
        handles.push_back(record.folder.size());
    });
    EXPECT_EQ(names, (Texts{"name", "."}));
    EXPECT_EQ(handles, (std::vector<std::size_t>{sizeof(file_handle) + 8, sizeof(file_handle)}));
}

TEST(FanotifyRecords, TellOfAnOverflowWithoutAName) {
    fanotify_event_metadata event{};
    event.vers = FANOTIFY_METADATA_VERSION;
    event.metadata_len = sizeof event;
    event.event_len = sizeof event;
    event.mask = FAN_Q_OVERFLOW;
    bool isTold = false;
    const auto bytes = exact(bytesOf(event));
    EventRecords::forEachFanotify(bytes, [&](const FanotifyRecord& record) {
        isTold = record.mask == FAN_Q_OVERFLOW && record.folder.empty() && record.name.empty();
    });
    EXPECT_TRUE(isTold);
}

TEST(FanotifyRecords, EndWhereOneIsCutShortOrLies) {
    const std::string first = fanotifyRecord(FAN_CREATE, "handle", "first");
    const std::string both = first + fanotifyRecord(FAN_CREATE, "handle", "second");
    for (std::size_t length = 0; length < both.size(); ++length) {
        const Texts expected = length < first.size() ? Texts{} : Texts{"first"};
        EXPECT_EQ(fanotifyNames(both.substr(0, length)), expected) << length;
    }
    // Every byte of the lengths and kinds, one after the other, as large and as small as can be.
    const std::size_t prefix = sizeof(fanotify_event_metadata) + sizeof(fanotify_event_info_header) +
                               sizeof(__kernel_fsid_t) + sizeof(file_handle);
    for (std::size_t at = 0; at < prefix; ++at) {
        for (const char value : {'\0', '\1', '\x7f', '\xff'}) {
            std::string broken = both;
            broken[at] = value;
            EXPECT_LE(fanotifyNames(broken).size(), 2U);
        }
    }
}

}  // namespace
}  // namespace varnel
