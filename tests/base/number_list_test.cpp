#include "base/number_list.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <string>
#include <vector>

namespace {

using ovra::parse_numbers;

constexpr std::int32_t untouched = 77;

std::vector<std::int32_t> parsed(const std::string& text, char separator = ',') {
    std::array<std::int32_t, 4> numbers;
    numbers.fill(untouched);
    const int count = parse_numbers(text.c_str(), separator, numbers.data(), 4);
    return {numbers.begin(), numbers.begin() + count};
}

TEST(NumberList, HoldsWhatStandsBetweenTheSeparators) {
    EXPECT_EQ(parsed("1,-2,+3,40"), (std::vector<std::int32_t>{1, -2, 3, 40}));
}

TEST(NumberList, EndsAtItsCapacity) { EXPECT_EQ(parsed("1,2,3,4,5").size(), 4U); }

TEST(NumberList, LeavesTheValuesAfterTheLastNumberAlone) {
    std::int32_t numbers[3] = {untouched, untouched, untouched};
    EXPECT_EQ(parse_numbers("5,x", ',', numbers, 3), 1);
    EXPECT_EQ(numbers[0], 5);
    EXPECT_EQ(numbers[1], untouched);
    EXPECT_EQ(numbers[2], untouched);
}

TEST(NumberList, IsEmptyForATextWithoutANumber) {
    for (const char* text : {"", ",", ",1", "-", "x1", "\xff\xff"}) EXPECT_TRUE(parsed(text).empty()) << text;
}

TEST(NumberList, SkipsBlanksBeforeANumberOnly) {
    EXPECT_EQ(parsed(" 1,\t2,\n3"), (std::vector<std::int32_t>{1, 2, 3}));
    EXPECT_EQ(parsed("1 ,2"), (std::vector<std::int32_t>{1}));
}

TEST(NumberList, StopsAtAForeignSeparatorAndAtAMissingNumber) {
    EXPECT_EQ(parsed("1;2"), (std::vector<std::int32_t>{1}));
    EXPECT_EQ(parsed("1,,2"), (std::vector<std::int32_t>{1}));
    EXPECT_EQ(parsed("1.5,2"), (std::vector<std::int32_t>{1}));
    EXPECT_EQ(parsed("1,2,"), (std::vector<std::int32_t>{1, 2}));
}

TEST(NumberList, SeparatedByBlanksTakesAnyNumberOfThemAndNone) {
    EXPECT_EQ(parsed("1 2\n  3\t4", ' '), (std::vector<std::int32_t>{1, 2, 3, 4}));
    EXPECT_EQ(parsed("1-2+3", ' '), (std::vector<std::int32_t>{1, -2, 3}));
    EXPECT_EQ(parsed("1,2", ' '), (std::vector<std::int32_t>{1}));
}

// scanf is the measure: the two agree on every text, the odd ones included.
TEST(NumberList, AgreesWithScanfOnOddTexts) {
    for (const char* text : {"0010,0x10,3,4", "1,2,3,4trailing", "--1,2", "+-1", "99999999999,1",
                             "-99999999999,1", "2147483647,-2147483648,2147483648,0",
                             "999999999999999999999,5,6,7", "1,\v2,\f3,\r4", "1, ,2", "1,- 2"}) {
        std::int32_t expected[4] = {untouched, untouched, untouched, untouched};
        std::sscanf(text, "%d,%d,%d,%d", expected, expected + 1, expected + 2, expected + 3);
        std::int32_t numbers[4] = {untouched, untouched, untouched, untouched};
        parse_numbers(text, ',', numbers, 4);
        for (int i = 0; i < 4; ++i) EXPECT_EQ(numbers[i], expected[i]) << text << ", number " << i;
    }
}

}  // namespace
