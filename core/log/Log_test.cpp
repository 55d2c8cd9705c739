// SPDX-License-Identifier: MIT
#include "core/log/Log.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "core/log/LogStamp.h"
#include "tests/support/PrivateMounts.h"
#include "tests/support/TemporaryFolder.h"

namespace varnel {
namespace {

using tests::TemporaryFolder;

constexpr std::int64_t moment = 1767323045;

std::shared_ptr<Log> openLog(const std::string& directory) {
    return Log::open(directory, SerialQueue::create("com.quorin.varnel.log"), [] { return moment; });
}

std::vector<std::string> lines(const std::string& text) {
    std::vector<std::string> result;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        result.push_back(line);
    return result;
}

TEST(LogOpen, MakesTheFoldersAndTheFile) {
    const TemporaryFolder folder;
    const auto log = openLog(folder.at("Library/Logs/Varnel"));
    ASSERT_NE(log, nullptr);
    EXPECT_EQ(log->path(), folder.at("Library/Logs/Varnel/varnel.log"));
    EXPECT_TRUE(folder.has("Library/Logs/Varnel/varnel.log"));
    EXPECT_EQ(folder.contents("Library/Logs/Varnel/varnel.log"), "");
}

TEST(LogOpen, AppendsToWhatIsThere) {
    const TemporaryFolder folder;
    folder.file("varnel.log", "old line\n");
    const auto log = openLog(folder.path());
    log->write("new");
    log->flush();
    EXPECT_EQ(folder.contents("varnel.log"), "old line\n" + LogStamp::text(moment) + " new\n");
}

TEST(LogOpen, GivesNothingWhereTheFileCannotBeOpened) {
    const TemporaryFolder folder;
    folder.folder("taken/varnel.log");
    EXPECT_EQ(openLog(folder.at("taken")), nullptr);
    folder.file("file");
    EXPECT_EQ(openLog(folder.at("file")), nullptr);
    EXPECT_EQ(openLog(folder.at("file/below")), nullptr);
}

TEST(LogOpen, GivesNothingInAFolderThatIsReadOnly) {
    if (::geteuid() != 0) GTEST_SKIP() << "needs root to become another user";
    const TemporaryFolder folder;
    ::chmod(folder.path().c_str(), 0755);
    folder.file("closed/varnel.log", "old line\n");
    EXPECT_EQ(tests::runUnprivileged([&] {
                  EXPECT_EQ(openLog(folder.path()), nullptr);
                  EXPECT_EQ(openLog(folder.at("Library/Logs")), nullptr);
                  EXPECT_EQ(openLog(folder.at("closed")), nullptr);
              }),
              0);
    EXPECT_FALSE(folder.has("Library"));
    EXPECT_EQ(folder.contents("closed/varnel.log"), "old line\n");
}

TEST(LogOpen, HasTheFolderInTheHomeFolderUnderTwoNames) {
    EXPECT_TRUE(Log::defaultDirectory().ends_with("/Library/Logs/Varnel"));
    EXPECT_EQ(Log::defaultDirectory(), Log::logDirectory());
}

TEST(LogWrite, StampsEachMessageWithTheLocalTime) {
    const TemporaryFolder folder;
    ::setenv("TZ", "UTC", 1);
    ::tzset();
    const auto log = openLog(folder.path());
    log->write("X");
    log->flush();
    ::unsetenv("TZ");
    ::tzset();
    EXPECT_EQ(folder.contents("varnel.log"), "2026-01-02 03:04:05 X\n");
}

TEST(LogWrite, DoesNotEscapeAndStampsOnlyTheFirstOfSeveralLines) {
    const TemporaryFolder folder;
    const auto log = openLog(folder.path());
    log->write("a\nb\x1b[31m");
    log->write("");
    log->flush();
    const std::string stamp = LogStamp::text(moment);
    EXPECT_EQ(folder.contents("varnel.log"), stamp + " a\nb\x1b[31m\n" + stamp + " \n");
}

TEST(LogWrite, RepairsBytesThatAreNoText) {
    const TemporaryFolder folder;
    const auto log = openLog(folder.path());
    log->write("DEL   appledouble  /v/._\xff");
    log->flush();
    EXPECT_EQ(folder.contents("varnel.log"), LogStamp::text(moment) + " DEL   appledouble  /v/._\ufffd\n");
}

TEST(LogWrite, StillWritesALineOfALogThatIsGone) {
    const TemporaryFolder folder;
    const auto queue = SerialQueue::create("test.queue");
    auto log = Log::open(folder.path(), queue, [] { return moment; });
    log->write("last words");
    log.reset();
    queue->sync([] {});
    EXPECT_TRUE(folder.contents("varnel.log").ends_with(" last words\n"));
    {
        const auto brief = openLog(folder.path());
        brief->write("very last words");
    }
    EXPECT_TRUE(folder.contents("varnel.log").ends_with(" very last words\n"));
}

TEST(LogWrite, KeepsLinesWholeAndInOrderWhoeverWrites) {
    const TemporaryFolder folder;
    const auto first = openLog(folder.path());
    const auto second = openLog(folder.path());  // as another program would
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&, t] {
            Log& log = t % 2 == 0 ? *first : *second;
            for (int i = 0; i < 500; ++i)
                log.write(std::to_string(t) + " " + std::to_string(i) + std::string(100, 'x'));
        });
    }
    for (auto& thread : threads)
        thread.join();
    first->flush();
    second->flush();
    std::vector<int> next(4, 0);
    const auto all = lines(folder.contents("varnel.log"));
    EXPECT_EQ(all.size(), 2000U);
    for (const std::string& line : all) {
        ASSERT_EQ(line.substr(0, 20), LogStamp::text(moment) + " ");
        const int thread = line[20] - '0';
        const std::string expected =
            std::to_string(thread) + " " + std::to_string(next.at(static_cast<std::size_t>(thread))++);
        ASSERT_EQ(line.substr(20), expected + std::string(100, 'x'));
    }
}

TEST(LogWrite, RemembersThatAWriteFailed) {
    const TemporaryFolder folder;
    folder.link("varnel.log", "/dev/full");
    const auto log = openLog(folder.path());
    ASSERT_NE(log, nullptr);
    EXPECT_EQ(log->lastError(), 0);
    log->write("X");
    log->flush();
    EXPECT_EQ(log->lastError(), ENOSPC);
}

TEST(LogWrite, NeitherFailsNorBeginsAnewWhereItsFileWasRemoved) {
    const TemporaryFolder folder;
    const auto log = openLog(folder.path());
    ::unlink(folder.at("varnel.log").c_str());
    log->write("X");
    log->flush();
    EXPECT_EQ(log->lastError(), 0);
    EXPECT_FALSE(folder.has("varnel.log"));
}

TEST(LogWrite, EndsWithAnErrorAtALimitOnFileSizes) {
    const TemporaryFolder folder;
    const pid_t child = ::fork();
    if (child == 0) {
        ::signal(SIGXFSZ, SIG_IGN);
        const rlimit limit{30, 30};
        ::setrlimit(RLIMIT_FSIZE, &limit);
        const auto log = openLog(folder.path());
        log->write("a line that does not fit");
        log->write("nor does this one");
        log->flush();
        ::_exit(log->lastError() == 0 ? 1 : 0);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(folder.contents("varnel.log").size(), 30U);
}

TEST(LogWrite, WritesWholeLinesAgainOnceThereIsSpace) {
    const TemporaryFolder folder;
    tests::PrivateMounts mounts;
    if (!mounts.available()) GTEST_SKIP() << "needs a mount namespace: " << mounts.reason();
    const int failures = mounts.run([&] {
        tests::mountTmpfs(folder.folder("small"), "size=16k");
        folder.file("small/filler", std::string(8192, 'x'));
        const auto log = openLog(folder.at("small"));
        for (int i = 0; i < 100; ++i)
            log->write(std::to_string(i) + std::string(150, 'y'));
        log->flush();
        EXPECT_EQ(log->lastError(), ENOSPC);
        ::unlink(folder.at("small/filler").c_str());
        log->write("after");
        log->flush();
        const auto all = lines(folder.contents("small/varnel.log"));
        EXPECT_EQ(all.back(), LogStamp::text(moment) + " after");
        EXPECT_GT(all.size(), 10U);
    });
    EXPECT_EQ(failures, 0);
}

}  // namespace
}  // namespace varnel
