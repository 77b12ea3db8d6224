/// What a test binary that is started by hand makes of its cases; tests/CMakeLists.txt starts it
/// so.
#include <gtest/gtest.h>

namespace {

int s_runs = 0;

TEST(ByHandTest, IsFirstInItsProcess) {
    EXPECT_EQ(++s_runs, 1);
}

TEST(ByHandTest, IsFirstInItsProcessToo) {
    EXPECT_EQ(++s_runs, 1);
}

TEST(ByHandTest, Fails) {
    FAIL();
}

}  // namespace
