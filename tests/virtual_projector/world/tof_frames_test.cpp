#include "virtual_projector/world/tof_frames.h"

#include <gtest/gtest.h>

#include <cmath>

namespace vp {
namespace {

TEST(TofFrames, FollowTheRate) {
    EXPECT_EQ(tof_frame_index({10, 0, 1}, 99999), 0);
    EXPECT_EQ(tof_frame_index({10, 0, 1}, 100000), 1);
    EXPECT_EQ(tof_frame_index({0, 0, 1}, 2500), 2);
}

TEST(TofFrames, BeginAtTheFirstMicrosecondAtWhichTheyAreTheLatest) {
    for (const double jitter_ms : {0.0, 5.0, 100.0}) {
        for (const double rate : {0.0, 7.0, 30.0, 120.0}) {
            const FrameTimes times{rate, jitter_ms, 3};
            for (std::int64_t frame = 1; frame < 50; ++frame) {
                const Microseconds start = tof_frame_time(times, frame);
                EXPECT_EQ(tof_frame_index(times, start), frame) << rate << " " << jitter_ms;
                EXPECT_EQ(tof_frame_index(times, start - 1), frame - 1) << rate << " " << jitter_ms;
            }
        }
    }
}

TEST(TofFrames, AreLateByAnEvenShareOfTheJitter) {
    const FrameTimes even{30, 0, 1};
    const FrameTimes late{30, 8, 1};
    double sum_ms = 0;
    for (std::int64_t frame = 0; frame < 2000; ++frame) {
        const double late_ms =
            static_cast<double>(tof_frame_time(late, frame) - tof_frame_time(even, frame)) / 1000;
        EXPECT_GE(late_ms, 0);
        EXPECT_LE(late_ms, 8);
        sum_ms += late_ms;
    }
    EXPECT_NEAR(sum_ms / 2000, 4, 4 * 8 / std::sqrt(12.0 * 2000));
}

TEST(TofFrames, KeepTheirOrderHoweverLateTheyAre) {
    const FrameTimes times{120, 100, 2};
    for (std::int64_t frame = 0; frame < 500; ++frame) {
        EXPECT_GT(tof_frame_time(times, frame + 1), tof_frame_time(times, frame));
    }
}

}  // namespace
}  // namespace vp
