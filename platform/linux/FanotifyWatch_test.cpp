// SPDX-License-Identifier: MIT
#include "platform/linux/FanotifyWatch.h"

#include <gtest/gtest.h>

#include <ctime>
#include <string>

#include "platform/linux/WatchJob.h"
#include "tests/support/PrivateMounts.h"
#include "tests/support/ReportingJob.h"
#include "tests/support/StreamListener.h"
#include "tests/support/TemporaryFolder.h"

namespace varnel {
namespace {

TEST(FanotifyWatch, ReportsWhatAppearedBeforeAMarkThatTookLong) {
    const tests::PrivateMounts namespaces;
    if (!namespaces.available()) GTEST_SKIP() << "needs a mount namespace: " << namespaces.reason();
    EXPECT_EQ(namespaces.run([] {
        const tests::TemporaryFolder folder;
        const std::string place = folder.folder("v");
        tests::mountTmpfs(place);
        folder.file("v/old/before");
        folder.file("v/new/meanwhile");
        tests::age(folder.at("v/old"));
        for (const long secondsAgo : {0L, 6L}) {
            tests::ReportingJob reporting(place);
            reporting.job.begun = timeNow();
            reporting.job.begun.tv_sec -= secondsAgo;
            reporting.job.onReady = [&] { reporting.job.stop.raise(); };
            EXPECT_EQ(FanotifyWatch::run(reporting.job), WatchEnd::over);
            reporting.settle();
            EXPECT_EQ(reporting.reported.contains(folder.at("v/new/meanwhile")), secondsAgo > 0) << secondsAgo;
            EXPECT_FALSE(reporting.reported.contains(folder.at("v/old/before")));
        }
        tests::unmount(place);
    }),
              0);
}

}  // namespace
}  // namespace varnel
