// SPDX-License-Identifier: MIT
//
// Runs on a Mac only; elsewhere it is compiled and linked.
#import <Foundation/Foundation.h>

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include "core/base/RemovalFailure.h"
#include "platform/macos/ObjectiveC.h"
#include "tests/support/TemporaryFolder.h"

namespace varnel {
namespace {

std::string wordsOfTheFileManager(const std::string& path) {
    @autoreleasepool {
        NSError* error = nil;
        EXPECT_FALSE([[NSFileManager defaultManager] removeItemAtPath:ObjectiveC::string(path) error:&error]);
        return ObjectiveC::text([error localizedDescription]);
    }
}

TEST(MacSystemRemoval, FailsInTheFileManagersWords) {
    const tests::TemporaryFolder folder;
    EXPECT_EQ(removalFailure(folder.at("gone"), true, ENOENT), wordsOfTheFileManager(folder.at("gone")));
    if (::geteuid() == 0) GTEST_SKIP() << "root may remove anything";
    const std::string kept = folder.folder("closed/kept");
    ::chmod(folder.at("closed").c_str(), 0555);
    EXPECT_EQ(removalFailure(kept, true, EACCES), wordsOfTheFileManager(kept));
    ::chmod(folder.at("closed").c_str(), 0755);
}

}  // namespace
}  // namespace varnel
