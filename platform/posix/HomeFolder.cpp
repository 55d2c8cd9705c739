// SPDX-License-Identifier: MIT
//
// The shell, and every program started from it, takes HOME for the home folder; so does this one where it is set to
// an absolute path, and asks the user database otherwise.
#include "core/base/HomeFolder.h"

#if !defined(__linux__) && !defined(__APPLE__)
#error "This source is for Linux and macOS."
#endif

#include <pwd.h>
#include <sys/types.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "core/base/FunctionRef.h"

namespace varnel::HomeFolder {
namespace {

std::optional<std::string> fromDatabase(FunctionRef<int(passwd*, char*, std::size_t, passwd**)> lookUp) {
    std::vector<char> buffer(1024);
    for (;;) {
        passwd entry{};
        passwd* found = nullptr;
        const int error = lookUp(&entry, buffer.data(), buffer.size(), &found);
        if (error == ERANGE && buffer.size() < (1U << 20U)) {
            buffer.resize(buffer.size() * 2);
            continue;
        }
        if (found == nullptr || found->pw_dir == nullptr) return std::nullopt;
        return std::string(found->pw_dir);
    }
}

/// Asked for every removal, while the database may be a server's: so each user is looked up once.
std::optional<std::string> ofCurrentUser() {
    static std::mutex mutex;
    static std::map<uid_t, std::optional<std::string>> known;
    const uid_t user = ::getuid();
    const std::lock_guard lock(mutex);
    const auto [found, isNew] = known.try_emplace(user);
    if (isNew) {
        found->second = fromDatabase([user](passwd* entry, char* buffer, std::size_t size, passwd** result) {
            return ::getpwuid_r(user, entry, buffer, size, result);
        });
    }
    return found->second;
}

std::optional<std::string> fromEnvironment() {
    const char* const home = std::getenv("HOME");  // NOLINT(concurrency-mt-unsafe): nobody sets it
    if (home == nullptr || home[0] != '/') return std::nullopt;
    return std::string(home);
}

}  // namespace

std::string current() {
    if (auto home = fromEnvironment()) return *std::move(home);
    return ofCurrentUser().value_or("");
}

std::optional<std::string> of(std::string_view user) {
    const std::string name(user);
    return fromDatabase([&name](passwd* entry, char* buffer, std::size_t size, passwd** found) {
        return ::getpwnam_r(name.c_str(), entry, buffer, size, found);
    });
}

std::vector<std::string> all() {
    std::vector<std::string> folders;
    if (auto home = fromEnvironment()) folders.push_back(*std::move(home));
    if (auto home = ofCurrentUser()) folders.push_back(*std::move(home));
    return folders;
}

}  // namespace varnel::HomeFolder
