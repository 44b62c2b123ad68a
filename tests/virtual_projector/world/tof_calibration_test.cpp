#include "virtual_projector/world/tof_calibration.h"

#include <gtest/gtest.h>

#include "virtual_projector/world/parameters.h"

namespace vp {
namespace {

PixelTable counting_table() {
    PixelTable table{};
    for (std::size_t i = 0; i < table.size(); ++i) {
        table[i] = {static_cast<std::int16_t>(static_cast<int>(i) - 30), static_cast<std::uint16_t>(1000 + i)};
    }
    return table;
}

int number_at(const CalibrationData& data, std::size_t index) {
    return static_cast<std::int16_t>(data[2 * index] | data[2 * index + 1] << 8);
}

TEST(TofCalibration, IsGoodAsItIsMade) {
    EXPECT_TRUE(is_good_calibration(generate_calibration({}, 500).data()));
}

TEST(TofCalibration, IsRefusedWhenAnyByteChanged) {
    const GeneratedData good = generate_calibration(counting_table(), 500);
    for (std::size_t at = 0; at < good.size(); at += 37) {
        GeneratedData spoilt = good;
        spoilt[at] = static_cast<std::uint8_t>(spoilt[at] ^ 1u);
        EXPECT_FALSE(is_good_calibration(spoilt.data())) << at;
    }
}

TEST(TofCalibration, IsRefusedInErasedMemory) {
    GeneratedData erased;
    erased.fill(0xFF);
    EXPECT_FALSE(is_good_calibration(erased.data()));
    erased.fill(0);
    EXPECT_FALSE(is_good_calibration(erased.data()));
}

TEST(TofCalibration, KeepsOffsetsAndSignalsInFourBlocks) {
    const CalibrationData data = pack_calibration(generate_calibration(counting_table(), 500));
    EXPECT_EQ(number_at(data, 0), -30);     // row 0, column 0
    EXPECT_EQ(number_at(data, 29), -1);     // row 2, column 9
    EXPECT_EQ(number_at(data, 30), 1000);   // the signals of rows 0 to 2
    EXPECT_EQ(number_at(data, 60), 0);      // row 3, column 0
    EXPECT_EQ(number_at(data, 119), 1059);  // the last signal
    EXPECT_TRUE(is_good_calibration(data.data() + generated_at));
}

TEST(TofCalibration, GivesTheChipItsOffsetsBack) {
    const PixelOffsets offsets = chip_offsets(pack_calibration(generate_calibration(counting_table(), 500)));
    for (std::size_t i = 0; i < offsets.size(); ++i) EXPECT_EQ(offsets[i], static_cast<double>(i) - 30);
}

TEST(TofCalibration, ErasedMemoryHoldsNoOffsets) {
    CalibrationData erased;
    erased.fill(0xFF);
    for (const double offset : chip_offsets(erased)) EXPECT_EQ(offset, 0);
}

TEST(TofCalibration, FactoryDataAreGoodMarkedAndWithoutOffsets) {
    const CalibrationData data = factory_data();
    EXPECT_TRUE(has_factory_mark(data.data()));
    EXPECT_TRUE(is_good_calibration(data.data() + generated_at));
    EXPECT_FALSE(has_factory_mark(pack_calibration(generate_calibration({}, 0)).data()));
}

TEST(TofCalibration, TheIdealTableCancelsTheTrueOffsets) {
    const TofSettings tof = standard_settings().tof;
    const PixelTable table = ideal_table(tof, 1);
    const PixelOffsets offsets = true_pixel_offsets(tof, 1);
    for (std::size_t i = 0; i < table.size(); ++i) EXPECT_NEAR(table[i].offset_mm, offsets[i], 0.5);
}

}  // namespace
}  // namespace vp
