// SPDX-License-Identifier: MIT
#include "platform/linux/BlockDevices.h"

#ifndef __linux__
#error "This source is for Linux."
#endif

#include <sys/sysmacros.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <optional>
#include <set>
#include <string>
#include <system_error>
#include <vector>

#include "core/base/Path.h"

namespace varnel::BlockDevices {
namespace {

std::vector<std::string> entriesOf(const std::string& folder) {
    std::vector<std::string> entries;
    std::error_code error;
    for (std::filesystem::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error))
        entries.push_back(entry->path().string());
    return entries;
}

bool isPartition(const std::string& folder) {
    std::error_code error;
    return std::filesystem::exists(folder + "/partition", error);
}

std::optional<std::uint64_t> numberIn(const std::string& folder) {
    std::ifstream file(folder + "/dev");
    unsigned major = 0;
    unsigned minor = 0;
    char colon = 0;
    if (file >> major >> colon >> minor) return makedev(major, minor);
    return std::nullopt;
}

void addMadeOf(const std::string& folder, std::set<std::uint64_t>& numbers) {
    for (const std::string& holder : entriesOf(folder + "/holders")) {
        const auto number = numberIn(holder);
        if (!number || numbers.insert(*number).second) addMadeOf(holder, numbers);
    }
    for (const std::string& part : entriesOf(folder)) {
        if (!isPartition(part)) continue;
        const auto number = numberIn(part);
        if (!number || numbers.insert(*number).second) addMadeOf(part, numbers);
    }
}

void addFoundations(const std::string& folder, std::vector<std::string>& folders) {
    // A partition of an array has none of its own.
    const std::string disk = isPartition(folder) ? std::string(Path::withoutLastComponent(folder)) : folder;
    bool isMade = false;
    for (const std::string& below : entriesOf(disk + "/slaves")) {
        std::error_code error;
        const std::string place = std::filesystem::canonical(below, error).string();
        if (error) continue;
        isMade = true;
        addFoundations(place, folders);
    }
    if (!isMade && std::find(folders.begin(), folders.end(), folder) == folders.end()) folders.push_back(folder);
}

}  // namespace

std::string folderOf(std::uint64_t number) {
    return "/sys/dev/block/" + std::to_string(major(number)) + ':' + std::to_string(minor(number));
}

std::optional<std::uint64_t> diskSequence(std::uint64_t number) {
    for (const char* const place : {"/diskseq", "/../diskseq"}) {
        std::ifstream file(folderOf(number) + place);
        std::uint64_t sequence = 0;
        if (file >> sequence) return sequence;
    }
    return std::nullopt;
}

std::set<std::uint64_t> madeOf(std::uint64_t number) {
    std::set<std::uint64_t> numbers = {number};
    addMadeOf(folderOf(number), numbers);
    return numbers;
}

std::vector<std::string> foundations(const std::string& folder) {
    std::vector<std::string> folders;
    addFoundations(folder, folders);
    return folders;
}

}  // namespace varnel::BlockDevices
