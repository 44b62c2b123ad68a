#include "virtual_projector/live/rate_limit.h"

#include <gtest/gtest.h>

namespace {

using std::chrono::milliseconds;
using vp::RateLimit;

const RateLimit::Clock::time_point begin{std::chrono::hours(1)};

TEST(ARateLimit, LetsSoManyThroughAtOnceAndThenOneAfterTheOther) {
    RateLimit limit(10, 2, begin);
    EXPECT_TRUE(limit.take(begin));
    EXPECT_TRUE(limit.take(begin));
    EXPECT_FALSE(limit.take(begin));
    EXPECT_FALSE(limit.take(begin + milliseconds(99)));
    EXPECT_TRUE(limit.take(begin + milliseconds(101)));
    EXPECT_FALSE(limit.take(begin + milliseconds(102)));
}

TEST(ARateLimit, TellsWhenThereWillBeOne) {
    RateLimit limit(10, 1, begin);
    EXPECT_EQ(limit.next(begin), begin);
    EXPECT_TRUE(limit.take(begin));
    EXPECT_EQ(limit.next(begin), begin + milliseconds(100));
    EXPECT_TRUE(limit.take(limit.next(begin)));
}

TEST(ARateLimit, LetsNoMoreThroughInASecondThanItSays) {
    RateLimit limit(26, 4, begin);
    int passed = 0;
    for (int ms = 0; ms < 1000; ++ms) passed += limit.take(begin + milliseconds(ms)) ? 1 : 0;
    EXPECT_LE(passed, 30);
    EXPECT_GE(passed, 29);
}

}  // namespace
