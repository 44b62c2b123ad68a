#include "host/record_text.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace {

using Lines = std::vector<std::string>;

TEST(AFieldsText, EndsAtItsTerminatorOrAtItsLength) {
    EXPECT_EQ(host::printable_text("abc\0def", 7), "abc");
    EXPECT_EQ(host::printable_text("abcdef", 3), "abc");
    EXPECT_EQ(host::printable_text("", 1), "");
}

TEST(AFieldsText, ShowsBytesThatCannotBePrintedByTheirNumbers) {
    EXPECT_EQ(host::printable_text("a\n\x01\xff", 4), "a\\x0a\\x01\\xff");
}

TEST(AFieldsText, ShowsAnErasedFieldAsSuch) {
    EXPECT_EQ(host::printable_text("\xff\xff\xff\xff", 4), "(erased)");
    EXPECT_EQ(host::printable_text("\xff\xff\0\xff", 4), "\\xff\\xff");
}

TEST(ARecordInWords, HasALineForEachField) {
    ovra_permanent_record record{};
    std::strcpy(record.tmr_table_text, "-84,-75");
    std::strcpy(record.gsensor_offset_text, "12,-7,30");
    std::strcpy(record.device_sn, "VP1");
    std::memset(record.mainboard_sn, 'B', sizeof record.mainboard_sn);  // full, without a terminator
    record.gsensor_flag = '1';
    record.tof_flag = '0';
    record.tmr_flag = '4';
    EXPECT_EQ(host::describe_record(record),
              (Lines{"lens table       -84,-75", "gravity offsets  12,-7,30", "device serial    VP1",
                     "board serial     " + std::string(sizeof record.mainboard_sn, 'B'),
                     "gravity sensor   calibrated (1)", "ToF sensor       not calibrated (0)",
                     "lens             calibrated (4)"}));
}

TEST(ARecordInWords, MayBeBlank) {
    ovra_permanent_record record;
    std::memset(&record, 0xFF, sizeof record);
    EXPECT_EQ(host::describe_record(record),
              (Lines{"lens table       (erased)", "gravity offsets  (erased)", "device serial    (erased)",
                     "board serial     (erased)", "gravity sensor   not calibrated (erased)",
                     "ToF sensor       not calibrated (erased)", "lens             not calibrated (erased)"}));
}

TEST(ARecordInWords, MayBeAllZero) {
    const ovra_permanent_record record{};
    EXPECT_EQ(host::describe_record(record),
              (Lines{"lens table       ", "gravity offsets  ", "device serial    ", "board serial     ",
                     "gravity sensor   not calibrated (empty)", "ToF sensor       not calibrated (empty)",
                     "lens             not calibrated (empty)"}));
}

}  // namespace
