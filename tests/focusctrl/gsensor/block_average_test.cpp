#include "focusctrl/gsensor/block_average.h"

#include <gtest/gtest.h>

namespace {

using ovra::Axes;
using ovra::BlockAverage;

TEST(BlockAverage, IsIncompleteUpToTheNinthSample) {
    BlockAverage block;
    for (int i = 0; i < 9; ++i) EXPECT_FALSE(block.add({1, 2, 3})) << "sample " << i + 1;
}

TEST(BlockAverage, IsTheMeanOfTenSamplesOnEachAxis) {
    BlockAverage block;
    for (int i = 0; i < 9; ++i) block.add({static_cast<float>(i), 0, -1});

    const auto average = block.add({9, 5, -1});

    ASSERT_TRUE(average);
    EXPECT_FLOAT_EQ(average->x, 4.5F);
    EXPECT_FLOAT_EQ(average->y, 0.5F);
    EXPECT_FLOAT_EQ(average->z, -1);
}

TEST(BlockAverage, BeginsAgainAfterACompleteBlock) {
    BlockAverage block;
    for (int i = 0; i < 10; ++i) block.add({100, 100, 100});
    for (int i = 0; i < 9; ++i) EXPECT_FALSE(block.add({1, 2, 3})) << "sample " << i + 1;

    const auto average = block.add({1, 2, 3});

    ASSERT_TRUE(average);
    EXPECT_FLOAT_EQ(average->x, 1);
    EXPECT_FLOAT_EQ(average->y, 2);
    EXPECT_FLOAT_EQ(average->z, 3);
}

}  // namespace
