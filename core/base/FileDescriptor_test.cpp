// SPDX-License-Identifier: MIT
#include "core/base/FileDescriptor.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <utility>

namespace varnel {
namespace {

bool isOpen(int descriptor) {
    return ::fcntl(descriptor, F_GETFD) >= 0;
}

TEST(FileDescriptor, ClosesWhatItOwnsOnce) {
    int number = -1;
    {
        FileDescriptor first(::open("/dev/null", O_RDONLY | O_CLOEXEC));
        number = first.get();
        ASSERT_TRUE(isOpen(number));
        FileDescriptor second = std::move(first);
        EXPECT_FALSE(first.isOpen());  // NOLINT(bugprone-use-after-move): this is what is tested
        EXPECT_EQ(second.get(), number);
        second = FileDescriptor(::open("/dev/null", O_RDONLY | O_CLOEXEC));
        EXPECT_NE(second.get(), number) << "the old one is closed after the new one was opened";
        EXPECT_FALSE(isOpen(number));
        number = second.get();
    }
    EXPECT_FALSE(isOpen(number));
}

TEST(FileDescriptor, GivesAwayWhatItNoLongerCloses) {
    int number = -1;
    {
        FileDescriptor one(::open("/dev/null", O_RDONLY | O_CLOEXEC));
        number = one.release();
        EXPECT_FALSE(one.isOpen());
    }
    EXPECT_TRUE(isOpen(number));
    const FileDescriptor closer(number);
}

TEST(FileDescriptor, OwnsNothingByDefault) {
    FileDescriptor none;
    EXPECT_FALSE(none.isOpen());
    none.reset();
    EXPECT_LT(none.get(), 0);
}

}  // namespace
}  // namespace varnel
