// SPDX-License-Identifier: MIT
#include "core/base/FunctionRef.h"

#include <gtest/gtest.h>

#include <memory>
#include <utility>

namespace varnel {
namespace {

int twice(int value) {
    return 2 * value;
}

TEST(FunctionRef, CallsLambdasObjectsAndFunctions) {
    int calls = 0;
    const auto count = [&calls](int value) { return calls += value; };
    const FunctionRef<int(int)> counting = count;
    EXPECT_EQ(counting(2), 2);
    EXPECT_EQ(counting(3), 5);
    EXPECT_EQ(FunctionRef<int(int)>(twice)(4), 8);
    EXPECT_EQ(FunctionRef<int(int)>(&twice)(5), 10);
    struct Stateful {
        int sum = 0;
        int operator()(int value) { return sum += value; }
    } object;
    const FunctionRef<int(int)> summing = object;
    summing(1);
    summing(2);
    EXPECT_EQ(object.sum, 3) << "the object is borrowed, not copied";
}

TEST(FunctionRef, HandsArgumentsOnWithoutACopy) {
    const auto take = [](std::unique_ptr<int> value) { return *value; };
    const FunctionRef<int(std::unique_ptr<int>)> taking = take;
    EXPECT_EQ(taking(std::make_unique<int>(7)), 7);
}

}  // namespace
}  // namespace varnel
