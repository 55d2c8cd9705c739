// SPDX-License-Identifier: MIT
//
// Where the system has no more threads or descriptors to give, that is told; nothing crashes and nothing waits.
#include <gtest/gtest.h>
#include <sys/types.h>
#include <unistd.h>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "core/base/SerialQueue.h"
#include "core/log/Log.h"
#include "core/volumes/Volume.h"
#include "core/watcher/EventStream.h"
#include "core/watcher/MountNotifications.h"
#include "platform/linux/WatchJob.h"
#include "platform/linux/WatchThread.h"
#include "tests/support/PrivateMounts.h"
#include "tests/support/ReportingJob.h"
#include "tests/support/Sanitizers.h"
#include "tests/support/Shortages.h"
#include "tests/support/TemporaryFolder.h"

namespace varnel {
namespace {

using tests::NoDescriptors;
using tests::NoThreads;
using tests::ReportingJob;
using tests::TemporaryFolder;

void unprivileged(const std::function<void()>& body) {
    if (tests::hasAddressSanitizer || tests::hasThreadSanitizer) GTEST_SKIP() << "the sanitizer needs a thread itself";
    EXPECT_EQ(tests::runUnprivileged(body), 0);
}

TEST(WithoutThreads, ThereIsNoQueueAndNoLog) {
    unprivileged([] {
        const TemporaryFolder folder;
        const NoThreads none;
        EXPECT_EQ(SerialQueue::create("test.queue"), nullptr);
        EXPECT_EQ(Log::open(folder.path()), nullptr);
        EXPECT_EQ(Log::openEchoing(folder.path(), [](std::string_view) {}), nullptr);
        EXPECT_FALSE(folder.has("varnel.log"));
    });
}

TEST(WithoutThreads, AFolderThatIsNotWatchedIsNamedAndLost) {
    unprivileged([] {
        const TemporaryFolder folder;
        ReportingJob reporting(folder.path());
        std::vector<std::string> problems;
        auto job = std::make_unique<WatchJob>();
        job->root = folder.path();
        job->events = reporting.job.events;
        job->onProblem = [&problems](const std::string& problem) { problems.push_back(problem); };
        {
            std::optional<NoThreads> none(std::in_place);
            const WatchThread thread(std::move(job));
            EXPECT_TRUE(thread.hasEnded());
            thread.waitUntilReady(std::chrono::steady_clock::time_point::max());
        }
        reporting.settle();
        EXPECT_EQ(reporting.lost, (std::set<std::string>{folder.path()}));
        EXPECT_EQ(problems, (std::vector<std::string>{
                                "cannot watch " + folder.path() +
                                ": the system has no thread or descriptor to give; end other programs, or raise the "
                                "limits of processes and of open files"}));
    });
}

/// A stream over nothing, started while something is missing.
template <typename Missing>
void expectNoStream(bool isMissingForMounts) {
    const auto queue = SerialQueue::create("test.queue");
    std::optional<Missing> missing;
    if (isMissingForMounts) missing.emplace();
    const auto mounts = MountNotifications::ofSystem();
    EXPECT_EQ(mounts->canHear(), !isMissingForMounts);
    std::vector<std::string> problems;
    EventStreamRequest request;
    request.paths = {"/"};
    request.deliver = [](auto, auto, auto) {};
    const auto stream =
        EventStreams::ofSystem([] { return std::vector<Volume>(); }, mounts,
                               [&](const std::string& problem) { problems.push_back(problem); })(request);
    stream->setQueue(queue);
    if (!missing) missing.emplace();
    bool hasStarted = true;
    queue->sync([&] { hasStarted = stream->start(); });
    EXPECT_FALSE(hasStarted);
    EXPECT_EQ(problems, (std::vector<std::string>{"cannot watch: the system has no thread or descriptor to give; end "
                                                  "other programs, or raise the limits of processes and of open "
                                                  "files"}));
    queue->sync([&] {
        stream->stop();
        stream->invalidate();
    });
}

TEST(WithoutThreads, AStreamDoesNotStart) {
    unprivileged([] {
        expectNoStream<NoThreads>(/*isMissingForMounts=*/false);
        expectNoStream<NoThreads>(/*isMissingForMounts=*/true);
    });
}

TEST(WithoutDescriptors, ThereIsNoQueueAndAStreamDoesNotStart) {
    if (tests::hasAddressSanitizer) GTEST_SKIP() << "the sanitizer needs descriptors to look at what is thrown";
    EXPECT_EQ(tests::runInChild([] {
                  {
                      const NoDescriptors none;
                      EXPECT_EQ(SerialQueue::create("test.queue"), nullptr);
                  }
                  expectNoStream<NoDescriptors>(/*isMissingForMounts=*/true);
              }),
              0);
}

}  // namespace
}  // namespace varnel
