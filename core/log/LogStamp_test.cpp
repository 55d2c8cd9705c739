// SPDX-License-Identifier: MIT
#include "core/log/LogStamp.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <optional>
#include <string>

#include "tests/support/Vectors.h"

namespace varnel {
namespace {

TEST(LogStamp, FollowsTheRecordedAnswersInEveryZone) {
    const char* const before = std::getenv("TZ");
    const std::optional<std::string> saved = before == nullptr ? std::nullopt : std::optional<std::string>(before);
    LogStamp::text(0);
    tests::forEachVector("log-timestamp.json", [](const nlohmann::json& v) {
        ::setenv("TZ", v["input"]["zone"].get<std::string>().c_str(), 1);
        ::tzset();
        // Before 1582 and beyond 9999 calendars and formatters disagree; nobody's log has such lines.
        if (tests::isUnconfirmed(v)) return;
        const std::string epoch = v["input"]["epoch"];
        EXPECT_EQ(LogStamp::text(static_cast<std::int64_t>(std::floor(std::stod(epoch)))),
                  v["expected"].get<std::string>());
    });
    if (saved) {
        ::setenv("TZ", saved->c_str(), 1);
    } else {
        ::unsetenv("TZ");
    }
    ::tzset();
}

TEST(LogStamp, IsTheSameInEveryLocale) {
    ::setenv("LC_ALL", "ar_EG.UTF-8", 1);
    const std::string stamp = LogStamp::text(1767323045);
    ::unsetenv("LC_ALL");
    EXPECT_EQ(stamp, LogStamp::text(1767323045));
    EXPECT_EQ(stamp.size(), 19U);
    EXPECT_EQ(stamp.find_first_not_of("0123456789-: "), std::string::npos);
}

}  // namespace
}  // namespace varnel
