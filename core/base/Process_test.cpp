// SPDX-License-Identifier: MIT
#include "core/base/Process.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include "core/base/FileDescriptor.h"
#include "tests/support/PrivateMounts.h"
#include "tests/support/TemporaryFolder.h"

namespace varnel {
namespace {

using tests::TemporaryFolder;

ProgramResult runScript(const TemporaryFolder& folder, const std::string& lines,
                        const std::vector<std::string>& arguments = {}) {
    const std::string path = folder.file("script", "#!/bin/sh\n" + lines + "\n");
    ::chmod(path.c_str(), 0755);
    return runProgram(path, arguments);
}

TEST(RunProgram, GivesTheStatusAndWhatWasPrinted) {
    const TemporaryFolder folder;
    const ProgramResult done = runScript(folder, "echo said; exit 7");
    EXPECT_EQ(done.status, 7);
    EXPECT_FALSE(done.succeeded());
    EXPECT_EQ(done.output, "said");
    EXPECT_TRUE(runScript(folder, "exit 0").succeeded());
    EXPECT_EQ(runScript(folder, "exit 0").output, "");
}

TEST(RunProgram, KeepsBothStreamsInTheOrderInWhichTheyCame) {
    const TemporaryFolder folder;
    EXPECT_EQ(runScript(folder, "echo one; echo two >&2; echo three; echo four >&2").output, "one\ntwo\nthree\nfour");
}

TEST(RunProgram, TakesWhiteSpaceOffBothEnds) {
    const TemporaryFolder folder;
    EXPECT_EQ(runScript(folder, "printf '\\n \\t a  b\\nc \\r\\n\\n'").output, "a  b\nc");
    EXPECT_EQ(runScript(folder, "printf ' \\n\\t\\r\\n'").output, "");
    EXPECT_EQ(runScript(folder, "printf '\\302\\240x\\342\\200\\251'").output, "x") << "white space of every alphabet";
}

TEST(RunProgram, TakesAnOutputThatIsNotUTF8ForNone) {
    const TemporaryFolder folder;
    const ProgramResult done = runScript(folder, "printf 'caf\\351'; exit 3");
    EXPECT_EQ(done.output, "");
    EXPECT_EQ(done.status, 3);
    EXPECT_EQ(runScript(folder, "printf 'caf\\303\\251'").output, "caf\u00e9");
}

TEST(RunProgram, HandsArgumentsOverAsTheyAre) {
    const TemporaryFolder folder;
    const std::vector<std::string> arguments = {"a b", "", "$HOME", "'quoted\"", "line\nfeed", "-n", "*", "caf\xE9"};
    runScript(folder, "printf '%s\\0' \"$@\" >\"$0.arguments\"", arguments);
    std::string all;
    for (const std::string& argument : arguments)
        all += argument + '\0';
    EXPECT_EQ(folder.contents("script.arguments"), all);
}

TEST(RunProgram, ReadsHoweverMuchThereIs) {
    const TemporaryFolder folder;
    EXPECT_EQ(runScript(folder, "head -c 3000000 /dev/zero | tr '\\0' x").output, std::string(3000000, 'x'));
}

TEST(RunProgram, WaitsForWhoeverStillHoldsTheOutput) {
    const TemporaryFolder folder;
    ASSERT_EQ(::mkfifo(folder.at("gate").c_str(), 0600), 0);
    std::thread opener([&] { std::ofstream(folder.at("gate")) << "now\n"; });
    EXPECT_EQ(runScript(folder, "cat \"${0%/*}/gate\" & exit 4").output, "now");
    opener.join();
}

TEST(RunProgram, GivesTheNumberOfTheSignalThatEndedIt) {
    const TemporaryFolder folder;
    EXPECT_EQ(runScript(folder, "kill -TERM $$").status, SIGTERM);
}

TEST(RunProgram, SaysWhyAProgramCannotBeStarted) {
    const TemporaryFolder folder;
    const ProgramResult missing = runProgram(folder.at("nowhere"), {"word"});
    EXPECT_EQ(missing.status, -1);
    EXPECT_EQ(missing.output, launchFailure(folder.at("nowhere"), ENOENT));
    const std::string text = folder.file("text", "no program");
    EXPECT_EQ(runProgram(text, {}).status, -1);
    EXPECT_EQ(runProgram(text, {}).output, launchFailure(text, EACCES));
    ::chmod(text.c_str(), 0755);
    EXPECT_EQ(runProgram(text, {}).status, -1) << "no shell guesses what it is";
    EXPECT_EQ(runProgram(text, {}).output, launchFailure(text, ENOEXEC));
}

TEST(RunProgram, GivesTheProgramAnEmptyInputAndAPlainLanguage) {
    const TemporaryFolder folder;
    ::setenv("LC_ALL", "de_DE.UTF-8", 1);
    ::setenv("VARNEL_TEST_WORD", "handed on", 1);
    EXPECT_EQ(runScript(folder, "cat; echo \"$LC_ALL, $VARNEL_TEST_WORD\"").output, "C.UTF-8, handed on");
    ::unsetenv("LC_ALL");
    ::unsetenv("VARNEL_TEST_WORD");
    EXPECT_EQ(runScript(folder, "echo \"$LC_ALL\"").output, "C.UTF-8");
}

constexpr const char* noProc = "needs the folder /proc, which tells of processes";

TEST(RunProgram, HandsNoSignalsOnThatItMinds) {
    if (!std::filesystem::exists("/proc/self/status")) GTEST_SKIP() << noProc;
    const TemporaryFolder folder;
    EXPECT_EQ(
        tests::runInChild([&] {
            ::signal(SIGPIPE, SIG_IGN);
            ::signal(SIGXFSZ, SIG_IGN);
            ::signal(SIGHUP, SIG_IGN);
            sigset_t signals;
            sigemptyset(&signals);
            sigaddset(&signals, SIGTERM);
            ::pthread_sigmask(SIG_BLOCK, &signals, nullptr);
            // The last digits alone: the C library has uses of its own for the signals above them.
            EXPECT_EQ(
                runScript(folder, "exec sed -nE 's/^(SigBlk|SigIgn):.*(.{7})$/\\1 \\2/p' /proc/self/status").output,
                "SigBlk 0000000\nSigIgn 0000001")
                << "what somebody else had ignored, as nohup does, stays so";
        }),
        0);
}

std::size_t openDescriptors() {
    return static_cast<std::size_t>(
        std::distance(std::filesystem::directory_iterator("/proc/self/fd"), std::filesystem::directory_iterator()));
}

TEST(RunProgram, LeavesNoDescriptorOpenAndHandsNoneOn) {
    if (!std::filesystem::exists("/proc/self/fd")) GTEST_SKIP() << noProc;
    const TemporaryFolder folder;
    const std::size_t before = openDescriptors();
    for (int round = 0; round < 20; ++round) {
        runScript(folder, "exit 0");
        runProgram(folder.at("nowhere"), {});
    }
    EXPECT_EQ(openDescriptors(), before);
    const FileDescriptor ours(::open(folder.file("ours").c_str(), O_RDONLY | O_CLOEXEC));
    ASSERT_TRUE(ours.isOpen());
    EXPECT_EQ(runScript(folder, "ls -l /proc/self/fd/ | grep -c /ours").output, "0");
}

TEST(RunProgram, WorksWhereTheStandardStreamsAreClosed) {
    const TemporaryFolder folder;
    for (const std::vector<int>& closed : {std::vector{0}, {1}, {0, 1}, {1, 2}, {0, 1, 2}}) {
        EXPECT_EQ(tests::runInChild([&] {
                      for (const int descriptor : closed)
                          ::close(descriptor);
                      const ProgramResult done = runScript(folder, "cat; echo out; echo problem >&2; exit 5");
                      EXPECT_EQ(done.output, "out\nproblem");
                      EXPECT_EQ(done.status, 5);
                  }),
                  0);
    }
}

TEST(RunProgram, NeverWaitsForAProgramOfAnotherThread) {
    const TemporaryFolder folder;
    const std::string gate = folder.at("gate");
    ASSERT_EQ(::mkfifo(gate.c_str(), 0600), 0);
    for (int round = 0; round < 40; ++round) {
        std::thread slow([&] { EXPECT_EQ(runProgram("/bin/cat", {gate}).output, "open"); });
        EXPECT_EQ(runProgram("/bin/echo", {"quick"}).output, "quick");
        std::ofstream(gate) << "open";
        slow.join();
    }
}

}  // namespace
}  // namespace varnel
