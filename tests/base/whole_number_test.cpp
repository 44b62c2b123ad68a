#include "base/whole_number.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace {

using ovra::whole_number;

TEST(WholeNumber, IsCutTowardsZero) {
    EXPECT_EQ(whole_number(1.99), 1);
    EXPECT_EQ(whole_number(-1.99), -1);
    EXPECT_EQ(whole_number(0.0), 0);
    EXPECT_EQ(whole_number(2147483646.9), 2147483646);
}

TEST(WholeNumber, StaysWithin32Bits) {
    EXPECT_EQ(whole_number(2147483648.0), std::numeric_limits<std::int32_t>::max());
    EXPECT_EQ(whole_number(-2147483649.0), std::numeric_limits<std::int32_t>::min());
    EXPECT_EQ(whole_number(std::numeric_limits<double>::infinity()), std::numeric_limits<std::int32_t>::max());
    EXPECT_EQ(whole_number(-std::numeric_limits<double>::infinity()), std::numeric_limits<std::int32_t>::min());
}

TEST(WholeNumber, IsZeroForNotANumber) { EXPECT_EQ(whole_number(std::nan("")), 0); }

}  // namespace
