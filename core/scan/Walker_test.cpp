// SPDX-License-Identifier: MIT
#include "core/scan/Walker.h"

#include <dirent.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "core/base/Path.h"
#include "tests/support/PrivateMounts.h"
#include "tests/support/Random.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/WithoutOpenat2.h"

namespace varnel {
namespace {

using tests::onBothRoads;
using tests::TemporaryFolder;
using Texts = std::vector<std::string>;

struct Seen {
    std::vector<WalkEntry> entries;
    Texts errors;

    Texts paths() const {
        Texts result;
        for (const WalkEntry& entry : entries)
            result.push_back(entry.path);
        return result;
    }
    const WalkEntry* find(const std::string& path) const {
        const auto found =
            std::find_if(entries.begin(), entries.end(), [&](const WalkEntry& entry) { return entry.path == path; });
        return found == entries.end() ? nullptr : &*found;
    }
};

Seen walk(
    const std::string& root,
    const std::function<bool(const WalkEntry&)>& descend = [](const WalkEntry&) { return true; }) {
    Seen seen;
    Walker::walk(
        root, [&](std::string problem) { seen.errors.push_back(std::move(problem)); },
        [&](const WalkEntry& entry) {
            seen.entries.push_back(entry);
            return descend(entry);
        });
    return seen;
}

Seen walkSkipping(const std::string& root, const std::function<bool(std::string_view)>& isOfNoInterest) {
    Seen seen;
    Walker::walk(
        root, [&](std::string problem) { seen.errors.push_back(std::move(problem)); },
        [&](const WalkEntry& entry) {
            seen.entries.push_back(entry);
            return true;
        },
        [&](std::string_view name) { return isOfNoInterest(name); });
    return seen;
}

/// What the system lists in a folder, in its order.
Texts listing(const std::string& folder) {
    Texts names;
    DIR* const stream = ::opendir(folder.c_str());
    while (const dirent* const entry = ::readdir(stream)) {
        const std::string name = entry->d_name;
        if (name != "." && name != "..") names.push_back(name);
    }
    ::closedir(stream);
    return names;
}

/// The order that a walk promises: a folder's entries as listed, then each subfolder wholly before the next.
Texts promisedOrder(const std::string& folder) {
    Texts order;
    const Texts names = listing(folder);
    for (const std::string& name : names)
        order.push_back(Path::joined(folder, name));
    for (const std::string& name : names) {
        const std::string path = Path::joined(folder, name);
        if (!std::filesystem::is_directory(std::filesystem::symlink_status(path))) continue;
        const Texts below = promisedOrder(path);
        order.insert(order.end(), below.begin(), below.end());
    }
    return order;
}

/// A folder `depth` levels deep, made by descriptor, since no path is that long. `also` makes a sibling at each level.
void makeDeep(const std::string& top, int depth, const std::string& name, const std::string& also) {
    int here = ::open(top.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    for (int level = 0; level < depth; ++level) {
        ASSERT_EQ(::mkdirat(here, name.c_str(), 0755), 0);
        if (!also.empty()) {
            ASSERT_EQ(::mkdirat(here, also.c_str(), 0755), 0);
        }
        const int next = ::openat(here, name.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        ASSERT_GE(next, 0);
        ::close(here);
        here = next;
    }
    ::close(::openat(here, "bottom", O_CREAT | O_WRONLY | O_CLOEXEC, 0644));
    ::close(here);
}

void removeDeep(const std::string& top) {
    tests::shell("rm -rf '" + top + "'");
}

TEST(Walker, TellsTheFactsOfEachEntry) {
    const TemporaryFolder folder;
    folder.file("a/file", "12345");
    folder.link("link", "a/file");
    folder.link("loop", ".");
    const Seen seen = walk(folder.path());
    EXPECT_TRUE(seen.errors.empty());
    EXPECT_EQ(seen.entries.size(), 4U);
    struct stat facts {};
    ::lstat(folder.path().c_str(), &facts);

    const WalkEntry* const file = seen.find(folder.at("a/file"));
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(file->name, "file");
    EXPECT_EQ(file->size, 5);
    EXPECT_FALSE(file->isDirectory || file->isSymlink);
    EXPECT_EQ(file->device, static_cast<std::int32_t>(facts.st_dev));

    const WalkEntry* const directory = seen.find(folder.at("a"));
    ASSERT_NE(directory, nullptr);
    EXPECT_TRUE(directory->isDirectory);
    EXPECT_EQ(directory->size, 0);

    const WalkEntry* const link = seen.find(folder.at("link"));
    ASSERT_NE(link, nullptr);
    EXPECT_TRUE(link->isSymlink);
    EXPECT_FALSE(link->isDirectory);
    EXPECT_EQ(link->size, 6) << "the length of the target's name";
}

TEST(Walker, VisitsAFolderBeforeItsSubfoldersInListingOrder) {
    const TemporaryFolder folder;
    for (const char* name : {"b/2/x", "b/1/y", "a/z", "c", "a/q/r/s", "d/e"})
        folder.file(name);
    EXPECT_EQ(walk(folder.path()).paths(), promisedOrder(folder.path()));
}

TEST(Walker, NeverFollowsALinkWhateverVisitAnswers) {
    const TemporaryFolder folder;
    folder.file("outside/secret");
    folder.link("tree/link", "../outside");
    folder.link("tree/loop", "..");
    Texts expected = {folder.at("tree/link"), folder.at("tree/loop")};
    Texts paths = walk(folder.at("tree")).paths();
    std::sort(paths.begin(), paths.end());
    EXPECT_EQ(paths, expected);
}

TEST(Walker, DoesNotDescendWhereVisitSaysNo) {
    const TemporaryFolder folder;
    folder.file("yes/inside");
    folder.file("no/inside");
    const Seen seen = walk(folder.path(), [](const WalkEntry& entry) { return entry.name != "no"; });
    EXPECT_NE(seen.find(folder.at("no")), nullptr);
    EXPECT_EQ(seen.find(folder.at("no/inside")), nullptr);
    EXPECT_NE(seen.find(folder.at("yes/inside")), nullptr);
}

TEST(Walker, IsSilentInAnEmptyFolder) {
    const TemporaryFolder folder;
    const Seen seen = walk(folder.path());
    EXPECT_TRUE(seen.entries.empty());
    EXPECT_TRUE(seen.errors.empty());
}

TEST(Walker, RefusesARootThatIsNoFolder) {
    const TemporaryFolder folder;
    folder.file("file");
    folder.folder("folder");
    folder.link("link", "folder");
    folder.link("dangling", "nowhere");
    for (const char* name : {"file", "link", "dangling", "missing"}) {
        const Seen seen = walk(folder.at(name));
        EXPECT_TRUE(seen.entries.empty()) << name;
        EXPECT_EQ(seen.errors, Texts{"cannot stat root: " + folder.at(name)}) << name;
    }
}

TEST(Walker, StandardisesTheRoot) {
    const TemporaryFolder folder;
    folder.file("a/x");
    EXPECT_EQ(walk(folder.path() + "//a/./b/..//").paths(), Texts{folder.at("a/x")});
    EXPECT_EQ(walk(folder.path() + "/missing/../gone/").errors, Texts{"cannot stat root: " + folder.at("gone")});
}

TEST(Walker, FormsChildPathsOfTheRootWithOneSlash) {
    const Seen seen = walk("/", [](const WalkEntry&) { return false; });
    ASSERT_FALSE(seen.entries.empty());
    for (const WalkEntry& entry : seen.entries)
        EXPECT_EQ(entry.path, "/" + entry.name);
}

TEST(Walker, LeavesOutOtherVolumesAndMountsInSilence) {
    const tests::PrivateMounts mounts;
    if (!mounts.available()) GTEST_SKIP() << "needs a mount namespace: " << mounts.reason();
    const TemporaryFolder folder;
    folder.file("tree/a/x");
    folder.file("elsewhere/behind");
    EXPECT_EQ(mounts.run([&] {
        tests::mountTmpfs(folder.folder("tree/other"));
        folder.file("tree/other/behind");
        tests::bindMount(folder.at("elsewhere"), folder.folder("tree/bound"));
        const Seen seen = walk(folder.at("tree"));
        Texts paths = seen.paths();
        std::sort(paths.begin(), paths.end());
        EXPECT_EQ(paths, (Texts{folder.at("tree/a"), folder.at("tree/a/x")}));
        EXPECT_TRUE(seen.errors.empty());
        EXPECT_EQ(walk(folder.at("tree/other")).paths(), Texts{folder.at("tree/other/behind")})
            << "as a root it counts";
    }),
              0);
}

TEST(Walker, SaysWhichFoldersCannotBeOpenedAndGoesOn) {
    if (::geteuid() != 0) GTEST_SKIP() << "needs root to become another user";
    const TemporaryFolder folder;
    folder.file("closed/x");
    folder.file("open/y");
    ::chmod(folder.at("closed").c_str(), 0700);
    EXPECT_EQ(tests::runUnprivileged([&] {
                  const Seen seen = walk(folder.path());
                  EXPECT_EQ(seen.errors, Texts{"cannot open: " + folder.at("closed")});
                  EXPECT_NE(seen.find(folder.at("closed")), nullptr);
                  EXPECT_NE(seen.find(folder.at("open/y")), nullptr);
                  EXPECT_EQ(walk(folder.at("closed")).errors, Texts{"cannot open: " + folder.at("closed")});
              }),
              0);
}

TEST(Walker, SaysCannotStatForEveryEntryOfAFolderThatCannotBeSearched) {
    if (::geteuid() != 0) GTEST_SKIP() << "needs root to become another user";
    const TemporaryFolder folder;
    folder.file("odd/a");
    folder.file("odd/._b");
    folder.folder("odd/sub");
    ::chmod(folder.at("odd").c_str(), 0744);
    const auto check = [&] {
        const Texts expected = {"cannot stat: " + folder.at("odd/._b"), "cannot stat: " + folder.at("odd/a"),
                                "cannot stat: " + folder.at("odd/sub")};
        for (const std::string& root : {folder.path(), folder.at("odd")}) {
            Seen plain = walk(root);
            Seen skipping = walkSkipping(root, [](std::string_view) { return true; });
            std::sort(plain.errors.begin(), plain.errors.end());
            std::sort(skipping.errors.begin(), skipping.errors.end());
            EXPECT_EQ(plain.errors, expected);
            EXPECT_EQ(skipping.errors, expected);
        }
    };
    EXPECT_EQ(tests::runUnprivileged(check), 0);
    EXPECT_EQ(tests::runUnprivileged([&] {
                  tests::takeOpenat2Away();
                  check();
              }),
              0)
        << "without openat2()";
}

TEST(WalkerSkipping, NeitherAsksNorVisitsWhatIsOfNoInterest) {
    const TemporaryFolder folder;
    for (const char* name : {"keep", "skip", "a/keep", "a/skip"})
        folder.file(name);
    folder.link("skip link", "keep");
    folder.folder("skip folder/keep");
    Texts asked;
    const Seen seen = walkSkipping(folder.path(), [&](std::string_view name) {
        asked.emplace_back(name);
        return name.starts_with("skip");
    });
    Texts paths = seen.paths();
    std::sort(paths.begin(), paths.end());
    EXPECT_EQ(paths, (Texts{folder.at("a"), folder.at("a/keep"), folder.at("keep"), folder.at("skip folder"),
                            folder.at("skip folder/keep")}))
        << "folders are always visited";
    std::sort(asked.begin(), asked.end());
    EXPECT_EQ(asked, (Texts{"keep", "keep", "skip", "skip", "skip link"})) << "folders are never asked about";
}

TEST(WalkerSkipping, VisitsWhatThePlainWalkVisitsButForWhatWasSkipped) {
    tests::Random random;
    const std::vector<std::string> names = {"a", "._a", "b", ".DS_Store", "c c", "\xff", "\u00e9", "__MACOSX"};
    for (int round = 0; round < 20; ++round) {
        const TemporaryFolder folder;
        for (int i = 0; i < 40; ++i) {
            std::string path;
            for (std::size_t depth = random.below(4); depth > 0; --depth)
                path += random.oneOf(names) + "/";
            path += random.oneOf(names);
            std::error_code ignored;
            std::filesystem::create_directories(std::filesystem::path(folder.at(path)).parent_path(), ignored);
            if (random.chance(0.2)) {
                std::filesystem::create_symlink("..", folder.at(path), ignored);
            } else if (!std::filesystem::exists(folder.at(path), ignored)) {
                std::ofstream(folder.at(path)) << "x";
            }
        }
        const auto isSkipped = [](std::string_view name) { return name.size() % 2 == 1; };
        Texts expected;
        for (const WalkEntry& entry : walk(folder.path()).entries) {
            if (entry.isDirectory || !isSkipped(entry.name)) expected.push_back(entry.path);
        }
        ASSERT_EQ(walkSkipping(folder.path(), isSkipped).paths(), expected);
        onBothRoads([&] { EXPECT_EQ(walk(folder.path()).paths(), promisedOrder(folder.path())); });
    }
}

TEST(Walker, GivesNamesAsTheBytesThatAreListed) {
    const TemporaryFolder folder;
    const Texts names = {"._\xff\xfe", "new\nline", "\x1b[31m", std::string(255, 'n'), "\u00e9", "e\u0301"};
    for (const std::string& name : names)
        folder.file(name);
    const Seen seen = walk(folder.path());
    EXPECT_EQ(seen.entries.size(), names.size());
    for (const std::string& name : names)
        EXPECT_NE(seen.find(folder.at(name)), nullptr) << name;
}

TEST(Walker, GoesAsDeepAsTheTreeGoes) {
    const TemporaryFolder folder;
    folder.folder("line");
    folder.folder("bush");
    makeDeep(folder.at("line"), 10000, "d", "");
    makeDeep(folder.at("bush"), 1000, "deep", "side");  // longer than a path may be
    const Seen line = walk(folder.at("line"));
    EXPECT_TRUE(line.errors.empty());
    ASSERT_EQ(line.entries.size(), 10001U);
    EXPECT_EQ(line.entries.back().name, "bottom");
    EXPECT_EQ(line.entries.back().path.size(), folder.at("line").size() + 2 * 10000 + 7);
    onBothRoads([&] {
        Seen bush = walk(folder.at("bush"));
        EXPECT_TRUE(bush.errors.empty());
        EXPECT_EQ(bush.entries.size(), 2001U);
    });
    removeDeep(folder.path());
}

TEST(Walker, HoldsFewDescriptorsHoweverDeepTheTree) {
    const TemporaryFolder folder;
    makeDeep(folder.path(), 500, "deep", "side");
    const auto openNow = [] {
        return std::distance(std::filesystem::directory_iterator("/proc/self/fd"),
                             std::filesystem::directory_iterator());
    };
    const auto before = openNow();
    auto most = before;
    walk(folder.path(), [&](const WalkEntry&) {
        most = std::max(most, openNow());
        return true;
    });
    EXPECT_LE(most - before, 64);
    EXPECT_EQ(openNow(), before);
    removeDeep(folder.path());
}

TEST(Walker, ReadsWideFoldersToTheirEnd) {
    const TemporaryFolder folder;
    const int descriptor = ::open(folder.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    constexpr int count = 70000;
    for (int i = 0; i < count; ++i) {
        ::close(::openat(descriptor, ("f" + std::to_string(i)).c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0644));
    }
    ::close(descriptor);
    int seen = 0;
    const auto fail = [](const std::string& problem) { ADD_FAILURE() << problem; };
    Walker::walk(folder.path(), fail, [&seen](const WalkEntry&) { return ++seen > 0; });
    EXPECT_EQ(seen, count);
    int asked = 0;
    Walker::walk(
        folder.path(), fail, [](const WalkEntry&) { return true; }, [&asked](std::string_view) { return ++asked > 0; });
    EXPECT_EQ(asked, count);
}

}  // namespace
}  // namespace varnel
