#include "virtual_projector/world/bench.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace vp {
namespace {

constexpr std::uint64_t units = 4000;

double deviation(const std::vector<double>& values) {
    double squares = 0;
    for (const double value : values) squares += value * value;
    return std::sqrt(squares / static_cast<double>(values.size()));
}

TEST(AFaultlessBench, MakesNoErrors) {
    const BenchErrors errors = bench_errors({}, 5);
    EXPECT_EQ(errors.depth_mm, 0);
    EXPECT_EQ(errors.camera_tmr, 0);
    EXPECT_FALSE(errors.whole_steps);
    EXPECT_EQ(errors.pitch_deg, 0);
    EXPECT_EQ(errors.roll_deg, 0);
}

TEST(ABench, MakesErrorsOfItsStandardDeviations) {
    BenchSettings bench;
    bench.depth_mm_sigma = 10;  // a rounding to whole millimetres adds 1/12
    bench.camera_tmr_sigma = 3;
    bench.level_deg_sigma = 0.1;
    std::vector<double> depth, camera, pitch, roll;
    for (std::uint64_t unit = 0; unit < units; ++unit) {
        const BenchErrors errors = bench_errors(bench, unit);
        EXPECT_TRUE(errors.whole_steps);
        EXPECT_EQ(errors.depth_mm, std::round(errors.depth_mm));
        depth.push_back(errors.depth_mm);
        camera.push_back(errors.camera_tmr);
        pitch.push_back(errors.pitch_deg);
        roll.push_back(errors.roll_deg);
    }
    EXPECT_NEAR(deviation(depth), 10, 0.4);
    EXPECT_NEAR(deviation(camera), 3, 0.12);
    EXPECT_NEAR(deviation(pitch), 0.1, 0.004);
    EXPECT_NEAR(deviation(roll), 0.1, 0.004);
}

TEST(ABench, MakesTheSameErrorOfOneKindWhateverTheOthersAre) {
    BenchSettings all;
    all.depth_mm_sigma = 1;
    all.camera_tmr_sigma = 3;
    all.level_deg_sigma = 0.1;
    BenchSettings camera_only;
    camera_only.camera_tmr_sigma = 3;
    EXPECT_EQ(bench_errors(camera_only, 3).camera_tmr, bench_errors(all, 3).camera_tmr);
    EXPECT_EQ(bench_errors(camera_only, 3).depth_mm, 0);
    EXPECT_NE(bench_errors(all, 3).camera_tmr, bench_errors(all, 4).camera_tmr);
}

TEST(AUnitOnTheBench, StandsFartherAwayAndTippedByItsErrors) {
    Pose believed;
    believed.distance_mm = 1000;
    believed.pitch_deg = 2;
    BenchErrors errors;
    errors.depth_mm = -2;
    errors.pitch_deg = 0.25;
    errors.roll_deg = -0.5;
    const Pose pose = pose_on_bench(believed, errors);
    EXPECT_EQ(pose.distance_mm, 998);
    EXPECT_EQ(pose.pitch_deg, 2.25);
    EXPECT_EQ(pose.roll_deg, -0.5);
    EXPECT_EQ(pose.yaw_deg, 0);
}

}  // namespace
}  // namespace vp
