// SPDX-License-Identifier: MIT
#pragma once

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

namespace varnel::tests {

/// A fresh folder below /tmp, gone with everything in it when the test ends. Names may be any bytes.
class TemporaryFolder {
public:
    TemporaryFolder() {
        std::string pattern = "/tmp/varnel-test.XXXXXX";
        if (::mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("no temporary folder");
        path_ = pattern;
        ::chmod(path_.c_str(), 0755);
    }
    ~TemporaryFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::string& path() const { return path_; }

    /// The absolute path of what `below` names in this folder.
    std::string at(const std::string& below) const { return path_ + "/" + below; }

    /// Makes a file, and the folders above it; gives its path.
    std::string file(const std::string& below, const std::string& contents = "x") const {
        const std::filesystem::path path(at(below));
        std::filesystem::create_directories(path.parent_path());
        std::ofstream(path, std::ios::binary) << contents;
        return path.string();
    }

    std::string folder(const std::string& below) const {
        std::filesystem::create_directories(at(below));
        return at(below);
    }

    std::string link(const std::string& below, const std::string& target) const {
        const std::filesystem::path path(at(below));
        std::filesystem::create_directories(path.parent_path());
        std::filesystem::create_symlink(target, path);
        return path.string();
    }

    /// Whether there is an entry of that name, be it a link to nowhere.
    bool has(const std::string& below) const {
        struct stat facts {};
        return ::lstat(at(below).c_str(), &facts) == 0;
    }

    std::string contents(const std::string& below) const {
        std::ifstream stream(at(below), std::ios::binary);
        return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
    }

private:
    std::string path_;
};

}  // namespace varnel::tests
