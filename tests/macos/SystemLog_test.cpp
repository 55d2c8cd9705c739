// SPDX-License-Identifier: MIT
#include "core/log/SystemLog.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/macos/gnustep/Fakes.h"

namespace varnel {
namespace {

TEST(MacSystemLog, MirrorsAMessageForEveryoneToRead) {
    tests::Fakes::reset();
    SystemLog::mirror("DEL   dsstore  /Volumes/100%s/.DS_Store");
    EXPECT_EQ(tests::Fakes::logged(), std::vector<std::string>{"com.quorin.varnel clean %{public}s: "
                                                               "DEL   dsstore  /Volumes/100%s/.DS_Store"});
}

}  // namespace
}  // namespace varnel
