// SPDX-License-Identifier: MIT
#include "platform/linux/WatchJob.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <ctime>
#include <string>

#include "core/base/FileDescriptor.h"
#include "tests/support/PrivateMounts.h"
#include "tests/support/ReportingJob.h"
#include "tests/support/TemporaryFolder.h"

namespace varnel {
namespace {

using tests::ReportingJob;
using tests::TemporaryFolder;
using Paths = ReportingJob::Paths;

TEST(WatchJobHasChanged, GoesByTheStampAndErrsTowardsYes) {
    const TemporaryFolder folder;
    ReportingJob reporting(folder.path());
    const std::string path = folder.folder("f");
    const std::time_t now = std::time(nullptr);
    constexpr long second = 1'000'000'000;
    const struct {
        timespec begun, stamp;
        bool hasChanged;
    } cases[] = {
        {{now, 500}, {now, 500}, true},
        {{now, 500}, {now - 1, 500}, false},
        {{now, 500}, {now + 1, 500}, true},
        // The kernel's stamps lag behind by up to 20 ms, also across the second's boundary.
        {{now, 100'000'000}, {now, 80'000'001}, true},
        {{now, 100'000'000}, {now, 79'000'000}, false},
        {{now, 5'000'000}, {now - 1, second - 10'000'000}, true},
        {{now, 5'000'000}, {now - 1, second - 16'000'000}, false},
        {{now, 0}, {now - 1, second - 19'000'000}, true},
        // Where time is counted in steps of two seconds.
        {{now, 500}, {now - 2, 0}, true},
        {{now, 500}, {now - 3, 0}, false},
        // A server's clock may be ahead by minutes; what is further ahead was made under another clock.
        {{now, 500}, {now + 14 * 60, 500}, true},
        {{now, 500}, {now + 16 * 60, 500}, false},
    };
    for (const auto& c : cases) {
        const timespec times[] = {c.stamp, c.stamp};
        ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
        reporting.job.begun = c.begun;
        EXPECT_EQ(hasChanged(reporting.job, path), c.hasChanged)
            << c.stamp.tv_sec - now << "." << c.stamp.tv_nsec << " since " << c.begun.tv_nsec;
    }
    EXPECT_FALSE(hasChanged(reporting.job, folder.at("gone")));
}

TEST(WatchJobHasChanged, TellsOfFoldersHoweverDeep) {
    const TemporaryFolder folder;
    ReportingJob reporting(folder.path());
    reporting.job.begun.tv_sec = std::time(nullptr) - 60;
    const std::string name(250, 'd');
    std::string path = folder.path();
    FileDescriptor here(::open(path.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    for (int level = 0; level < 20; ++level) {
        ASSERT_EQ(::mkdirat(here.get(), name.c_str(), 0755), 0);
        here = FileDescriptor(::openat(here.get(), name.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
        path += "/" + name;
    }
    ASSERT_EQ(::mkdirat(here.get(), "bottom", 0755), 0);
    EXPECT_TRUE(hasChanged(reporting.job, path));
    reportWhatChanged(reporting.job);
    reporting.settle();
    EXPECT_TRUE(reporting.reported.contains(path + "/bottom"));
    EXPECT_EQ(reporting.lost, Paths());

    const std::string link = "/proc/self/fd/" + std::to_string(here.get());
    const timespec hourAgo{std::time(nullptr) - 3600, 1};
    const timespec times[] = {hourAgo, hourAgo};
    ASSERT_EQ(::utimensat(AT_FDCWD, link.c_str(), times, 0), 0);
    EXPECT_FALSE(hasChanged(reporting.job, path));
    tests::shell("rm -rf '" + folder.path() + "'/*");
}

TEST(WatchJobReports, SayWhatTheyCannotSee) {
    if (::geteuid() != 0) GTEST_SKIP() << "needs root to become another user";
    const TemporaryFolder folder;
    folder.file("v/closed/x");
    folder.file("v/open/y");
    ::chmod(folder.at("v/closed").c_str(), 0700);
    EXPECT_EQ(tests::runUnprivileged([&] {
                  const std::string root = folder.at("v");
                  const struct {
                      const char* name;
                      void (*report)(const WatchJob&, const std::string&);
                      std::string folder;
                      bool isLoss;
                  } cases[] = {
                      {"contents", reportContents, root, true},
                      {"contents", reportContents, root + "/open", false},
                      {"contents", reportContents, root + "/gone", false},
                      {"entries", reportEntries, root + "/closed", true},
                      {"entries", reportEntries, root + "/open", false},
                      {"entries", reportEntries, root + "/gone", false},
                      {"changes", [](const WatchJob& job, const std::string&) { reportWhatChanged(job); }, root, true},
                  };
                  for (const auto& c : cases) {
                      ReportingJob reporting(root);
                      c.report(reporting.job, c.folder);
                      reporting.settle();
                      EXPECT_EQ(reporting.lost, c.isLoss ? Paths{root} : Paths()) << c.name << " of " << c.folder;
                  }
              }),
              0);
}

}  // namespace
}  // namespace varnel
