#include <cstdlib>
#include <cstring>

#include "platform/nds_isp.h"
#include "tests/virtual_projector/boardlibs/libraries_fixture.h"
#include "virtual_projector/boardlibs/plane_fit.h"
#include "virtual_projector/world/tof_calibration.h"

namespace vp {
namespace {

// What the library does to the chip through the platform table, in words.
std::string platform_log;
int platform_result = 0;

std::int32_t write_byte_register(void*, std::uint8_t address, std::uint8_t* data, std::uint32_t size) {
    platform_log +=
        "byte " + std::to_string(address) + "=" + std::to_string(data[0]) + "/" + std::to_string(size) + " ";
    return platform_result;
}
std::int32_t write_word_register(void*, std::uint32_t address, std::uint8_t* data, std::uint32_t size) {
    platform_log +=
        "word " + std::to_string(address) + "=" + std::to_string(data[0]) + "/" + std::to_string(size) + " ";
    return platform_result;
}

struct IspFunctions : LibrariesTest {
    std::array<std::uint8_t, 64> context{};
    CalibrationData calibration = factory_data();

    static IspFunctions* current;  // for the callbacks

    IspFunctions() {
        current = this;
        platform_log.clear();
        platform_result = 0;
    }
    ~IspFunctions() override { current = nullptr; }

    static std::int32_t delay_ms(void*, std::uint32_t duration) {
        current->now += duration * 1000;
        return 0;
    }

    // As the library under test does it: all pixels, distances and then signals, in fresh memory.
    static int pixels(void*, std::uint16_t** out) {
        std::array<std::uint16_t, 240> records{};
        std::string command;
        const std::uint64_t address = reinterpret_cast<std::uintptr_t>(records.data());
        const std::uint32_t code = 6;
        command.append(reinterpret_cast<const char*>(&address), sizeof address);
        command.append(reinterpret_cast<const char*>(&code), sizeof code);
        if (current->write("/sys/class/nd_tof/nds01/lib_data", command) != 12) return -1;
        *out = static_cast<std::uint16_t*>(std::malloc(240));
        for (std::size_t i = 0; i < 60; ++i) {
            (*out)[i] = records[4 * i];
            (*out)[60 + i] = records[4 * i + 2];
        }
        return 240;
    }
    static int no_pixels(void*, std::uint16_t**) { return -1; }

    template <typename Function>
    static void* slot(Function* function) {
        return reinterpret_cast<void*>(function);
    }
    int register_platform() {
        std::array<void*, NDS_PLATFORM_SLOTS> table{};
        table.fill(slot<nds_register16_transfer>(write_word_register));
        table[NDS_WRITE_REGISTER8] = slot<nds_register8_transfer>(write_byte_register);
        table[NDS_DELAY_MS] = slot<nds_delay>(delay_ms);
        table[9] = nullptr;
        return isp_platform_init(table.data());
    }
    int load() { return nx_isp_lib_init(context.data(), calibration.data() + generated_at); }

    boardlibs::AngleResult angle_at(const std::array<std::uint16_t, 8>& distances) {
        std::array<std::uint8_t, 96> cloud{};
        boardlibs::AngleResult result{1, 2, 3};
        EXPECT_EQ(nx_cal_pc(context.data(), distances.data(), cloud.data()), 0);
        nx_angle_cal(context.data(), cloud.data(), &result);
        return result;
    }

    struct Setup {
        std::int32_t columns = 10;
        std::int32_t rows = 6;
        int (*get_pixels)(void*, std::uint16_t**) = pixels;
        void* set_configuration = nullptr;
    };
    void calibrate_at(int depth_mm) {
        start_bench(depth_mm);
        ASSERT_EQ(begin_calibration({}, depth_mm), 0);
        ASSERT_EQ(nx_calibration_3d(context.data()), 0);
        GeneratedData generated{};
        ASSERT_EQ(nx_calibration_generate_data(context.data(), generated.data()), 0);
        EXPECT_TRUE(is_good_calibration(generated.data()));
        const PixelOffsets found = chip_offsets(pack_calibration(generated));
        const PixelOffsets truth = true_pixel_offsets(world.settings().tof, world.unit_seed());
        for (std::size_t i = 0; i < found.size(); ++i) EXPECT_NEAR(found[i], truth[i], 1.2);
    }
    int begin_calibration(Setup setup, int depth) {
        return nx_user_calibration_init(context.data(), calibration.data(), &setup, depth, 0);
    }
    void start_bench(double distance_mm) {
        set("unit.tof_host_calibration", 0);
        set("pose.distance_mm", distance_mm);
        build();
        install();
        register_platform();
        write("/sys/class/nd_tof/nds01/running_state", "1");
        write("/sys/class/nd_tof/nds01/fps", "0");
    }
};
IspFunctions* IspFunctions::current = nullptr;

TEST_F(IspFunctions, WantACompletePlatformTable) {
    EXPECT_EQ(register_platform(), 0);
    std::array<void*, NDS_PLATFORM_SLOTS> table{};
    EXPECT_LT(isp_platform_init(table.data()), 0);
    EXPECT_LT(isp_platform_init(nullptr), 0);
}

TEST_F(IspFunctions, FixTheTemperatureThroughThePlatform) {
    EXPECT_LT(ispFixHighTemperature(0, 0x010302), 0) << "without a platform";
    register_platform();
    EXPECT_EQ(ispFixHighTemperature(0, 0x010302), 0);
    EXPECT_EQ(platform_log, "word 304=1/1 ");
    EXPECT_LT(ispFixHighTemperature(1, 0x010302), 0);
    platform_result = -1;
    EXPECT_LT(ispFixHighTemperature(0, 0x010302), 0);
}

TEST_F(IspFunctions, SetTheStartBinThroughThePlatform) {
    EXPECT_LT(isp_set_start_bin(0, 40), 0) << "without a platform";
    register_platform();
    EXPECT_EQ(isp_set_start_bin(0, 40), 0);
    EXPECT_EQ(platform_log, "byte 66=40/1 ");
    EXPECT_EQ(isp_set_start_bin(0, 1), 0);
    EXPECT_EQ(isp_set_start_bin(0, 119), 0);
    EXPECT_LT(isp_set_start_bin(0, 0), 0);
    EXPECT_LT(isp_set_start_bin(0, 120), 0);
}

TEST_F(IspFunctions, AcceptGoodCalibrationDataOnly) {
    EXPECT_EQ(load(), 0);
    calibration[2000] = static_cast<std::uint8_t>(calibration[2000] + 1);
    EXPECT_LT(load(), 0);
    EXPECT_LT(nx_isp_lib_init(nullptr, calibration.data() + generated_at), 0);
    EXPECT_LT(nx_isp_lib_init(context.data(), nullptr), 0);
}

TEST_F(IspFunctions, WalkBothWaysOfStartingUp) {
    CalibrationData own{};
    board->with_world([&](World&) { board->tof_memory().read(0, own.data(), own.size()); });
    EXPECT_EQ(nx_isp_lib_init(context.data(), own.data() + generated_at), 0);
    set("unit.tof_host_calibration", 0);
    build();
    board->with_world([&](World&) { board->tof_memory().read(0, own.data(), own.size()); });
    EXPECT_LT(nx_isp_lib_init(context.data(), own.data() + generated_at), 0);
    EXPECT_EQ(load(), 0) << "with the chip's factory data";
}

TEST_F(IspFunctions, MakeNoPointsBeforeTheyAreLoaded) {
    const std::array<std::uint16_t, 8> distances{1500, 1500, 1500, 1500};
    std::array<std::uint8_t, 96> cloud{};
    EXPECT_LT(nx_cal_pc(context.data(), distances.data(), cloud.data()), 0);
    load();
    EXPECT_EQ(nx_cal_pc(context.data(), distances.data(), cloud.data()), 0);
    EXPECT_LT(nx_cal_pc(context.data(), nullptr, cloud.data()), 0);
    EXPECT_LT(nx_cal_pc(context.data(), distances.data(), nullptr), 0);
    nx_isp_lib_uninit(context.data());
    EXPECT_LT(nx_cal_pc(context.data(), distances.data(), cloud.data()), 0);
}

TEST_F(IspFunctions, RecommendSpadsForTheirThreeModes) {
    using Spads = std::array<std::uint8_t, 8>;
    const Spads four_zones{0x1A, 0x2A, 0x1B, 0x2B, 0, 0, 0, 0};
    const Spads eight_zones{0x11, 0x21, 0x12, 0x22, 0x13, 0x23, 0x14, 0x24};
    Spads spads{};
    EXPECT_EQ(nx_get_recommended_points_mode(context.data(), spads.data(), 1), 0);
    EXPECT_EQ(spads, eight_zones);
    for (const int mode : {0, 2}) {
        EXPECT_EQ(nx_get_recommended_points_mode(context.data(), spads.data(), mode), 0);
        EXPECT_EQ(spads, four_zones) << mode;
    }
    EXPECT_LT(nx_get_recommended_points_mode(context.data(), spads.data(), 3), 0);
    EXPECT_LT(nx_get_recommended_points_mode(context.data(), spads.data(), -1), 0);
    EXPECT_LT(nx_get_recommended_points_mode(context.data(), nullptr, 1), 0);
}

TEST_F(IspFunctions, FindTiltAndDistanceInFourAndEightZones) {
    load();
    EXPECT_EQ(angle_at({1571, 1436, 1571, 1436}).distance_mm, 1500);
    EXPECT_NEAR(angle_at({1571, 1436, 1571, 1436}).yaw, 1200, 10);
    std::array<std::uint8_t, 8> spads{};
    nx_get_recommended_points_mode(context.data(), spads.data(), 1);
    EXPECT_NEAR(angle_at({1571, 1436, 1571, 1436, 1571, 1436, 1571, 1436}).yaw, 1200, 10);
}

TEST_F(IspFunctions, MarkAnAngleBeyondTheLimits) {
    load();
    const std::array<std::int16_t, 6> limits{1700, -1700, 1000, -1000, 4500, 470};
    EXPECT_EQ(nx_set_angle_limit(context.data(), limits.data()), 0);
    EXPECT_EQ(angle_at({1571, 1436, 1571, 1436}).yaw, 32767);
    EXPECT_NE(angle_at({1500, 1500, 1500, 1500}).yaw, 32767);
    const std::array<std::int16_t, 6> crossed{-1700, 1700, 1000, -1000, 4500, 470};
    EXPECT_LT(nx_set_angle_limit(context.data(), crossed.data()), 0);
    EXPECT_LT(nx_set_angle_limit(context.data(), nullptr), 0);
}

TEST_F(IspFunctions, AnswerTheSmallCalls) {
    EXPECT_GT(nx_get_isp_version(), 0);
    EXPECT_EQ(nx_set_filter_para(context.data(), 5, 0, 0), 0);
    EXPECT_LT(nx_set_filter_para(context.data(), -1, 0, 0), 0);
    std::array<void*, 2> operations{};
    EXPECT_EQ(nx_isp_op_init(context.data(), operations.data()), 0);
    EXPECT_LT(nx_isp_op_init(context.data(), nullptr), 0);
    EXPECT_EQ(ispFreqConfig(0, 1000), 0);
    EXPECT_LT(ispFreqConfig(0, 0), 0);
    EXPECT_LT(ispFreqConfig(1, 1000), 0);
}

// 16 frames of 60 pixels: some five outliers and five readings without a target.
TEST_F(IspFunctions, CalibrateTheTrueOffsetsInSpiteOfOutliers) {
    set("tof.outlier_share", 0.005);
    set("tof.missing_share", 0.005);
    calibrate_at(500);
}

TEST_F(IspFunctions, CalibrateTheTrueOffsetsOfEveryPixel) { calibrate_at(500); }

TEST_F(IspFunctions, RefuseACalibrationThatIsSetUpWrongly) {
    EXPECT_LT(begin_calibration({9, 6}, 500), 0);
    EXPECT_LT(begin_calibration({10, 5}, 500), 0);
    EXPECT_LT(begin_calibration({10, 6, nullptr}, 500), 0);
    EXPECT_LT(begin_calibration({}, 99), 0);
    EXPECT_LT(begin_calibration({}, 4001), 0);
    calibration[0] = 0;
    EXPECT_LT(begin_calibration({}, 500), 0) << "without the chip's factory mark";
    EXPECT_LT(nx_calibration_3d(context.data()), 0);
    EXPECT_LT(nx_user_calibration_init(context.data(), nullptr, nullptr, 500, 0), 0);
}

TEST_F(IspFunctions, RefuseABenchWhoseTargetStandsElsewhere) {
    start_bench(900);
    ASSERT_EQ(begin_calibration({}, 500), 0);
    EXPECT_LT(nx_calibration_3d(context.data()), 0);
    GeneratedData generated{};
    EXPECT_LT(nx_calibration_generate_data(context.data(), generated.data()), 0);
}

TEST_F(IspFunctions, RefuseABenchWithoutATarget) {
    start_bench(5000);
    ASSERT_EQ(begin_calibration({}, 500), 0);
    EXPECT_LT(nx_calibration_3d(context.data()), 0);
}

TEST_F(IspFunctions, FailWhenThePixelsCannotBeRead) {
    start_bench(500);
    ASSERT_EQ(begin_calibration({10, 6, no_pixels}, 500), 0);
    EXPECT_LT(nx_calibration_3d(context.data()), 0);
}

TEST_F(IspFunctions, FailAsTheFaultPlanSays) {
    FaultEffect refuse;
    refuse.error_number = EPERM;
    fail("nx_isp_lib_init", refuse);
    EXPECT_EQ(load(), -EPERM);
    FaultEffect spoil;
    spoil.garbage = std::string("\xFF\x7F", 2);
    fail("nx_angle_cal", spoil);
    faults.clear();
    load();
    fail("nx_angle_cal", spoil);
    EXPECT_EQ(angle_at({1500, 1500, 1500, 1500}).yaw, 32767);
}

}  // namespace
}  // namespace vp
