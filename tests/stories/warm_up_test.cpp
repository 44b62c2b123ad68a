// A run at each stage of the warm-up, for each lens flag and with the light engine's focus curve or without.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <sstream>
#include <string>
#include <vector>

#include "virtual_projector/storykit/story_run.h"

namespace {

using storykit::Story;
using storykit::StoryResult;

constexpr std::array<int, 5> stages_c = {25, 35, 45, 53, 60};
constexpr int table_tmr = -66;  // the table's own value for 1500 mm

struct Case {
    int flag;
    bool curve;
    std::array<int, 5> shifts;  // of the target at each stage, in TMR units
};

constexpr std::array<int, 5> none = {0, 0, 0, 0, 0};
constexpr std::array<int, 5> hot = {0, 0, 0, -10, -20};
constexpr std::array<int, 5> cold_curve = {8, 4, 0, 0, 0};  // the curve lies 8 units above the table
constexpr std::array<int, 5> both = {8, 4, 0, -10, -20};

constexpr std::array<Case, 8> cases = {{{1, false, none},
                                        {1, true, none},
                                        {2, false, hot},
                                        {2, true, hot},
                                        {3, false, none},
                                        {3, true, cold_curve},
                                        {4, false, hot},
                                        {4, true, both}}};

void PrintTo(const Case& which, std::ostream* out) {
    *out << "flag " << which.flag << (which.curve ? " with curve" : "");
}

std::string name_of(const Case& which) {
    return "warm-up-" + std::to_string(which.flag) + (which.curve ? "-curve" : "");
}

// The targets of the runs; those of the moves to the limit in between are the limit.
std::vector<int> targets_of(const std::string& log) {
    std::vector<int> targets;
    std::istringstream lines(log);
    bool in_run = false;
    for (std::string line; std::getline(lines, line);) {
        if (line.find("curTMRIndex") != std::string::npos) in_run = true;
        int current = 0;
        int target = 0;
        const char* const at = std::strstr(line.c_str(), "currentTMR = ");
        const bool read =
            at != nullptr && std::sscanf(at, "currentTMR = %d, targetTMR = %d", &current, &target) == 2;
        if (in_run && read) {
            targets.push_back(target);
            in_run = false;
        }
    }
    return targets;
}

class WarmUp : public ::testing::TestWithParam<Case> {};

TEST_P(WarmUp, AimsAtEachStageAsItsCalibrationSays) {
    const StoryResult result = Story(name_of(GetParam())).run();
    EXPECT_EQ(result.exit_code, 0);
    std::vector<int> expected;
    for (const int shift : GetParam().shifts) expected.push_back(table_tmr + shift);
    EXPECT_EQ(targets_of(result.library_log), expected);
    for (const int stage_c : stages_c) {
        EXPECT_EQ(result.times_logged("r_led_temp_read=" + std::to_string(stage_c)), 1) << stage_c;
    }
}
std::string test_name(const ::testing::TestParamInfo<Case>& tested) {
    return "Flag" + std::to_string(tested.param.flag) + (tested.param.curve ? "WithCurve" : "WithoutCurve");
}
INSTANTIATE_TEST_SUITE_P(LensFlags, WarmUp, ::testing::ValuesIn(cases), test_name);

TEST(WarmUp, IsSharpAtEveryStageWhenBothColdAndHotAreCalibrated) {
    const StoryResult result = Story("warm-up-4-curve").run();
    for (const double after_run_s : {9.0, 19.0, 29.0, 39.0}) {
        EXPECT_GE(result.at(after_run_s).sharpness, 0.98) << after_run_s << " s";
    }
    EXPECT_GE(result.at_the_end().sharpness, 0.98);
    EXPECT_EQ(result.at_the_end().led_c, 60);
}

TEST(WarmUp, IsTwentyUnitsOffWhenHotWithAColdCalibration) {
    const StoryResult result = Story("warm-up-1").run();
    EXPECT_NEAR(result.at_the_end().lens_error_tmr, 20, 4 + 3 * 0.6);
}

}  // namespace
