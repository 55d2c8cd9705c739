// SPDX-License-Identifier: MIT
#include "tests/support/Manifest.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace varnel::tests {
namespace {

std::string contentsOf(const std::string& path) {
    std::ifstream stream(path, std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
    return std::to_string(std::hash<std::string>()(bytes));
}

std::string attributesOf(const std::string& path) {
    std::array<char, 4096> names{};
    const ssize_t length = ::llistxattr(path.c_str(), names.data(), names.size());
    std::string all;
    for (const char* name = names.data(); length > 0 && name < names.data() + length;
         name += std::string(name).size() + 1) {
        std::array<char, 4096> value{};
        const ssize_t size = ::lgetxattr(path.c_str(), name, value.data(), value.size());
        all += std::string(name) + "=" + std::string(value.data(), size > 0 ? static_cast<std::size_t>(size) : 0) + ";";
    }
    return all;
}

std::string timeText(const timespec& time) {
    return std::to_string(time.tv_sec) + "." + std::to_string(time.tv_nsec);
}

bool isInside(const std::string& path, const std::set<std::string>& tops) {
    for (std::size_t end = path.find('/'); end != std::string::npos; end = path.find('/', end + 1)) {
        if (tops.contains(path.substr(0, end))) return true;
    }
    return tops.contains(path);
}

}  // namespace

Manifest Manifest::of(const std::string& root) {
    Manifest manifest;
    std::vector<std::string> folders = {""};
    while (!folders.empty()) {
        const std::string folder = folders.back();
        folders.pop_back();
        for (const auto& found : std::filesystem::directory_iterator(root + "/" + folder)) {
            const std::string below = (folder.empty() ? "" : folder + "/") + found.path().filename().string();
            const std::string path = root + "/" + below;
            struct stat facts {};
            if (::lstat(path.c_str(), &facts) != 0) continue;
            Entry entry;
            entry.facts = "mode " + std::to_string(facts.st_mode) + " owner " + std::to_string(facts.st_uid) + ":" +
                          std::to_string(facts.st_gid) + " xattrs " + attributesOf(path);
            if (S_ISDIR(facts.st_mode)) {
                entry.times = timeText(facts.st_mtim);
                folders.push_back(below);
            } else {
                entry.facts += " size " + std::to_string(facts.st_size) + " changed " + timeText(facts.st_mtim);
                if (facts.st_nlink > 1) {
                    entry.file = std::to_string(facts.st_dev) + ":" + std::to_string(facts.st_ino);
                }
                entry.links = facts.st_nlink;
                if (S_ISREG(facts.st_mode)) entry.facts += " contents " + contentsOf(path);
                if (S_ISLNK(facts.st_mode)) entry.facts += " to " + std::filesystem::read_symlink(path).string();
            }
            manifest.entries_[below] = entry;
        }
    }
    return manifest;
}

std::set<std::string> Manifest::paths() const {
    std::set<std::string> result;
    for (const auto& [path, entry] : entries_)
        result.insert(path);
    return result;
}

std::string Manifest::differences(const Manifest& after, const std::set<std::string>& gone) const {
    std::string text;
    for (const std::string& path : gone) {
        if (!entries_.contains(path)) text += "was never there: " + path + "\n";
    }
    std::map<std::string, std::uint64_t> lostNames;  // of files with several
    for (const auto& [path, entry] : entries_) {
        if (!entry.file.empty() && isInside(path, gone)) ++lostNames[entry.file];
    }
    for (const auto& [path, entry] : entries_) {
        const auto found = after.entries_.find(path);
        if (isInside(path, gone)) {
            if (found != after.entries_.end()) text += "is still there: " + path + "\n";
            continue;
        }
        if (found == after.entries_.end()) {
            text += "is gone and should not be: " + path + "\n";
            continue;
        }
        if (found->second.facts != entry.facts) {
            text += "changed: " + path + ": " + entry.facts + " -> " + found->second.facts + "\n";
        }
        const auto lost = entry.file.empty() ? 0 : lostNames[entry.file];
        if (found->second.links != entry.links - lost) text += "changed its number of names: " + path + "\n";
        bool lostSomething = false;
        for (const std::string& top : gone) {
            lostSomething = lostSomething || std::filesystem::path(top).parent_path() == std::filesystem::path(path);
        }
        if (!lostSomething && found->second.times != entry.times) text += "changed its time: " + path + "\n";
    }
    for (const auto& [path, entry] : after.entries_) {
        if (!entries_.contains(path)) text += "appeared: " + path + "\n";
    }
    return text;
}

}  // namespace varnel::tests
