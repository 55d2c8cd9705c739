// SPDX-License-Identifier: MIT
#include "app/CleanAlerts.h"

#include <gtest/gtest.h>

#include <expected>
#include <optional>
#include <string>
#include <vector>

#include "app/Alert.h"
#include "core/base/Text.h"
#include "core/disk/DiskError.h"
#include "core/plan/ExecResult.h"
#include "core/plan/Plan.h"
#include "core/plan/PlanReport.h"

namespace varnel {
namespace {

using Texts = std::vector<std::string>;

Plan planWith(std::int64_t items, std::int64_t bytesEach) {
    Plan plan;
    plan.root = "/Volumes/USB";
    plan.volume = {"/Volumes/USB", "exfat", true, false, false};
    plan.tallies = {{"appledouble", "AppleDouble", items, items * bytesEach, 0}};
    for (std::int64_t i = 0; i < items; ++i) {
        const std::string name = "._" + std::to_string(i);
        plan.items.push_back({"/Volumes/USB/" + name, name, "appledouble", false, bytesEach});
    }
    return plan;
}

ExecResult resultWith(int failures) {
    ExecResult result;
    result.removed = 3;
    result.bytes = 1500;
    for (int i = 1; i <= failures; ++i)
        result.failures.push_back({"/v/" + std::to_string(i), "reason " + std::to_string(i)});
    return result;
}

TEST(CleanAlerts, RefuseAProtectedPath) {
    EXPECT_EQ(CleanAlerts::refused("/usr/local"),
              (Alert{"Refused", "/usr/local is a protected system path.", {"OK"}, Alert::Style::plain, {}}));
}

TEST(CleanAlerts, WarnOfAMacFormat) {
    EXPECT_EQ(CleanAlerts::macFormat("/Volumes/Mac", "APFS"),
              (Alert{"/Volumes/Mac is on a APFS volume",
                     "This is a Mac format. Deleting metadata here only affects Finder cosmetics, but it is unusual. "
                     "Clean anyway?",
                     {"Clean Anyway", "Cancel"},
                     Alert::Style::warning,
                     {}}));
}

TEST(CleanAlerts, SayThatThereIsNothing) {
    EXPECT_EQ(CleanAlerts::nothingToClean({}),
              (Alert{"Nothing to clean", "No macOS metadata found.", {"OK"}, Alert::Style::plain, {}}));
}

TEST(CleanAlerts, SayWhyThereMayBeNothingInFiveLinesAtMost) {
    const struct {
        Texts errors;
        const char* text;
    } cases[] = {
        {{"one"}, "one"},
        {{"one", "two"}, "one\ntwo"},
        {{"1", "2", "3", "4", "5"}, "1\n2\n3\n4\n5"},
        {{"1", "2", "3", "4", "5", "6"}, "1\n2\n3\n4\n5"},
    };
    for (const auto& c : cases) {
        Plan plan;
        plan.errors = c.errors;
        plan.protectedItems = {"/v/._a.dfont"};
        EXPECT_EQ(CleanAlerts::nothingToClean(plan).informativeText, c.text);
    }
}

TEST(CleanAlerts, AskBeforeCleaningAndShowThePlan) {
    const Plan plan = planWith(50, 1000);
    EXPECT_EQ(CleanAlerts::confirmation(plan), (Alert{"Clean /Volumes/USB?",
                                                      "50 item(s), 50 KB will be removed. This cannot be undone.",
                                                      {"Clean", "Cancel"},
                                                      Alert::Style::warning,
                                                      PlanReport::prettyText(plan, 40)}));
    EXPECT_NE(PlanReport::prettyText(plan, 40), PlanReport::prettyText(plan, 39));
    EXPECT_NE(PlanReport::prettyText(plan, 40), PlanReport::prettyText(plan, 41));
}

TEST(CleanAlerts, CountOneItemLikeMany) {
    EXPECT_EQ(CleanAlerts::confirmation(planWith(1, 0)).informativeText,
              "1 item(s), Zero KB will be removed. This cannot be undone.");
}

TEST(CleanAlerts, ReportTheOutcome) {
    const CleanAlerts::Ejected ejected;
    const CleanAlerts::Ejected notEjected = std::unexpected(DiskError{"it is in use."});
    const struct {
        const char* name;
        int failures;
        std::optional<CleanAlerts::Ejected> ejected;
        const char* text;
    } cases[] = {
        {"all removed", 0, std::nullopt, "removed 3 items, 2 KB"},
        {"one failed", 1, std::nullopt,
         "removed 3 items, 2 KB, 1 failed\n\n1 item(s) could not be removed.\n  /v/1 — reason 1"},
        {"five failed", 5, std::nullopt,
         "removed 3 items, 2 KB, 5 failed\n\n5 item(s) could not be removed.\n  /v/1 — reason 1\n  /v/2 — reason 2\n  "
         "/v/3 — reason 3\n  /v/4 — reason 4\n  /v/5 — reason 5"},
        {"seven failed", 7, std::nullopt,
         "removed 3 items, 2 KB, 7 failed\n\n7 item(s) could not be removed.\n  /v/1 — reason 1\n  /v/2 — reason 2\n  "
         "/v/3 — reason 3\n  /v/4 — reason 4\n  /v/5 — reason 5"},
        {"ejected", 0, ejected, "removed 3 items, 2 KB\n\nEjected."},
        {"not ejected", 0, notEjected, "removed 3 items, 2 KB\n\nEject failed: it is in use."},
        {"failed and ejected", 1, ejected,
         "removed 3 items, 2 KB, 1 failed\n\n1 item(s) could not be removed.\n  /v/1 — reason 1\n\nEjected."},
        {"failed and not ejected", 1, notEjected,
         "removed 3 items, 2 KB, 1 failed\n\n1 item(s) could not be removed.\n  /v/1 — reason 1\n\nEject failed: it is "
         "in use."},
    };
    for (const auto& c : cases)
        EXPECT_EQ(CleanAlerts::report(resultWith(c.failures), c.ejected), c.text) << c.name;
    EXPECT_EQ(CleanAlerts::finished("text"), (Alert{"Clean finished", "text", {"OK"}, Alert::Style::plain, {}}));
}

TEST(CleanAlerts, RepairWhatIsNoText) {
    const std::string path = "/v/\xff";
    Plan plan = planWith(1, 1);
    plan.root = path;
    Plan empty;
    empty.errors = {"cannot open: " + path};
    ExecResult result;
    result.failures = {{path, "reason"}};
    const Alert alerts[] = {
        CleanAlerts::refused(path),
        CleanAlerts::macFormat(path, "hfs"),
        CleanAlerts::nothingToClean(empty),
        CleanAlerts::confirmation(plan),
        CleanAlerts::finished(CleanAlerts::report(result, CleanAlerts::Ejected(std::unexpected(DiskError{"no \xff"})))),
    };
    for (const Alert& alert : alerts) {
        EXPECT_TRUE(Text::isValidUTF8(alert.message)) << alert.message;
        EXPECT_TRUE(Text::isValidUTF8(alert.informativeText)) << alert.informativeText;
        EXPECT_TRUE(Text::isValidUTF8(alert.report.value_or(""))) << alert.message;
        EXPECT_NE((alert.message + alert.informativeText).find("\uFFFD"), std::string::npos) << alert.message;
    }
}

}  // namespace
}  // namespace varnel
