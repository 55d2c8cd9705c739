// SPDX-License-Identifier: MIT
//
// A file system for tests that passes everything on to a folder, and fails on demand.
//   faultfs SOURCE PLACE -f …        rules in the file $FAULTFS_RULES, read at every call, one per line:
//     OPERATION PATTERN EFFECT
// OPERATION is one of getattr opendir readdir unlink rmdir; PATTERN is matched against the path below PLACE ("/a/._x",
// "*" for any text); EFFECT is the name of an error, or "hang" (until the rules
// change; the file "$FAULTFS_RULES.hanging" tells that it has come to that), or "cut=N": a listing that
// breaks off with EIO after N entries, or "size=N": a length that is claimed, or "vanish=ERROR": somebody else removes
// the entry a moment before, and the error is what comes of it. It ends with the process that started it.
#define FUSE_USE_VERSION 31
#include <dirent.h>
#include <fcntl.h>
#include <fnmatch.h>
#include <fuse3/fuse.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <string_view>
#include <thread>

namespace {

std::string source;

const std::map<std::string, int> errors = {
    {"EIO", EIO},       {"EACCES", EACCES},   {"EPERM", EPERM},         {"EBUSY", EBUSY},
    {"EROFS", EROFS},   {"ENOSPC", ENOSPC},   {"ENOTCONN", ENOTCONN},   {"ESTALE", ESTALE},
    {"ENOENT", ENOENT}, {"ENOTDIR", ENOTDIR}, {"ENOTEMPTY", ENOTEMPTY},
};

std::string below(const char* path) {
    return source + path;
}

int result(int returned) {
    return returned < 0 ? -errno : 0;
}

/// The effect of the first rule that fits, or nothing.
std::string effectOn(const std::string& operation, const char* path) {
    const char* const file = std::getenv("FAULTFS_RULES");
    std::ifstream rules(file == nullptr ? "" : file);
    std::string wanted;
    std::string pattern;
    std::string effect;
    while (rules >> wanted >> pattern >> effect) {
        if (wanted == operation && ::fnmatch(pattern.c_str(), path, 0) == 0) return effect;
    }
    return {};
}

/// 0, or the negative error that a rule asks for; waits where one says so.
int fault(const std::string& operation, const char* path) {
    std::string effect = effectOn(operation, path);
    if (effect == "hang") std::ofstream(std::string(std::getenv("FAULTFS_RULES")) + ".hanging");
    while (effect == "hang") {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        effect = effectOn(operation, path);
    }
    if (constexpr std::string_view vanish = "vanish="; effect.starts_with(vanish)) {
        std::filesystem::remove_all(below(path));
        effect.erase(0, vanish.size());
    }
    const auto found = errors.find(effect);
    return found == errors.end() ? 0 : -found->second;
}

int onGetattr(const char* path, struct stat* facts, fuse_file_info*) {
    if (const int error = fault("getattr", path); error != 0) return error;
    const int error = result(::lstat(below(path).c_str(), facts));
    const std::string effect = effectOn("getattr", path);
    if (error == 0 && effect.starts_with("size=")) facts->st_size = std::stoll(effect.substr(5));
    return error;
}

int onOpendir(const char* path, fuse_file_info* info) {
    if (const int error = fault("opendir", path); error != 0) return error;
    DIR* const stream = ::opendir(below(path).c_str());
    if (stream == nullptr) return -errno;
    info->fh = reinterpret_cast<std::uint64_t>(stream);
    return 0;
}

int onReaddir(const char* path, void* buffer, fuse_fill_dir_t fill, off_t offset, fuse_file_info* info,
              fuse_readdir_flags) {
    if (const int error = fault("readdir", path); error != 0) return error;
    const std::string effect = effectOn("readdir", path);
    const long cut = effect.starts_with("cut=") ? std::stol(effect.substr(4)) : -1;
    DIR* const stream = reinterpret_cast<DIR*>(info->fh);
    ::rewinddir(stream);
    off_t at = 0;
    while (const dirent* const entry = ::readdir(stream)) {
        if (at++ < offset) continue;
        if (cut >= 0 && at > cut) return at == offset + 1 ? -EIO : 0;
        struct stat facts {};
        facts.st_ino = entry->d_ino;
        facts.st_mode = static_cast<mode_t>(entry->d_type) << 12U;
        if (fill(buffer, entry->d_name, &facts, at, static_cast<fuse_fill_dir_flags>(0)) != 0) return 0;
    }
    return 0;
}

int onReleasedir(const char*, fuse_file_info* info) {
    ::closedir(reinterpret_cast<DIR*>(info->fh));
    return 0;
}

int onUnlink(const char* path) {
    if (const int error = fault("unlink", path); error != 0) return error;
    return result(::unlink(below(path).c_str()));
}

int onRmdir(const char* path) {
    if (const int error = fault("rmdir", path); error != 0) return error;
    return result(::rmdir(below(path).c_str()));
}

}  // namespace

int main(int count, char** words) {
    if (count < 3) return 2;
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    source = std::unique_ptr<char, void (*)(void*)>(::realpath(words[1], nullptr), std::free).get();
    words[1] = words[0];
    fuse_operations operations{};
    operations.getattr = onGetattr;
    operations.opendir = onOpendir;
    operations.readdir = onReaddir;
    operations.releasedir = onReleasedir;
    operations.unlink = onUnlink;
    operations.rmdir = onRmdir;
    return fuse_main(count - 1, words + 1, &operations, nullptr);
}
