// SPDX-License-Identifier: MIT
//
// What the real system answers. Runs on a Mac only; elsewhere it is compiled and linked.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <mutex>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "core/base/HomeFolder.h"
#include "core/base/Path.h"
#include "core/base/Process.h"
#include "core/base/RemovalFailure.h"
#include "core/base/SerialQueue.h"
#include "core/base/Text.h"
#include "core/plan/TreeRemover.h"
#include "core/scan/Directory.h"
#include "core/scan/FSInfo.h"
#include "core/scan/PathGuard.h"
#include "core/scan/VolumeIdentity.h"
#include "core/volumes/VolumeList.h"
#include "core/watcher/EventStream.h"
#include "tests/support/ErrorTexts.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/Vectors.h"
#include "tests/support/Waiting.h"

namespace varnel {
namespace {

using tests::TemporaryFolder;

void checkVectors(const std::string& file, const std::function<void(const nlohmann::json&)>& check) {
    int checked = 0;
    tests::forEachVector(file, [&](const nlohmann::json& vector) {
        if (tests::isUnconfirmed(vector)) return;
        ++checked;
        check(vector);
    });
    EXPECT_GT(checked, 0) << file;
}

TEST(MacSystemText, GivesTheRecordedAnswers) {
    checkVectors("grapheme-count.json", [](const nlohmann::json& v) {
        EXPECT_EQ(Text::characterCount(v["input"].get<std::string>()), v["expected"].get<std::int64_t>());
    });
    checkVectors("lowercase.json", [](const nlohmann::json& v) {
        EXPECT_EQ(Text::lowercased(v["input"].get<std::string>()), v["expected"].get<std::string>());
    });
    checkVectors("name-equals.json", [](const nlohmann::json& v) {
        EXPECT_EQ(Text::equalsIgnoringCase(v["input"][0].get<std::string>(), v["input"][1].get<std::string>()),
                  v["expected"].get<bool>());
    });
    checkVectors("has-prefix.json", [](const nlohmann::json& v) {
        EXPECT_EQ(Text::hasPrefix(v["input"][0].get<std::string>(), v["input"][1].get<std::string>()),
                  v["expected"].get<bool>());
    });
    checkVectors("has-suffix-lowercased.json", [](const nlohmann::json& v) {
        EXPECT_EQ(Text::hasSuffixIgnoringCase(v["input"][0].get<std::string>(), v["input"][1].get<std::string>()),
                  v["expected"].get<bool>());
    });
}

TEST(MacSystemPath, IsStandardisedAsFoundationDoes) {
    EXPECT_EQ(Path::standardized("/private/etc/hosts"), "/etc/hosts");
    EXPECT_EQ(Path::standardized("/private/no/such/place"), "/private/no/such/place");
    EXPECT_EQ(Path::standardized("/Volumes/../usr/"), "/usr");
    EXPECT_EQ(Path::standardized("~/x"), HomeFolder::current() + "/x");
    EXPECT_TRUE(PathGuard::isForbidden("/private"));
    EXPECT_TRUE(PathGuard::isForbidden("/private/var/db"));
    EXPECT_TRUE(PathGuard::isForbidden("~"));
}

TEST(MacSystemWords, AreTheRecordedOnes) {
    EXPECT_GT(tests::compareErrorTexts("macOS", "launch", launchFailure), 0);
    const auto ofFile = [](const std::string& path, int error) { return removalFailure(path, false, error); };
    EXPECT_GT(tests::compareErrorTexts("macOS", "unlink", ofFile), 0);
}

TEST(MacSystemFolders, TellTypesDevicesAndPhysicalPaths) {
    EXPECT_EQ(FSInfo::type("/"), "apfs");
    EXPECT_EQ(FSInfo::type("/no/such/path"), std::nullopt);
    EXPECT_TRUE(FSInfo::isMountPoint("/"));
    EXPECT_TRUE(FSInfo::isMountPoint("/dev"));
    EXPECT_FALSE(FSInfo::isMountPoint("/usr"));
    const auto folder = Directory::openRoot("/tmp", Directory::Links::follow, Directory::Purpose::lookUp);
    ASSERT_TRUE(folder);
    EXPECT_EQ(Directory::physicalPath(folder->get()), "/private/tmp");
}

TEST(MacSystemVolumes, ListTheStartUpDisk) {
    const auto volumes = VolumeList::all();
    const auto root = std::find_if(volumes.begin(), volumes.end(), [](const Volume& v) { return v.mountPoint == "/"; });
    ASSERT_NE(root, volumes.end());
    EXPECT_TRUE(root->isMacFormat());
    EXPECT_TRUE(root->isLocal);
    EXPECT_FALSE(root->isRemovable);
}

TEST(MacSystemVolumes, AreKnownAgainAndToldApart) {
    const TemporaryFolder folder;
    const auto first = VolumeIdentity::of(folder.path());
    ASSERT_TRUE(first);
    EXPECT_EQ(VolumeIdentity::of(folder.path()), first);
    EXPECT_EQ(VolumeIdentity::of(folder.folder("below")), first);
    EXPECT_NE(first->fileSystem, 0U) << "the volume's UUID";
    EXPECT_NE(VolumeIdentity::of("/dev"), first);
}

TEST(MacSystemRemoval, TakesATreeAndNoLinksTarget) {
    const TemporaryFolder folder;
    folder.file("canary/precious");
    folder.file("t/a/b/c");
    folder.link("t/a/link", folder.at("canary"));
    const auto root = Directory::openRoot(folder.path(), Directory::Links::follow, Directory::Purpose::lookUp);
    ASSERT_TRUE(root);
    EXPECT_EQ(TreeRemover().remove(root->get(), "t"), 0);
    EXPECT_FALSE(folder.has("t"));
    EXPECT_TRUE(folder.has("canary/precious"));
}

TEST(MacSystemEvents, ReportAFileThatAppears) {
    const TemporaryFolder folder;
    std::mutex mutex;
    std::set<std::string> seen;
    EventStreamRequest request;
    request.paths = {"/"};
    request.latency = 0.25;
    request.deliver = [&](std::span<const std::string> paths, std::span<const std::uint32_t> flags,
                          std::int64_t count) {
        EXPECT_EQ(paths.size(), static_cast<std::size_t>(count));
        EXPECT_EQ(flags.size(), paths.size());
        const std::lock_guard lock(mutex);
        seen.insert(paths.begin(), paths.end());
    };
    const auto queue = SerialQueue::create("com.quorin.varnel.test");
    const auto stream = EventStreams::ofSystem(nullptr, nullptr, nullptr)(std::move(request));
    ASSERT_NE(stream, nullptr);
    stream->setQueue(queue);
    ASSERT_TRUE(stream->start());
    folder.file("appears");
    // The service names the real path.
    const std::string expected = "/private" + folder.at("appears");
    EXPECT_TRUE(tests::comesTrue([&] {
        const std::lock_guard lock(mutex);
        return seen.contains(expected);
    }));
    queue->sync([&] {
        stream->stop();
        stream->invalidate();
    });
}

}  // namespace
}  // namespace varnel
