// The answers that the library's geometry is timed against are answers to the same question.
#include <gtest/gtest.h>

#include <vector>

#include "bench/projection.h"
#include "ovrafocus/projection_geometry.h"
#include "tests/support/scripted_board.h"

namespace {

using bench::KeystoneCase;
using bench::Offsets;

constexpr double tolerance_px = 0.01;

struct Deviation : ::testing::TestWithParam<KeystoneCase> {
    void expect_near(const Offsets& answer) const {
        const KeystoneCase& c = GetParam();
        const std::vector<float> library =
            keystoneDeviation(c.h_deg, c.v_deg, c.offset, c.ratio, c.width_px, c.height_px, c.roll_deg);
        ASSERT_EQ(library.size(), answer.size());
        for (std::size_t i = 0; i < answer.size(); ++i) EXPECT_NEAR(answer[i], library[i], tolerance_px) << i;
    }
    testkit::ScriptedBoard board;
};

TEST_P(Deviation, ByOpenCVsSolverEqualsTheLibrarys) { expect_near(bench::deviation_by_opencv(GetParam())); }
TEST_P(Deviation, ByOpenCVsMatricesEqualsTheLibrarys) {
    expect_near(bench::deviation_by_opencv_matrices(GetParam()));
}
TEST_P(Deviation, ByEigenEqualsTheLibrarys) { expect_near(bench::deviation_by_eigen(GetParam())); }

INSTANTIATE_TEST_SUITE_P(Poses, Deviation,
                         ::testing::Values(KeystoneCase{},                                   // upright
                                           KeystoneCase{0, 12, 0, 1.09F, 1280, 720, 0},      // tilted
                                           KeystoneCase{0, -30, 0, 1.09F, 1280, 720, 0},     // downwards
                                           KeystoneCase{20, 0, 0, 1.09F, 1280, 720, 0},      // turned
                                           KeystoneCase{-20, 15, 0.5F, 1.2F, 1280, 720, 0},  // offset
                                           KeystoneCase{10, 20, 1, 1.5F, 1920, 1080, -15},   // all
                                           KeystoneCase{5, -10, 0, 1.09F, 1024, 768, 30}));  // rolled

}  // namespace
