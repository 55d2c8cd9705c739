// SPDX-License-Identifier: MIT
//
// While one thread exchanges a folder with a link that leads to a canary tree, another scans and removes. Whatever the
// moment, nothing of the canary may ever go. A remover that works on paths must lose the canary in the same frame, or
// the frame proves nothing.
#include <dirent.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/fs.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "core/plan/Executor.h"
#include "core/rules/RuleSet.h"
#include "core/scan/Scanner.h"
#include "tests/support/Manifest.h"
#include "tests/support/PrivateMounts.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/ToldWatcher.h"
#include "tests/support/WithoutOpenat2.h"

namespace varnel {
namespace {

using std::chrono::steady_clock;
using tests::Manifest;
using tests::onBothRoads;
using tests::TemporaryFolder;

std::chrono::milliseconds raceTime() {
    const char* const seconds = std::getenv("VARNEL_RACE_SECONDS");
    return std::chrono::milliseconds(seconds == nullptr ? 1000 : std::stol(seconds) * 1000);
}

constexpr long fewestSwaps = 1000;
constexpr int filesPerFolder = 150;
constexpr const char* onlyInCanary = "._only in the canary";

/// A volume whose folder `swapped` becomes a link to the canary and back, as fast as the kernel can.
class Race {
public:
    explicit Race(const std::string& swapped) : swapped_(folder_.at("v/" + swapped)), link_(folder_.at("link")) {
        folder_.folder("v");
        fill(folder_.at("canary"));
        folder_.file(std::string("canary/deep/") + onlyInCanary);
        whole_ = Manifest::of(folder_.at("canary"));
    }

    /// Rebuilds the volume and runs `work` on it while the swapper swaps, until `isEnough` or the time is over.
    void run(const std::function<void(const std::string& root)>& work, const std::function<bool()>& isEnough) {
        std::atomic<int> state{paused};
        std::atomic<bool> isIdle{true};
        std::thread swapper([&] {
            while (state != ended) {
                if (state == paused) {
                    isIdle = true;
                    std::this_thread::yield();
                    continue;
                }
                isIdle = false;
                if (::renameat2(AT_FDCWD, swapped_.c_str(), AT_FDCWD, link_.c_str(), RENAME_EXCHANGE) == 0) ++swaps_;
            }
        });
        // A busy machine gets longer: what counts is how often the swapper had its chance.
        const auto end = steady_clock::now() + raceTime();
        const auto latest = end + std::chrono::seconds(60);
        const auto isOver = [&] {
            const auto now = steady_clock::now();
            return isEnough() || now > latest || (now > end && swaps_ >= fewestSwaps);
        };
        while (!isOver()) {
            std::filesystem::remove_all(folder_.at("v"));
            std::filesystem::remove_all(link_);
            fill(swapped_);
            std::filesystem::create_directory_symlink(folder_.at("canary"), link_);
            isIdle = false;
            state = running;
            work(folder_.at("v"));
            state = paused;
            while (!isIdle)
                std::this_thread::yield();
        }
        state = ended;
        swapper.join();
    }

    bool isCanaryWhole() const { return whole_.differences(Manifest::of(folder_.at("canary")), {}).empty(); }
    long swaps() const { return swaps_; }

private:
    enum State { paused, running, ended };

    static void fill(const std::string& top) {
        std::filesystem::create_directories(top + "/deep");
        for (int i = 0; i < filesPerFolder; ++i) {
            for (const char* name : {"/._f", "/deep/._g"}) {
                ::close(::open((top + name + std::to_string(i)).c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0644));
            }
        }
    }

    TemporaryFolder folder_;
    std::string swapped_;
    std::string link_;
    Manifest whole_;
    std::atomic<long> swaps_{0};
};

void scanAndRemove(const std::string& root) {
    const Plan plan = Scanner{RuleSet::standard(), RuleScope::adhoc}.scan(root);
    for (const MatchItem& item : plan.items)
        EXPECT_NE(item.name, onlyInCanary) << "the scan went through the link";
    Executor::execute(plan, /*dryRun=*/false, nullptr);
}

/// Whether a walk by path comes upon the name that only the canary holds.
bool findsByPath(const std::string& folder) {
    bool found = false;
    DIR* const stream = ::opendir(folder.c_str());
    while (const dirent* const entry = stream == nullptr ? nullptr : ::readdir(stream)) {
        const std::string name = entry->d_name;
        if (name == "." || name == "..") continue;
        found = found || name == onlyInCanary;
        struct stat facts {};
        const std::string path = folder + "/" + name;
        if (::lstat(path.c_str(), &facts) == 0 && S_ISDIR(facts.st_mode)) found = findsByPath(path) || found;
    }
    if (stream != nullptr) ::closedir(stream);
    return found;
}

/// Removes what a plan that was made in quiet says, while the disk changes.
std::function<void(const std::string&)> removePlanned(const std::string& swapped, bool asTree) {
    return [swapped, asTree](const std::string& root) {
        Plan plan{root, {}, {}, {}, {}, {}};
        if (asTree) plan.items.push_back({root + "/__MACOSX", "__MACOSX", "macosx-dir", true, 0});
        for (int i = 0; i < filesPerFolder && !asTree; ++i) {
            for (const char* name : {"/._f", "/deep/._g"}) {
                plan.items.push_back({root + "/" + swapped + name + std::to_string(i), "", "appledouble", false, 0});
            }
        }
        Executor::execute(plan, /*dryRun=*/false, nullptr);
    };
}

/// Tells a live watcher of everything, while the disk changes.
void removeLive(const std::string& root) {
    std::vector<std::string> paths = {root + "/a/__MACOSX"};
    for (int i = 0; i < filesPerFolder; ++i) {
        for (const char* name : {"/a/in/._f", "/a/in/deep/._g"})
            paths.push_back(root + name + std::to_string(i));
    }
    paths.push_back(root + "/a/in/deep/" + onlyInCanary);
    tests::ToldWatcher(root).tell(paths);
}

/// How not to do it: every step by path.
void removeByPath(const std::string& path) {
    struct stat facts {};
    if (::lstat(path.c_str(), &facts) != 0) return;
    if (!S_ISDIR(facts.st_mode)) {
        ::unlink(path.c_str());
        return;
    }
    if (DIR* const stream = ::opendir(path.c_str())) {
        while (const dirent* const entry = ::readdir(stream)) {
            const std::string name = entry->d_name;
            if (name != "." && name != "..") removeByPath(path + "/" + name);
        }
        ::closedir(stream);
    }
    ::rmdir(path.c_str());
}

void expectCanaryWhole(const std::string& swapped, const std::function<void(const std::string&)>& work) {
    Race race(swapped);
    race.run(work, [] { return false; });
    EXPECT_TRUE(race.isCanaryWhole());
    EXPECT_GE(race.swaps(), fewestSwaps) << "too few swaps to prove anything";
}

TEST(SwapRace, ARemoverByPathLosesTheCanary) {
    for (int attempt = 0; attempt < 30; ++attempt) {
        Race race("__MACOSX/in");
        race.run([](const std::string& root) { removeByPath(root + "/__MACOSX"); },
                 [&race] { return !race.isCanaryWhole(); });
        if (!race.isCanaryWhole()) return;
    }
    FAIL() << "the race is too slow to catch even a remover by path";
}

TEST(SwapRace, ARemoverOfSingleFilesByPathLosesTheCanary) {
    Race race("a/in");
    race.run(
        [](const std::string& root) {
            for (int i = 0; i < filesPerFolder; ++i)
                removeByPath(root + "/a/in/._f" + std::to_string(i));
        },
        [&race] { return !race.isCanaryWhole(); });
    EXPECT_FALSE(race.isCanaryWhole());
}

TEST(SwapRace, AWalkByPathFindsTheCanary) {
    bool found = false;
    for (int attempt = 0; attempt < 30 && !found; ++attempt) {
        Race race("a/in");
        race.run([&found](const std::string& root) { found = findsByPath(root) || found; }, [&found] { return found; });
    }
    EXPECT_TRUE(found) << "the race is too slow to catch even a walk by path";
}

TEST(SwapRace, ScanAndRemovalSpareTheCanary) {
    onBothRoads([] { expectCanaryWhole("a/in", scanAndRemove); });
}

TEST(SwapRace, RemovalOfSingleFilesSparesTheCanary) {
    onBothRoads([] { expectCanaryWhole("a/in", removePlanned("a/in", /*asTree=*/false)); });
}

TEST(SwapRace, RemovalOfTreesSparesTheCanary) {
    onBothRoads([] { expectCanaryWhole("__MACOSX/in", removePlanned("", /*asTree=*/true)); });
}

TEST(SwapRace, LiveRemovalSparesTheCanary) {
    onBothRoads([] { expectCanaryWhole("a/in", removeLive); });
}

TEST(SwapRace, LiveRemovalOfTreesSparesTheCanary) {
    onBothRoads([] { expectCanaryWhole("a/__MACOSX/in", removeLive); });
}

}  // namespace
}  // namespace varnel
