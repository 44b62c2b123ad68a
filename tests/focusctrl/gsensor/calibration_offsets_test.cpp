#include "focusctrl/gsensor/calibration_offsets.h"

#include <gtest/gtest.h>

#include <climits>
#include <string>

namespace {

using ovra::CalibrationOffsets;
using ovra::leading_number;
using ovra::OffsetParser;
using ovra::offsets_in_range;

void parse(OffsetParser& parser, std::string text, CalibrationOffsets& offsets) {
    parser.parse(text.data(), offsets);
}

CalibrationOffsets parsed(const std::string& text) {
    OffsetParser parser;
    CalibrationOffsets offsets{};
    parse(parser, text, offsets);
    return offsets;
}

TEST(CalibrationText, IsThreeNumbersSeparatedByCommas) {
    EXPECT_EQ(parsed("12,-7,30"), (CalibrationOffsets{12, -7, 30}));
}

TEST(CalibrationText, MayHaveBlanksAndTabsBeforeANumber) {
    EXPECT_EQ(parsed("12, -7,\t30"), (CalibrationOffsets{12, -7, 30}));
    EXPECT_EQ(parsed(" \t 1,\t \t2, 3"), (CalibrationOffsets{1, 2, 3}));
}

TEST(CalibrationText, GivesZeroForSlotsWithoutANumber) {
    EXPECT_EQ(parsed(""), (CalibrationOffsets{0, 0, 0}));
    EXPECT_EQ(parsed("5"), (CalibrationOffsets{5, 0, 0}));
    EXPECT_EQ(parsed("5,6"), (CalibrationOffsets{5, 6, 0}));
}

TEST(CalibrationText, GivesZeroForAPieceThatIsNoNumber) {
    EXPECT_EQ(parsed("abc,6,x7"), (CalibrationOffsets{0, 6, 0}));
    EXPECT_EQ(parsed("1, ,3"), (CalibrationOffsets{1, 0, 3}));
}

TEST(CalibrationText, CountsSeveralCommasInARowAsOne) {
    EXPECT_EQ(parsed(",,1,,2,3"), (CalibrationOffsets{1, 2, 3}));
}

TEST(CalibrationText, EndsANumberAtTheFirstOtherCharacter) {
    EXPECT_EQ(parsed("12mg,+7,3.9"), (CalibrationOffsets{12, 7, 3}));
}

TEST(CalibrationText, StopsAfterThreeNumbers) { EXPECT_EQ(parsed("1,2,3,4,5"), (CalibrationOffsets{1, 2, 3})); }

TEST(CalibrationText, IsReadToItsEndOnALaterAttemptAndKeepsThreeNumbers) {
    OffsetParser parser;
    CalibrationOffsets offsets{};
    parse(parser, "1,2,3", offsets);

    parse(parser, "4,5,6,7,8", offsets);

    EXPECT_EQ(offsets, (CalibrationOffsets{4, 5, 6}));
}

TEST(CalibrationText, StopsEarlyOnTheAttemptAfterAShortOne) {
    OffsetParser parser;
    CalibrationOffsets offsets{};
    parse(parser, "1,2", offsets);

    // The third number in all is the first of this text; the others stay as the short text left them.
    parse(parser, "7,8,9", offsets);

    EXPECT_EQ(offsets, (CalibrationOffsets{7, 2, 0}));
}

TEST(CalibrationRange, IncludesItsBounds) {
    EXPECT_TRUE(offsets_in_range({20000, -20000, 0}));
    EXPECT_FALSE(offsets_in_range({20001, 0, 0}));
    EXPECT_FALSE(offsets_in_range({-20001, 0, 0}));
}

TEST(CalibrationRange, HoldsForEveryAxis) {
    EXPECT_FALSE(offsets_in_range({0, 20001, 0}));
    EXPECT_FALSE(offsets_in_range({0, 0, -20001}));
    EXPECT_FALSE(offsets_in_range({0, INT_MIN, 0}));
    EXPECT_FALSE(offsets_in_range({INT_MAX, 0, 0}));
}

TEST(LeadingNumber, KeepsToThirtyTwoBits) {
    EXPECT_EQ(leading_number("2147483647"), INT_MAX);
    EXPECT_EQ(leading_number("4294967297"), INT_MAX);
    EXPECT_EQ(leading_number("-99999999999999999999999"), INT_MIN);
}

TEST(LeadingNumber, IsZeroForAnErasedByte) { EXPECT_EQ(leading_number("\xff"), 0); }

}  // namespace
