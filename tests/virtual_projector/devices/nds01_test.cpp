#include <cstring>
#include <vector>

#include "tests/virtual_projector/devices/board_fixture.h"
#include "virtual_projector/devices/nds01_commands.h"
#include "virtual_projector/world/tof_calibration.h"
#include "virtual_projector/world/tof_frames.h"

namespace vp {
namespace {

constexpr std::uint32_t get_frame = 0x4004A203;
const std::string device = "/dev/nds01";
const std::string tof = "/sys/class/nd_tof/nds01/";

struct Zone {
    std::uint16_t distance;
    std::uint16_t quality;
    std::uint32_t rest;
};

template <typename Value>
void append(std::string& record, Value value) {
    record.append(reinterpret_cast<const char*>(&value), sizeof value);
}

std::uint64_t address_of(const void* memory) { return reinterpret_cast<std::uintptr_t>(memory); }

std::string command(std::uint64_t argument, std::uint32_t code) {
    std::string record;
    append(record, argument);
    append(record, code);
    return record;
}

struct Nds01Test : BoardTest {
    void start(int mode = 0) {
        EXPECT_EQ(write(tof + "point_mode", std::to_string(mode)), 1);
        EXPECT_EQ(write(tof + "running_state", "1"), 1);
    }
    std::array<Zone, 8> frame(OpenFile& file) {
        std::array<Zone, 8> zones{};
        EXPECT_EQ(wait_for([&] { return file.request(get_frame, zones.data()); }).result, 0);
        return zones;
    }
    long send(const void* argument, std::uint32_t code) {
        return write(tof + "lib_data", command(address_of(argument), code));
    }

    long library_data(void* buffer, std::uint32_t size, std::uint32_t index, std::uint32_t code) {
        std::string record;
        append(record, address_of(buffer));
        append(record, size);
        append(record, index);
        return send(record.data(), code);
    }
    long registers(const std::string& address, std::string& data, std::uint32_t code,
                   std::uint16_t bus = 0x5C) {
        std::string record;
        append(record, bus);
        append(record, address_of(address.data()));
        append(record, static_cast<std::uint16_t>(address.size()));
        append(record, address_of(data.data()));
        append(record, static_cast<std::uint16_t>(data.size()));
        return send(record.data(), code);
    }
};

// --- Frames --------------------------------------------------------------------------------------------

TEST_F(Nds01Test, FillsFourZonesAndEightInPointModeOne) {
    start(0);
    const auto file = open(device);
    auto zones = frame(*file);
    EXPECT_NEAR(zones[3].distance, 1500, 6);
    EXPECT_EQ(zones[3].quality, 100);
    EXPECT_EQ(zones[4].distance, 0);
    start(1);
    zones = frame(*file);
    EXPECT_NEAR(zones[7].distance, 1500, 6);
    EXPECT_EQ(zones[7].rest, 0u);
}

TEST_F(Nds01Test, KnowsHowMuchAFrameCarries) {
    EXPECT_EQ(open(device)->request_size(get_frame), 4 * sizeof(Zone));
    start(1);
    EXPECT_EQ(open(device)->request_size(get_frame), 8 * sizeof(Zone));
    EXPECT_EQ(open(device)->request_size(0x4004A109), 0U);
}

TEST_F(Nds01Test, LetsTheCallerWaitForAFrameItHasNotHad) {
    start();
    const auto file = open(device);
    const auto first = frame(*file);
    std::array<Zone, 8> zones{};
    const Answer answer = file->request(get_frame, zones.data());
    EXPECT_TRUE(answer.wait);
    EXPECT_EQ(answer.until, 33334);  // 30 frames per second
    const auto second = frame(*file);
    EXPECT_EQ(now, 33334);
    EXPECT_NE(std::memcmp(first.data(), second.data(), sizeof first), 0);
}

TEST_F(Nds01Test, LetsTheCallerWaitForAFrameThatIsLate) {
    set("tof.frame_jitter_ms", 10);
    start();
    const auto file = open(device);
    for (int number = 0; number < 20; ++number) {
        const Microseconds ready = tof_frame_time({30, 10, world.seed()}, number);
        std::array<Zone, 8> zones{};
        EXPECT_EQ(file->request(get_frame, zones.data()).until, ready) << number;
        frame(*file);
        EXPECT_EQ(now, ready) << number;
    }
}

TEST_F(Nds01Test, GivesAFreshFrameToEachDescriptor) {
    start();
    EXPECT_EQ(frame(*open(device))[0].distance, frame(*open(device))[0].distance);
}

TEST_F(Nds01Test, WithoutARateItMakesAFrameEachMillisecond) {
    start();
    EXPECT_EQ(write(tof + "fps", "0"), 1);
    const auto file = open(device);
    frame(*file);
    frame(*file);
    EXPECT_EQ(now, 1000);
}

TEST_F(Nds01Test, HasNothingToGiveWhileItIsStopped) {
    std::array<Zone, 8> zones{};
    EXPECT_EQ(open(device)->request(get_frame, zones.data()).result, -EAGAIN);
    EXPECT_EQ(read(tof + "ranging_data"), "errno " + std::to_string(EAGAIN));
}

TEST_F(Nds01Test, RefusesOtherRequestsAndNoMemory) {
    start();
    std::array<Zone, 8> zones{};
    EXPECT_EQ(open(device)->request(0x4004A109, zones.data()).result, -ENOTTY);
    EXPECT_EQ(open(device)->request(get_frame, nullptr).result, -EFAULT);
}

TEST_F(Nds01Test, ShowsTheCornersTopRightBottomRightTopLeftBottomLeft) {
    set("tof.noise_mm", 0);
    set("tof.noise_per_mm", 0);
    set("tof.pixel_spread_mm", 0);
    build();
    set("tof.blocked_br_mm", 700);
    set("tof.blocked_tl_mm", 800);
    for (const int mode : {0, 1}) {
        start(mode);
        EXPECT_EQ(read(tof + "ranging_data"), "1500,700,800,1500,100,100,100,100\n");
    }
}

TEST_F(Nds01Test, TheTextOfAFarWallFitsItsReader) {
    start();
    set("pose.distance_mm", 5000);
    const std::string text = read(tof + "ranging_data");
    EXPECT_EQ(text, "8190,8190,8190,8190,3,3,3,3\n");
    set("pose.distance_mm", 1500);
    EXPECT_LE(read(tof + "ranging_data").size(), 36u);
}

TEST_F(Nds01Test, AnUncalibratedSensorMeasuresTooMuch) {
    set("unit.tof_host_calibration", 0);
    build();
    start();
    EXPECT_NEAR(frame(*open(device))[0].distance, 1535, 8);
}

// --- Attributes ----------------------------------------------------------------------------------------

TEST_F(Nds01Test, KeepsItsSettings) {
    EXPECT_EQ(read(tof + "running_state"), "0\n");
    EXPECT_EQ(read(tof + "fps"), "30\n");
    write(tof + "fps", "15");
    start(2);
    EXPECT_EQ(read(tof + "running_state"), "1\n");
    EXPECT_EQ(read(tof + "fps"), "15\n");
    EXPECT_EQ(read(tof + "point_mode"), "2\n");
}

TEST_F(Nds01Test, RefusesSettingsThatThereAreNot) {
    EXPECT_EQ(write(tof + "running_state", "2"), -EINVAL);
    EXPECT_EQ(write(tof + "running_state", ""), 0);
    EXPECT_EQ(write(tof + "fps", "121"), -EINVAL);
    EXPECT_EQ(write(tof + "fps", "-1"), -EINVAL);
    EXPECT_EQ(write(tof + "point_mode", "3"), -EINVAL);
    EXPECT_EQ(write(tof + "config", "2"), -EINVAL);
    EXPECT_EQ(write(tof + "config", "1"), 1);
}

TEST_F(Nds01Test, ShowsItsFirmwareVersion) {
    EXPECT_EQ(read(tof + "firmware_version"), std::string("\x02\x03\x01\x00", 4));
    set("tof.firmware_version", 10299);
    EXPECT_EQ(read(tof + "firmware_version"), std::string("\x63\x02\x01\x00", 4));
    EXPECT_EQ(open_error(tof + "firmware_version", O_RDWR), EACCES);
}

TEST_F(Nds01Test, MeasuresOneCrosstalkValueOrFourByItsFirmware) {
    EXPECT_EQ(write(tof + "xtalk_calibration", "1"), -EAGAIN);
    start();
    EXPECT_EQ(read(tof + "xtalk_value"), std::string(8, '\0'));
    EXPECT_EQ(write(tof + "xtalk_calibration", "1"), 1);
    const std::string four = read(tof + "xtalk_value");
    EXPECT_EQ(four.size(), 8u);
    for (std::size_t i = 0; i < 8; i += 2) EXPECT_GE(static_cast<unsigned char>(four[i]), 20);
    set("tof.firmware_version", 10203);
    EXPECT_EQ(read(tof + "xtalk_value"), four.substr(0, 2));
}

TEST_F(Nds01Test, TakesIspConfigurationsOfTwoForms) {
    EXPECT_EQ(write(tof + "isp_config", std::string("\0\x07", 2)), 2);
    EXPECT_EQ(write(tof + "isp_config", std::string("\x01\x01\x02\x03\x04", 5)), 5);
    EXPECT_EQ(write(tof + "isp_config", std::string("\x01\x01", 2)), -EINVAL);
    EXPECT_EQ(write(tof + "isp_config", std::string("\x02\x01", 2)), -EINVAL);
    EXPECT_EQ(open_error(tof + "isp_config", O_RDONLY), EACCES);
}

TEST_F(Nds01Test, CalibratesItselfAtAKnownDepth) {
    set("unit.tof_host_calibration", 0);
    build();
    EXPECT_EQ(write(tof + "offset_calibration_at_depth_for_dev", "1500"), -EAGAIN);
    start();
    EXPECT_EQ(write(tof + "offset_calibration_at_depth_for_dev", "1500"), 4);
    now = 1000000;
    double sum = 0;
    const auto zones = frame(*open(device));
    for (std::size_t i = 0; i < 4; ++i) sum += zones[i].distance / 4.0;
    EXPECT_NEAR(sum, 1500, 4);
    EXPECT_EQ(write(tof + "offset_calibration_at_depth_for_dev", "0"), -EINVAL);
}

TEST_F(Nds01Test, FollowsTheStepsOfACalibrationInTheirOrder) {
    const std::string steps = tof + "offset_calibration_at_depth_for_isp";
    EXPECT_EQ(write(steps, "step_2"), -EINVAL);
    EXPECT_EQ(write(steps, "step_1"), 6);
    EXPECT_EQ(write(steps, "step_3"), -EINVAL);
    EXPECT_EQ(write(steps, "step_2"), 6);
    EXPECT_EQ(write(steps, "step_3"), 6);
    EXPECT_EQ(write(steps, "step_1"), 6);
    EXPECT_EQ(write(steps, "done"), -EINVAL);
}

// --- Commands ------------------------------------------------------------------------------------------

TEST_F(Nds01Test, RefusesCommandsOfTheWrongForm) {
    EXPECT_EQ(write(tof + "lib_data", command(1, 1).substr(0, 11)), -EINVAL);
    EXPECT_EQ(write(tof + "lib_data", command(1, 1) + "x"), -EINVAL);
    EXPECT_EQ(write(tof + "lib_data", command(0, 1)), -EFAULT);
    char memory[32] = {};
    EXPECT_EQ(send(memory, 4), -EINVAL);
    EXPECT_EQ(send(memory, 10), -EINVAL);
    EXPECT_EQ(open_error(tof + "lib_data", O_RDONLY), EACCES);
}

TEST_F(Nds01Test, ReadsTheChipsFactoryData) {
    CalibrationData data{};
    EXPECT_EQ(library_data(data.data(), calibration_size, 0x8000, 1), 12);
    EXPECT_EQ(data, factory_data());
    CalibrationData part{};
    EXPECT_EQ(library_data(part.data(), 1024, 0x8000, 1), 12);
    EXPECT_TRUE(has_factory_mark(part.data()));
    EXPECT_EQ(part[1024], 0);
}

TEST_F(Nds01Test, AChipWithoutFactoryDataIsErased) {
    set("unit.tof_factory_data", 0);
    build();
    CalibrationData data{};
    library_data(data.data(), calibration_size, 0x8000, 1);
    EXPECT_EQ(data[0], 0xFF);
    EXPECT_FALSE(is_good_calibration(data.data() + generated_at));
}

TEST_F(Nds01Test, KeepsTheLibrarysOwnCalibration) {
    CalibrationData data{};
    EXPECT_EQ(library_data(data.data(), calibration_size, 0x9000, 1), 12);
    EXPECT_TRUE(is_good_calibration(data.data() + generated_at));
    data.fill(0x5A);
    EXPECT_EQ(library_data(data.data(), calibration_size, 0x9000, 2), 12);
    std::array<std::uint8_t, 128> part{};
    EXPECT_EQ(library_data(part.data(), 128, 0x9000, 1), 12);
    EXPECT_EQ(part[127], 0x5A);
}

TEST_F(Nds01Test, AWrittenCalibrationCorrectsItsZones) {
    set("unit.tof_host_calibration", 0);
    build();
    start();
    CalibrationData data =
        pack_calibration(generate_calibration(ideal_table(world.settings().tof, world.unit_seed()), 500));
    EXPECT_EQ(library_data(data.data(), calibration_size, 0x9000, 2), 12);
    EXPECT_NEAR(frame(*open(device))[0].distance, 1500, 6);
}

TEST_F(Nds01Test, RefusesLibraryDataThatItDoesNotKnow) {
    CalibrationData data{};
    EXPECT_EQ(library_data(data.data(), 16, 0x7000, 1), -EINVAL);
    EXPECT_EQ(library_data(data.data(), 16, 0x8000, 2), -EINVAL);
    EXPECT_EQ(library_data(data.data(), 4097, 0x9000, 2), -EINVAL);
    EXPECT_EQ(library_data(data.data(), 0, 0x9000, 1), -EINVAL);
    EXPECT_EQ(library_data(nullptr, 16, 0x9000, 1), -EFAULT);
}

TEST_F(Nds01Test, TakesEightSpadsForEightZonesAndFourForFour) {
    using Spads = std::array<std::uint8_t, 8>;
    constexpr std::uint32_t select_eight = 5;
    constexpr std::uint32_t enable_four = 3;
    Nds01Chip chip(world.settings());
    const auto give = [&](const Spads& spads, std::uint32_t code) {
        return carry_out_command(world, *board, chip, command(address_of(spads.data()), code));
    };
    EXPECT_EQ(give({1, 2, 3, 4, 5, 6, 7, 8}, select_eight), 0);
    EXPECT_EQ(chip.spad_selection, (Spads{1, 2, 3, 4, 5, 6, 7, 8}));
    EXPECT_EQ(give({11, 12, 13, 14, 15, 16, 17, 18}, enable_four), 0);
    EXPECT_EQ(chip.spad_selection, (Spads{11, 12, 13, 14, 5, 6, 7, 8}));
}

TEST_F(Nds01Test, TakesSpadSelectionsThroughItsAttribute) {
    const std::array<std::uint8_t, 8> spads{1, 2, 3, 4, 5, 6, 7, 8};
    EXPECT_EQ(send(spads.data(), 5), 12);
    EXPECT_EQ(send(spads.data(), 3), 12);
}

TEST_F(Nds01Test, DeliversAllPixels) {
    start();
    std::array<std::uint16_t, 240> pixels{};
    EXPECT_EQ(send(pixels.data(), 6), 12);
    for (std::size_t pixel = 0; pixel < 60; ++pixel) {
        EXPECT_NEAR(pixels[4 * pixel], 1535, 14);
        EXPECT_EQ(pixels[4 * pixel + 2], 200);
    }
    write(tof + "running_state", "0");
    EXPECT_EQ(send(pixels.data(), 6), -EAGAIN);
}

TEST_F(Nds01Test, APixelThatSeesNothingHasNoSignal) {
    set("pose.distance_mm", 6000);
    start();
    std::array<std::uint16_t, 240> pixels{};
    EXPECT_EQ(send(pixels.data(), 6), 12);
    for (std::size_t pixel = 0; pixel < 60; ++pixel) {
        EXPECT_EQ(pixels[4 * pixel], 8190) << pixel;
        EXPECT_LT(pixels[4 * pixel + 1], 11) << pixel;
        EXPECT_EQ(pixels[4 * pixel + 2], 0) << pixel;
    }
}

TEST_F(Nds01Test, KeepsRegistersOfTwoWidthsApart) {
    std::string data = "AB";
    EXPECT_EQ(registers(std::string("\x10", 1), data, 8), 12);
    data = "CD";
    EXPECT_EQ(registers(std::string("\x00\x10", 2), data, 8), 12);
    data = "..";
    EXPECT_EQ(registers(std::string("\x10", 1), data, 7), 12);
    EXPECT_EQ(data, "AB");
    EXPECT_EQ(registers(std::string("\x00\x11", 2), data, 7), 12);
    EXPECT_EQ(data, std::string("D\0", 2));
}

TEST_F(Nds01Test, HoldsItsIdentityInRegisterZero) {
    std::string data(1, '.');
    registers(std::string("\0", 1), data, 7);
    EXPECT_EQ(data, "\x5C");
}

TEST_F(Nds01Test, RefusesTransfersToNobody) {
    std::string data = "A";
    EXPECT_EQ(registers("x", data, 7, 0x29), -ENXIO);
    EXPECT_EQ(registers("xyz", data, 7), -EINVAL);
    std::string much(257, 'A');
    EXPECT_EQ(registers("x", much, 8), -EINVAL);
}

TEST_F(Nds01Test, TheShutDownPinStopsItAndClearsItsRegisters) {
    start();
    std::string data = "A";
    registers("x", data, 8);
    std::int32_t level = 0;
    EXPECT_EQ(send(&level, 9), 12);
    EXPECT_EQ(read(tof + "running_state"), "0\n");
    EXPECT_EQ(write(tof + "running_state", "1"), -EIO);
    EXPECT_EQ(registers("x", data, 7), -EIO);
    level = 1;
    EXPECT_EQ(send(&level, 9), 12);
    EXPECT_EQ(registers("x", data, 7), 12);
    EXPECT_EQ(data, std::string(1, '\0'));
    level = 2;
    EXPECT_EQ(send(&level, 9), -EINVAL);
}

TEST_F(Nds01Test, CanBeMissing) {
    set("board.has_tof", 0);
    EXPECT_EQ(open_error(device, O_RDWR), ENOENT);
    EXPECT_EQ(open_error(tof + "ranging_data", O_RDONLY), ENOENT);
}

}  // namespace
}  // namespace vp
