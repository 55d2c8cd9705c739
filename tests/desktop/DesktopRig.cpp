// SPDX-License-Identifier: MIT
#include "tests/desktop/DesktopRig.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <utility>

#include "tests/support/PrivateMounts.h"

namespace varnel::tests {
namespace {

int noArguments = 1;
char programName[] = "desktop_tests";  // NOLINT(modernize-avoid-c-arrays): as main() gets it
char* words[] = {programName, nullptr};

}  // namespace

DesktopRig::DesktopRig(Options options) : session(options.session), application(noArguments, words) {
    options.prepare(session);
    if (options.session.hasBus) {
        if (options.hasBar) bar = std::make_unique<Bar>();
        windows = std::make_unique<Windows>();
    }
    program = launch(options.arguments, options.environment);
    if (bar && !bar->hasItem()) throw std::runtime_error("no item in the bar: " + program->said());
}

DesktopRig::~DesktopRig() {
    if (!::testing::Test::HasFailure()) return;
    DesktopSession::keepPicture("failed");
    std::cout << "the program said:\n" << program->said() << "the log:\n" << log();
}

std::unique_ptr<Companion> DesktopRig::launch(const std::vector<std::string>& arguments,
                                              const std::map<std::string, std::string>& environment) const {
    std::vector<std::string> all = {VARNEL_DESKTOP_PROGRAM};
    all.insert(all.end(), arguments.begin(), arguments.end());
    static int number = 0;
    return session.start("varnel-desktop" + std::to_string(++number), all, environment);
}

std::string DesktopRig::log() const {
    std::ifstream stream(session.home() + "/Library/Logs/Varnel/varnel.log", std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

bool DesktopRig::logs(const std::string& text) const {
    return happens([&] { return log().find(text) != std::string::npos; });
}

void onDesktop(const std::function<void()>& body) {
    const PrivateMounts mounts;
    if (!mounts.available()) GTEST_SKIP() << mounts.reason();
    const std::string missing = DesktopSession::missing();
    if (!missing.empty()) GTEST_SKIP() << "this machine has no " << missing;
    const int failures = mounts.run([&body] {
        mountTmpfs("/media");
        body();
    });
    EXPECT_EQ(failures, 0);
}

}  // namespace varnel::tests
