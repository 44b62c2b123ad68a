// The run as a whole: switches, keystone step, distance, choice of the table, and how it ends.
#include "ovrafocus/focus_run.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/focus_run_bench.h"
#include "tests/support/log_lines.h"

namespace {

using namespace focusbench;
using testkit::tagged;

// 1000 mm is place 4.
constexpr int wall_mm = 1000;
constexpr int wall_place = 4;
constexpr int wall_tmr = -160;

Events adjusted(const std::string& how, int offset) {
    return {"\033[46;1mtargetTMR after temp adjust " + how + " = " + number(offset) + "\033[0m"};
}

TEST(FocusRunAtLoad, AsksForTheKeystoneAndLeavesTheLensFree) {
    EXPECT_EQ(g_focus_temp_adjust, 0);
    EXPECT_EQ(pthread_mutex_trylock(&mutex_focus), 0);
    pthread_mutex_unlock(&mutex_focus);
}

// --- A whole run -----------------------------------------------------------------------------------------

TEST_F(FocusRun, TakesTheLensToTheWall) {
    distance(wall_mm);
    lens_at({"0", "10", "10", "-100", "-150", "-158"});
    EXPECT_EQ(run(), 0);
    EXPECT_EQ(events(), said("pulse <- 2") + motor("left", 2) + motor("left", 4) + motor("left", 3) +
                            single_step("left") + ended());
    EXPECT_EQ(lastDistance, wall_mm);
    EXPECT_EQ(lastDirection, 0);
}

TEST_F(FocusRun, LogsEachStepBesideItsWrites) {
    distance(wall_mm);
    lens_at({"0", "10", "10", "-100", "-150", "-158"});
    run();
    EXPECT_EQ(all_events(), began(wall_mm) + position(0) + places(12, wall_place, -4) +
                                said("pulse <- 2", "move left", "move left idle 2") + logged_motor("left", 2) +
                                reversed("left") + position(10) + logged_motor("left", 4) + position(10) +
                                pass(-100, wall_tmr) + said("move 3 left") + logged_motor("left", 3) +
                                pass(-150, wall_tmr) + said("move 1 left", "pulse <- 1") +
                                logged_motor("left", 1) + pass(-158, wall_tmr) + said("auto focus completed") +
                                focus_time() + logged_end());
}

TEST_F(FocusRun, LogsEachStepToTheRight) {
    lastDirection = 0;
    distance(500);  // place 10
    lens_at({"-160", "-150", "-100", "-100", "-50", "-40"});
    run();
    EXPECT_EQ(all_events(), began(500) + position(-160) + places(4, 10, 3) +
                                said("pulse <- 2", "move right", "move right idle 3") +
                                logged_motor("right", 3) + reversed("right") + position(-150) +
                                logged_motor("right", 3) + position(-100) + pass(-100, -40) +
                                said("move 3 right") + logged_motor("right", 3) + pass(-50, -40) +
                                said("move 1 right", "pulse <- 1") + logged_motor("right", 1) + pass(-40, -40) +
                                said("auto focus completed") + focus_time() + logged_end());
}

TEST_F(FocusRun, LogsItsTimeOut) {
    distance(wall_mm);
    g_flag_high_temp = 1;
    lens_at(wall_tmr - 9);
    EXPECT_EQ(run(), -1);
    EXPECT_NE(board.log().find(tagged("auto focus time out")), std::string::npos);
}

TEST_F(FocusRun, PrintsExactlyEachStep) {
    distance(wall_mm);
    lens_at({"0", "10", "10", "-100", "-158"});
    run();
    EXPECT_EQ(board.log(),
              tagged("auto focus STATE flag : 1\n") +
                  tagged("======= osd : keystone = 0, autofocus = 1, g_focus_temp_adjust = 0 =========\n") +
                  tagged("tof distance ret=0, tr:1000, br:1000, tl:1000, bl:1000\n") +
                  tagged("\033[36;1mavgDist = 1000\033[0m\n") + tagged("r_led_temp_read=45\n") +
                  tagged("current tmr ret=1, tmr_adc:0\n") +
                  tagged("curTMRIndex = 12, targetTMRIndex = 4, steps = -4\n") + tagged("move left") +
                  tagged("move left idle 2\n") + tagged("motor_left_write val:2") +
                  tagged("\033[42;1mmotor change move to left\033[0m") +
                  tagged("current tmr ret=2, tmr_adc:10\n") + tagged("motor_left_write val:4") +
                  tagged("current tmr ret=2, tmr_adc:10\n") + tagged("current tmr ret=4, tmr_adc:-100\n") +
                  tagged("currentTMR = -100, targetTMR = -160\n") + tagged("move 3 left\n") +
                  tagged("motor_left_write val:3") + tagged("current tmr ret=4, tmr_adc:-158\n") +
                  tagged("currentTMR = -158, targetTMR = -160\n") + tagged("auto focus completed") +
                  tagged("\033[46;1movra: auto focus time : 0 ms\033[0m\n") +
                  tagged("auto focus STATE flag : 1\n") + tagged("lv_refresh_callback.call back refresh ui\n"));
}

TEST_F(FocusRun, HoldsTheLensToTheEndAndReleasesItBeforeTheRefresh) {
    distance(wall_mm);
    lens_at(std::vector<std::string>{""});  // a sensor that gives nothing
    run();
    EXPECT_EQ(held_calls, (said("toast 5 held", "refresh free")));
}

TEST_F(FocusRun, WorksWithoutAHost) {
    autofocus_app_callback = nullptr;
    distance(wall_mm);
    lens_at(wall_tmr);
    EXPECT_EQ(run(), 0);
}

// --- Switched off ----------------------------------------------------------------------------------------

TEST_F(FocusRun, WithBothFunctionsOffSendsTwoToasts) {
    g_osd_autofocus = 0;
    EXPECT_EQ(run(), -102);
    EXPECT_EQ(events(), toast(10) + said("sleep 1000000") + toast(11));
    EXPECT_EQ(held_calls, (said("toast 10 free", "toast 11 free")));
}

TEST_F(FocusRun, WithFocusOffEndsAfterTheKeystone) {
    g_osd_keystone = 1;
    g_osd_autofocus = 0;
    EXPECT_EQ(run(), -103);
    EXPECT_EQ(events_after("VKeystone success"), toast(11));
    EXPECT_EQ(held_calls, said("toast 11 free"));
}

// --- The keystone step -----------------------------------------------------------------------------------

// Without a ToF device the gravity angle decides: the tilt itself, and how far the projector lies on its side.
struct KeystoneStep : FocusRun {
    KeystoneStep() {
        g_osd_keystone = 1;
        distance(wall_mm);
        lens_at(wall_tmr);
    }
    static void make_it_fail() { tilt(0.0F, 200.0F); }
    static void leave_it_without_an_angle() { tilt(45.0F, 0.0F); }
    // The lines of the focus, which finds the lens at its place.
    static Events focused() {
        return measured(wall_mm) + temperature(45) + position(wall_tmr) + places(wall_place, wall_place, 0);
    }
};

TEST_F(KeystoneStep, IsMadeBeforeTheFocus) {
    EXPECT_EQ(run(), 0);
    Events all = all_events();
    all.resize(2);
    EXPECT_EQ(all, switches(1, 1));
    EXPECT_EQ(all_events_after("VKeystone success"),
              focused() + keystone_time(0) + focus_time() + logged_end());
}

TEST_F(KeystoneStep, KnowsThatItBelongsToAFocusRun) {
    focusAndKeystone = 0;
    leave_it_without_an_angle();
    run();
    EXPECT_EQ(focusAndKeystone, 1);
}

TEST_F(KeystoneStep, ThatFailsSendsItsToastAtTheEndOfTheFocus) {
    make_it_fail();
    EXPECT_EQ(run(), 0);
    EXPECT_EQ(events_after("keystone error: vAngle > 90"), toast(2) + ended());
    EXPECT_EQ(held_calls, (said("toast 2 held", "refresh free")));
}

TEST_F(KeystoneStep, WithoutAnAngleSendsItsToastAtTheEndOfTheFocus) {
    leave_it_without_an_angle();
    EXPECT_EQ(run(), 0);
    const Events all = events();
    const Events end = toast(9) + ended();
    ASSERT_GE(all.size(), end.size());
    EXPECT_EQ(Events(all.end() - static_cast<std::ptrdiff_t>(end.size()), all.end()), end);
}

TEST_F(KeystoneStep, ThatFailsSendsItsToastAfterAFailedFocus) {
    make_it_fail();
    distance(4000);
    EXPECT_EQ(run(), -101);
    EXPECT_EQ(events_after("\033[31;1mauto fucos error: move far away\033[0m"), toast(9) + toast(2) + ended());
}

TEST_F(KeystoneStep, ThatFailsEndsTheRunWhenFocusIsOff) {
    g_osd_autofocus = 0;
    make_it_fail();
    EXPECT_EQ(run(), -2);
    EXPECT_EQ(events_after("keystone error: vAngle > 90"), toast(2));
    EXPECT_EQ(held_calls, said("toast 2 free"));
}

TEST_F(KeystoneStep, WithoutAnAngleEndsTheRunWhenFocusIsOff) {
    g_osd_autofocus = 0;
    leave_it_without_an_angle();
    EXPECT_EQ(run(), -101);
    EXPECT_EQ(events(), toast(9));
    EXPECT_EQ(held_calls, said("toast 9 free"));
}

TEST_F(KeystoneStep, TakesTheTimeThatTheTableStates) {
    tilt(0.0F, 20.0F);
    EXPECT_EQ(run(), 0);
    const long pauses = static_cast<long>(board.journal({"sleep"}).size());
    ASSERT_GT(pauses, 0) << "a tilt of 20 degrees is stepped towards";
    EXPECT_EQ(all_events_after("VKeystone success"),
              focused() + keystone_time(static_cast<int>(30 * pauses)) + focus_time() + logged_end());
}

TEST_F(KeystoneStep, IsLeftOutOnceForAnAdjustmentOfOne) {
    tilt(0.0F, 20.0F);  // a step would pause for this tilt
    g_focus_temp_adjust = 1;
    EXPECT_EQ(run(), 0);
    EXPECT_EQ(events(), ended());
    EXPECT_EQ(g_focus_temp_adjust, 0);
}

TEST_F(KeystoneStep, IsLeftOutForGoodByAnyOtherAdjustment) {
    tilt(0.0F, 20.0F);  // a step would pause for this tilt
    for (const int adjust : {2, -1}) {
        g_focus_temp_adjust = adjust;
        board.clear_journal();
        EXPECT_EQ(run(), 0);
        EXPECT_EQ(events(), ended());
        EXPECT_EQ(g_focus_temp_adjust, adjust);
    }
}

TEST_F(KeystoneStep, LeftOutIsStillAKeystoneOnlyRunWhenFocusIsOff) {
    tilt(0.0F, 20.0F);  // a step would pause for this tilt
    g_osd_autofocus = 0;
    g_focus_temp_adjust = 1;
    EXPECT_EQ(run(), -103);
    EXPECT_EQ(events(), toast(11));
    EXPECT_EQ(g_focus_temp_adjust, 0);
}

// --- The distance ----------------------------------------------------------------------------------------

TEST_F(FocusRun, WithoutARangingNodeEndsWithToast9) {
    EXPECT_EQ(run(), -101);
    EXPECT_EQ(events(), toast(9) + ended());
    EXPECT_EQ(held_calls, (said("toast 9 held", "refresh free")));
    EXPECT_EQ(lastDistance, 300);
    EXPECT_NE(board.log().find(tagged("auto fucos error: get tof distance failed")), std::string::npos);
}

TEST_F(FocusRun, WithAnEmptyRangingNodeEndsWithToast9) {
    board.text(ranging_node, "");
    EXPECT_EQ(run(), -101);
    EXPECT_EQ(events(), toast(9) + ended());
}

TEST_F(FocusRun, WithNoZoneInRangeEndsWithToast9AndRemembersIt) {
    board.text(ranging_node, "4000,4100,5000,65535,1,1,1,1");
    EXPECT_EQ(run(), -101);
    EXPECT_EQ(events(), toast(9) + ended());
    EXPECT_EQ(held_calls, (said("toast 9 held", "refresh free")));
    EXPECT_EQ(lastDistance, -1);
    EXPECT_NE(board.log().find(tagged("tof distance ret=0, tr:4000, br:4100, tl:5000, bl:65535\n") +
                               tagged("\033[36;1mavgDist = -1\033[0m\n") +
                               tagged("\033[31;1mauto fucos error: move far away\033[0m")),
              std::string::npos);
}

// --- The table -------------------------------------------------------------------------------------------

// The lens lies so far off that the run logs its target in the first pass of the fine loop.
struct TableForTheTemperature : FocusRun {
    TableForTheTemperature() { distance(wall_mm); }

    // The lens's target after the lines in `expected`, logged between temperature and the first position.
    void expect_target(int celsius_now, const Events& expected, int target) {
        celsius(celsius_now);
        lens_at(target);
        g_flag_high_temp = hot;
        board.clear_journal();
        run();
        const Events all = all_events();
        const Events begin =
            switches(0, 1) + measured(wall_mm) + temperature(celsius_now) + expected + position(target);
        ASSERT_GE(all.size(), begin.size());
        EXPECT_EQ(Events(all.begin(), all.begin() + static_cast<std::ptrdiff_t>(begin.size())), begin);
        const std::string target_line = "currentTMR = " + number(target) + ", targetTMR = " + number(target);
        const bool fine_loop_ran = std::find(all.begin(), all.end(), target_line) != all.end();
        EXPECT_EQ(fine_loop_ran, hot != 0);
    }
    int hot = 1;
};

TEST_F(TableForTheTemperature, IsTheFlashTableBelow51Degrees) {
    for (const int degrees : {-20, 0, 29, 39, 50}) expect_target(degrees, {}, wall_tmr);
}

TEST_F(TableForTheTemperature, IsLoweredBy10From51Degrees) {
    for (const int degrees : {51, 55}) expect_target(degrees, adjusted("half", 10), wall_tmr - 10);
}

TEST_F(TableForTheTemperature, IsLoweredBy20From56Degrees) {
    for (const int degrees : {56, 90}) expect_target(degrees, adjusted("full", 20), wall_tmr - 20);
}

TEST_F(TableForTheTemperature, IsNotLoweredForAUnitCalibratedAtNormalTemperature) {
    hot = 0;
    for (const int degrees : {50, 51, 56}) expect_target(degrees, {}, wall_tmr);
}

TEST_F(TableForTheTemperature, TakesAMissingTemperatureForCold) {
    g_flag_high_temp = 1;
    board.remove(temperature_node);
    lens_at(wall_tmr);
    EXPECT_EQ(run(), 0);
    EXPECT_EQ(events(), ended());
}

struct TableOfTheFocusCurve : TableForTheTemperature {
    // The curve lies 51 above the flash table at 1000 mm (place 2 of both), and 31 elsewhere.
    TableOfTheFocusCurve() {
        g_flag_elepn_temp = 1;
        for (int place = 0; place < 25; ++place) elepnCalidata[place] = listFlash[place] + 31;
        elepnCalidata[2] = listFlash[2] + 51;
    }
};

TEST_F(TableOfTheFocusCurve, IsTheCurveBelow30Degrees) {
    for (const int degrees : {-20, 0, 29}) expect_target(degrees, adjusted("elepn", 0), wall_tmr + 31);
}

TEST_F(TableOfTheFocusCurve, GoesHalfWayToTheFlashTableFrom30Degrees) {
    for (const int degrees : {30, 39}) expect_target(degrees, adjusted("elepn half", -25), wall_tmr + 31 - 25);
}

TEST_F(TableOfTheFocusCurve, IsTheFlashTableFrom40Degrees) {
    expect_target(40, {}, wall_tmr);
    expect_target(50, {}, wall_tmr);
    expect_target(51, adjusted("half", 10), wall_tmr - 10);
    expect_target(56, adjusted("full", 20), wall_tmr - 20);
}

TEST_F(TableOfTheFocusCurve, TakesAMissingTemperatureForCold) {
    board.remove(temperature_node);
    lens_at(wall_tmr + 31);
    EXPECT_EQ(run(), 0);
    EXPECT_EQ(events_after("r_led_temp_read /sys/devices/platform/pwm-fan/r_temp fail!"), ended());
}

TEST_F(TableOfTheFocusCurve, IsNotUsedWithoutItsFlag) {
    g_flag_elepn_temp = 0;
    expect_target(20, {}, wall_tmr);
}

// --- The target place ------------------------------------------------------------------------------------

struct TargetPlace : FocusRun {
    // Where the run sends a hot-calibrated lens that rests at `tmr`: place and position.
    std::pair<std::string, std::string> place_and_position_lines(int mm, int tmr) {
        g_flag_high_temp = 1;
        distance(mm);
        lens_at(tmr);
        board.clear_journal();
        run();
        std::pair<std::string, std::string> lines;
        for (const std::string& event : all_events()) {
            if (event.rfind("curTMRIndex", 0) == 0) lines.first = event;
            if (event.rfind("currentTMR", 0) == 0 && lines.second.empty()) lines.second = event;
        }
        return lines;
    }
    // With the lens at its place already.
    void expect_target(int mm, int place, int tmr) {
        const auto [place_line, position_line] = place_and_position_lines(mm, tmr);
        EXPECT_EQ(place_line, places(place, place, 0)[0]) << mm;
        EXPECT_EQ(position_line, "currentTMR = " + number(tmr) + ", targetTMR = " + number(tmr)) << mm;
    }
};

TEST_F(TargetPlace, IsTheNearestOne) {
    for (const auto& [mm, place] : std::vector<std::pair<int, int>>{
             {3999, 0}, {3000, 0}, {2250, 1}, {1500, 2}, {1250, 3}, {245, 24 - 1}, {243, 24}, {230, 24}}) {
        expect_target(mm, place, position_of(place));
    }
}

TEST_F(TargetPlace, IsTheFartherOneOnATie) {
    expect_target(2625, 0, position_of(0));
    expect_target(1875, 1, position_of(1));
    expect_target(525, 9, position_of(9));
}

TEST_F(TargetPlace, IsExtrapolatedBelow230Millimetres) {
    calibrate(wide_spacing);
    const int nearest = position_of(24, wide_spacing);
    ASSERT_EQ(nearest, 1920);
    expect_target(230, 24, nearest);
    expect_target(229, 24, nearest + 30);
    expect_target(200, 24, nearest + 30);
    expect_target(100, 24, nearest + 43);
}

TEST_F(TargetPlace, ExtrapolatesANegativePositionTowardsZero) {
    for (std::int32_t& entry : listFlash) entry = -400;
    const auto [place_line, position_line] = place_and_position_lines(100, -400);
    // All places look alike, and the first one wins.
    EXPECT_EQ(place_line, places(0, 24, 12)[0]);
    EXPECT_EQ(position_line, "currentTMR = -400, targetTMR = -356");
}

TEST_F(TargetPlace, OfTheLensIsTheFifthWhenNoPlaceIsNear) {
    for (std::int32_t& entry : listFlash) entry = 10000;
    const auto [place_line, position_line] = place_and_position_lines(wall_mm, 0);
    EXPECT_EQ(place_line, places(5, 4, 0)[0]);
    EXPECT_EQ(position_line, "currentTMR = 0, targetTMR = 10000");
}

TEST_F(TargetPlace, OfTheLensIsTheLowerOneOnATie) {
    EXPECT_EQ(place_and_position_lines(wall_mm, position_of(6) + narrow_spacing / 2).first,
              places(6, 4, -1)[0]);
}

// --- Times -----------------------------------------------------------------------------------------------

struct TimesOfTheRun : FocusRun {
    TimesOfTheRun() {
        lens_at(wall_tmr);
        board.on_read(ranging_node, [this] {
            board.advance_us(measurement_us);
            return std::string("1000,1000,1000,1000,0,0,0,0");
        });
    }
    std::int64_t measurement_us = 0;
};

TEST_F(TimesOfTheRun, AreSecondsAndMicrosecondsTruncatedApart) {
    // From ...9.990000 s to ...1.005500 s: 2000 ms less 984 ms.
    board.set_wall_clock_us(1'000'000'009'990'000);
    measurement_us = 1'015'500;
    run();
    EXPECT_EQ(all_events_after(places(wall_place, wall_place, 0)[0]), focus_time(1016) + logged_end());
}

TEST_F(TimesOfTheRun, BelowAMillisecondAreNothing) {
    board.set_wall_clock_us(1'000'000'000'000'000);
    measurement_us = 999;
    run();
    EXPECT_EQ(all_events_after(places(wall_place, wall_place, 0)[0]), focus_time(0) + logged_end());
}

TEST_F(TimesOfTheRun, AreLoggedForWhatIsSwitchedOnAtTheEnd) {
    board.on_read(temperature_node, [] {
        g_osd_keystone = 1;
        g_osd_autofocus = 0;
        return std::string("45");
    });
    EXPECT_EQ(run(), 0);
    EXPECT_EQ(all_events_after(places(wall_place, wall_place, 0)[0]), keystone_time(0) + logged_end());
}

TEST_F(FocusRun, MakesUpItsMindAboutTheSwitchesAtTheStart) {
    g_osd_keystone = 1;
    distance(wall_mm);
    lens_at(wall_tmr);
    tilt(0.0F, 20.0F);
    board.on_sleep([](std::int64_t) { g_osd_autofocus = 0; });
    EXPECT_EQ(run(), 0) << "switched off in the keystone step: for the next run";
}

}  // namespace
