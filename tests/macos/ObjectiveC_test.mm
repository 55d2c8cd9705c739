// SPDX-License-Identifier: MIT
#include "platform/macos/ObjectiveC.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

namespace varnel {
namespace {

using ObjectiveC::Retained;

TEST(MacObjectiveC, RetainedKeepsItsObjectAndLetsGo) {
    NSObject* const object = [[NSObject alloc] init];
    {
        Retained first(object);
        EXPECT_EQ([object retainCount], 2U);
        Retained second(std::move(first));
        EXPECT_EQ([object retainCount], 2U) << "handed on, not kept twice";
        first = std::move(second);
        EXPECT_EQ(first.get(), object);
    }
    EXPECT_EQ([object retainCount], 1U);
    [object release];
}

TEST(MacObjectiveC, TextsCrossWithoutLossAndBytesThatAreNoTextAreRepaired) {
    @autoreleasepool {
        for (const std::string text : {"", "._Caf\u00e9", "Cafe\u0301 \U0001F600", "\ufeffa"})
            EXPECT_EQ(ObjectiveC::text(ObjectiveC::string(text)), text);
        EXPECT_EQ(ObjectiveC::text(ObjectiveC::string("a\xff")), "a\ufffd");
        EXPECT_EQ(ObjectiveC::text(nil), "");
    }
}

}  // namespace
}  // namespace varnel
