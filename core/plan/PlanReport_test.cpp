// SPDX-License-Identifier: MIT
#include "core/plan/PlanReport.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <string_view>

namespace varnel {
namespace {

Plan emptyPlan() {
    Plan plan;
    plan.root = "/Volumes/USB";
    plan.volume = {"/Volumes/USB", "exfat", true, false, false};
    return plan;
}

Plan littered() {
    Plan plan = emptyPlan();
    plan.items = {{"/Volumes/USB/._a", "._a", "appledouble", false, 4096},
                  {"/Volumes/USB/b", "b", "macosx-dir", true, 0},
                  {"/Volumes/USB/._c", "._c", "appledouble", false, 1000}};
    plan.tallies = {{"appledouble", "._ AppleDouble files", 2, 5096, 0}, {"macosx-dir", "__MACOSX folders", 1, 0, 1}};
    return plan;
}

TEST(PlanReport, ShowsTalliesTotalAndSamples) {
    EXPECT_EQ(PlanReport::prettyText(littered(), 20),
              "/Volumes/USB\n"
              "  filesystem: exfat (non-Mac)\n"
              "  ._ AppleDouble files             2  5 KB\n"
              "  __MACOSX folders                 1  \n"
              "  ----------------------------------------\n"
              "  total                            3  5 KB\n"
              "\n"
              "  - /Volumes/USB/._a\n"
              "  d /Volumes/USB/b\n"
              "  - /Volumes/USB/._c\n");
}

TEST(PlanReport, SaysNothingToCleanWithoutTallies) {
    Plan plan = emptyPlan();
    EXPECT_EQ(PlanReport::prettyText(plan, 20), "/Volumes/USB\n  filesystem: exfat (non-Mac)\n  nothing to clean\n");
    plan.protectedItems = {"/Volumes/USB/._x.ttf", "/Volumes/USB/._y.ps"};
    plan.errors = {"cannot open: /Volumes/USB/a"};
    EXPECT_EQ(PlanReport::prettyText(plan, 20),
              "/Volumes/USB\n  filesystem: exfat (non-Mac)\n  nothing to clean\n"
              "  protected (resource-fork file types kept): 2\n"
              "\n  errors:\n    cannot open: /Volumes/USB/a\n");
}

TEST(PlanReport, NamesMacFormatsInAnyCaseAndTheTypeAsStored) {
    Plan plan = emptyPlan();
    plan.volume.fsType = "HFS";
    EXPECT_EQ(PlanReport::prettyText(plan, 0),
              "/Volumes/USB\n  filesystem: HFS (Mac format — skipped by default)\n  nothing to clean\n");
    for (const char* type : {"apfs", "hfs", "hfsx", "ApFs"}) {
        plan.volume.fsType = type;
        EXPECT_NE(PlanReport::prettyText(plan, 0).find("(Mac format — skipped by default)"), std::string::npos) << type;
    }
}

TEST(PlanReport, WidensEveryLineForALongLabel) {
    Plan plan = littered();
    plan.tallies[1].label = std::string(29, 'x') + "e\u0301";  // 30 characters, 32 bytes
    EXPECT_EQ(PlanReport::prettyText(plan, 0),
              "/Volumes/USB\n  filesystem: exfat (non-Mac)\n"
              "  ._ AppleDouble files                 2  5 KB\n"
              "  " +
                  plan.tallies[1].label +
                  "       1  \n"
                  "  " +
                  std::string(44, '-') +
                  "\n"
                  "  total                                3  5 KB\n");
}

TEST(PlanReport, KeepsWidthForALabelOfTwentySixCharacters) {
    Plan plan = littered();
    plan.tallies[0].label = std::string(26, 'x');
    EXPECT_NE(PlanReport::prettyText(plan, 0).find("  " + std::string(40, '-') + "\n"), std::string::npos);
}

TEST(PlanReport, PrintsBytesFromOneUpAndTheTotalAlways) {
    Plan plan = littered();
    plan.items[0].bytes = -7;
    plan.items[2].bytes = 7;
    plan.tallies[0].bytes = -1;
    plan.tallies[1].bytes = 1;
    const std::string text = PlanReport::prettyText(plan, 0);
    EXPECT_NE(text.find("  ._ AppleDouble files             2  \n"), std::string::npos);
    EXPECT_NE(text.find("  __MACOSX folders                 1  1 byte\n"), std::string::npos);
    EXPECT_NE(text.find("  total                            3  Zero KB\n"), std::string::npos);
}

TEST(PlanReport, DoesNotCutALongCount) {
    Plan plan = littered();
    plan.tallies[0].count = 1234567890;
    EXPECT_NE(PlanReport::prettyText(plan, 0).find("  ._ AppleDouble files      1234567890  5 KB\n"),
              std::string::npos);
}

TEST(PlanReport, ListsAtMostTheSamplesAskedFor) {
    Plan plan = emptyPlan();
    plan.tallies = {{"x", "X", 25, 0, 0}};
    for (int i = 0; i < 25; ++i)
        plan.items.push_back({"/Volumes/USB/" + std::to_string(i), "", "x", false, 0});
    const auto endsWith = [&](std::int64_t samples, const std::string& ending) {
        return PlanReport::prettyText(plan, samples).ends_with(ending);
    };
    EXPECT_TRUE(endsWith(20, "  - /Volumes/USB/19\n  … 5 more\n"));
    EXPECT_TRUE(endsWith(24, "  - /Volumes/USB/23\n  … 1 more\n"));
    EXPECT_TRUE(endsWith(25, "  - /Volumes/USB/24\n"));
    EXPECT_TRUE(endsWith(26, "  - /Volumes/USB/24\n"));
    EXPECT_TRUE(endsWith(1, "\n\n  - /Volumes/USB/0\n  … 24 more\n"));
    EXPECT_TRUE(endsWith(0, "25  Zero KB\n"));
    EXPECT_TRUE(endsWith(-1, "25  Zero KB\n"));
}

TEST(PlanReport, ListsAtMostTenErrors) {
    Plan plan = emptyPlan();
    std::string ten = "\n  errors:\n";
    for (int i = 0; i < 10; ++i) {
        plan.errors.push_back("error " + std::to_string(i));
        ten += "    error " + std::to_string(i) + "\n";
    }
    EXPECT_TRUE(PlanReport::prettyText(plan, 20).ends_with(ten));
    plan.errors.emplace_back("error 10");
    EXPECT_TRUE(PlanReport::prettyText(plan, 20).ends_with(ten + "    … 1 more\n"));
}

TEST(PlanReport, OrdersItsSections) {
    Plan plan = littered();
    plan.protectedItems = {"/Volumes/USB/._x.ttf"};
    plan.errors = {"cannot open: /Volumes/USB/a"};
    EXPECT_TRUE(
        PlanReport::prettyText(plan, 1).ends_with("  total                            3  5 KB\n"
                                                  "  protected (resource-fork file types kept): 1\n"
                                                  "\n  - /Volumes/USB/._a\n  … 2 more\n"
                                                  "\n  errors:\n    cannot open: /Volumes/USB/a\n"));
}

TEST(PlanReport, RepairsBytesThatAreNoTextOrShowsThemAsAsked) {
    Plan plan = littered();
    plan.root = "/Volumes/\xff";
    plan.items = {{"/Volumes/\xff/._\xfe", "._\xfe", "appledouble", false, 0}};
    plan.errors = {"cannot stat: /Volumes/\xff/a"};
    const std::string text = PlanReport::prettyText(plan, 1);
    EXPECT_TRUE(text.starts_with("/Volumes/\ufffd\n"));
    EXPECT_NE(text.find("  - /Volumes/\ufffd/._\ufffd\n"), std::string::npos);
    EXPECT_NE(text.find("    cannot stat: /Volumes/\ufffd/a\n"), std::string::npos);
    const std::string hidden = PlanReport::prettyText(plan, 1, [](std::string_view) { return std::string("?"); });
    EXPECT_TRUE(hidden.starts_with("?\n"));
    EXPECT_NE(hidden.find("\n  - ?\n"), std::string::npos);
    EXPECT_NE(hidden.find("\n    ?\n"), std::string::npos);
}

}  // namespace
}  // namespace varnel
