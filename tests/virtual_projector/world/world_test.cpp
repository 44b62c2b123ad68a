#include "virtual_projector/world/world.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "virtual_projector/world/vibration.h"

namespace vp {
namespace {

struct WorldTest : ::testing::Test {
    World world{1};

    void set(std::string_view name, double value) { ASSERT_EQ(world.set(name, value), ""); }
};

TEST_F(WorldTest, BeginsWithTheStandardUnitOutOfFocus) {
    EXPECT_EQ(world.get("pose.distance_mm"), 1500);
    EXPECT_LT(world.truth().sharpness, 0.5);
    EXPECT_GT(world.truth().lens_error_tmr, 50);
}

TEST_F(WorldTest, NeverGoesBackInTime) {
    world.advance_to(1000);
    world.advance_to(500);
    EXPECT_EQ(world.now(), 1000);
}

TEST_F(WorldTest, ALookInTheMiddleOfAMoveFindsTheLensWhereItIsThen) {
    ASSERT_TRUE(world.move_lens({Side::right, 10, 1, false}));
    world.advance_to(20000);
    EXPECT_EQ(world.settings().lens.position_steps, 18 + 5);
    world.advance_to(1000000);
    EXPECT_EQ(world.settings().lens.position_steps, 28);
}

TEST_F(WorldTest, RefusesParametersLikeTheTable) {
    EXPECT_NE(world.set("pose.pitch_deg", 200), "");
    EXPECT_NE(world.set("pose.colour", 1), "");
    EXPECT_EQ(world.get("pose.colour"), 0);
}

TEST_F(WorldTest, TheTmrReadingFollowsTheLensWithALittleNoise) {
    int least = 100;
    int most = -100;
    for (int ms = 0; ms < 500; ++ms) {
        world.advance_to(ms * 1000);
        least = std::min(least, world.tmr_reading());
        most = std::max(most, world.tmr_reading());
    }
    EXPECT_GE(least, 6 - 4);
    EXPECT_LE(most, 6 + 4);
    EXPECT_LT(least, most);
    set("lens.position_steps", 20);
    EXPECT_NEAR(world.tmr_reading(), 6 + 36, 4);
}

TEST_F(WorldTest, TheTmrReadingFollowsItsPolarity) {
    set("tmr.noise_sigma", 0);
    set("tmr.polarity", -1);
    set("lens.position_steps", 20);
    EXPECT_EQ(world.tmr_reading(), 6 - 36);
    set("tmr.polarity", 0);
    EXPECT_EQ(world.tmr_reading(), 6);
}

TEST_F(WorldTest, TheTmrReadingStaysWithinItsRangeUnlessItsBusIsBroken) {
    set("tmr.slope_per_step", 1000);
    set("lens.position_steps", 42);
    EXPECT_EQ(world.tmr_reading(), 2000);
    set("lens.position_steps", 0);
    EXPECT_EQ(world.tmr_reading(), -2000);
    set("tmr.bus_error", 1);
    EXPECT_EQ(world.tmr_reading(), 32767);
}

TEST_F(WorldTest, TheTmrReadingIsTheSameForTheSameSeedAndTime) {
    World twin(1);
    World other(2);
    int different = 0;
    for (int ms = 0; ms < 100; ++ms) {
        for (World* w : {&world, &twin, &other}) w->advance_to(ms * 1000);
        EXPECT_EQ(world.tmr_reading(), twin.tmr_reading());
        different += world.tmr_reading() != other.tmr_reading() ? 1 : 0;
    }
    EXPECT_GT(different, 10);
}

TEST_F(WorldTest, ReadingOneSensorDoesNotChangeAnother) {
    World quiet(1);
    for (int ms = 0; ms < 100; ms += 10) {
        world.advance_to(ms * 1000);
        world.gravity_now();
        tof_zones(world.tof_scene(), 1, {}, ms);
    }
    world.advance_to(200000);
    quiet.advance_to(200000);
    EXPECT_EQ(world.tmr_reading(), quiet.tmr_reading());
    EXPECT_EQ(world.gravity_now(), quiet.gravity_now());
}

TEST_F(WorldTest, ADrawnUnitTakesItsSensorsErrorsIntoEveryRun) {
    World again(2);
    world.set_unit_seed(5);
    again.set_unit_seed(5);
    EXPECT_EQ(world.tof_scene().unit_seed, 5u);
    EXPECT_EQ(true_pixel_offsets(world.settings().tof, world.unit_seed()),
              true_pixel_offsets(again.settings().tof, again.unit_seed()));
    EXPECT_EQ(World(2).unit_seed(), World(1).unit_seed());
}

TEST_F(WorldTest, SomebodyWalksThroughTheRoomAsTimePasses) {
    set("room.person1_width_mm", 400);
    set("room.person1_side_mm", -1000);
    set("room.person1_mm_per_s", 500);
    set("room.person1_start_s", 1);
    const auto seen_at = [&](double time_s) {
        world.advance_to(microseconds(time_s));
        return true_axis_distance_mm(world.tof_scene());
    };
    EXPECT_NEAR(seen_at(1), 1500, 1e-9);
    EXPECT_NEAR(seen_at(3), 800, 1e-9);
    EXPECT_NEAR(seen_at(5), 1500, 1e-9);
}

TEST_F(WorldTest, ALedTemperatureThatIsSetStays) {
    set("led.temperature_c", 56);
    world.advance_to(microseconds(3600));
    EXPECT_EQ(world.led_reading_c(), 56);
}

TEST_F(WorldTest, TheLedWarmsUpTowardsTheRoomAndItsRise) {
    set("led.temperature_c", 25);
    set("led.rise_c", 35);
    set("led.time_constant_s", 100);
    world.advance_to(microseconds(100));
    EXPECT_NEAR(world.truth().led_c, 60 - 35 * std::exp(-1), 1e-6);
    set("heat.ambient_c", 35);
    EXPECT_NEAR(world.truth().led_c, 60 - 35 * std::exp(-1), 1e-6);
    world.advance_to(microseconds(5000));
    EXPECT_EQ(world.led_reading_c(), 70);
}

TEST_F(WorldTest, TheWarmingDoesNotDependOnHowOftenItIsLookedAt) {
    World often(1);
    for (World* w : {&world, &often}) {
        w->set("led.temperature_c", 25);
        w->set("led.rise_c", 35);
    }
    for (int s = 1; s <= 300; ++s) often.advance_to(microseconds(s));
    world.advance_to(microseconds(300));
    EXPECT_EQ(often.truth().led_c, world.truth().led_c);
}

TEST_F(WorldTest, AGestureTakesTheUnitToItsPlace) {
    world.begin({GestureKind::tilt, microseconds(1), {1500, 12, 0, 0, 0}});
    EXPECT_TRUE(world.hand_is_moving());
    world.advance_to(microseconds(2));
    EXPECT_FALSE(world.hand_is_moving());
    EXPECT_EQ(world.get("pose.pitch_deg"), 12);
    EXPECT_NEAR(world.truth().wall.tilt_deg, 12, 1e-9);
}

TEST_F(WorldTest, TheHandTipsTheUnitButNotThePoseThatIsMeant) {
    world.begin({GestureKind::pick_up, microseconds(1), {}});
    world.advance_to(microseconds(2));
    EXPECT_EQ(world.get("pose.pitch_deg"), 0);
    EXPECT_GT(world.truth().pose.pitch_deg, 15);
    EXPECT_GT(world.truth().wall.tilt_deg, 15);
    EXPECT_LT(world.gravity_now()[1], -200);
}

TEST_F(WorldTest, APoseThatIsSetIsTakenOutOfTheHand) {
    world.begin({GestureKind::pick_up, microseconds(1), {}});
    world.advance_to(microseconds(0.5));
    set("pose.distance_mm", 900);
    world.advance_to(microseconds(5));
    EXPECT_EQ(world.get("pose.distance_mm"), 900);
    set("gravity.noise_sigma", 0);
    EXPECT_NEAR(world.gravity_now()[0], 12 + 1000 * 0, 60);
    const auto still = world.gravity_now();
    world.advance_to(microseconds(6));
    EXPECT_EQ(world.gravity_now(), still);
}

TEST_F(WorldTest, KeysAreKeptWithTheirTime) {
    world.advance_to(1234);
    world.key(28, 1);
    ASSERT_EQ(world.keys().size(), 1u);
    EXPECT_EQ(world.keys()[0].time, 1234);
    EXPECT_EQ(world.keys()[0].code, 28);
    EXPECT_EQ(world.keys()[0].value, 1);
}

TEST_F(WorldTest, TheTruthKnowsFocusAndPicture) {
    set("lens.position_steps", 14);
    set("pose.pitch_deg", 12);
    const Truth truth = world.truth();
    EXPECT_NEAR(truth.lens_tmr, 18 * (14 - 18) + 6, 1e-9);
    EXPECT_NEAR(truth.lens_error_tmr, truth.lens_tmr - truth.best_focus_tmr, 1e-12);
    EXPECT_NEAR(truth.picture.worst_side_deg(), 5.448, 0.001);
    EXPECT_GE(truth.sharpness, 0.98);
    EXPECT_EQ(truth.hdmi_turn_deg, 0);
}

// Tilted up by p the upper rays (12 degrees above the axis) are longer than the lower ones by the closed form
// of a plane: 1 / (1 - tan 12 tan p) of the axis.
TEST_F(WorldTest, TheTruthKnowsWhatTheToFSensorShouldSay) {
    ASSERT_EQ(world.set("pose.pitch_deg", 10), "");
    const double t = std::tan(radians(12)) * std::tan(radians(10));
    Truth truth = world.truth();
    EXPECT_NEAR(truth.axis_mm, 1500, 1e-9);
    EXPECT_NEAR(truth.zones_mm[0], 1500 / (1 - t), 1e-6);
    EXPECT_NEAR(truth.zones_mm[1], 1500 / (1 + t), 1e-6);
    EXPECT_NEAR(truth.zones_mm[2], truth.zones_mm[0], 1e-9);
    ASSERT_EQ(world.set("tof.blocked_tl_mm", 700), "");
    EXPECT_NEAR(world.truth().zones_mm[2], 700, 1e-9);
}

TEST_F(WorldTest, TheBarrelsTemperatureIsTakenInWhateverOrderItIsSet) {
    ASSERT_EQ(world.set("lens.barrel_c", 20), "");
    ASSERT_EQ(world.set("lens.barrel_time_constant_s", 600), "");
    ASSERT_EQ(world.set("led.temperature_c", 50), "");
    EXPECT_EQ(world.get("lens.barrel_c"), 20);
}

// In eight zones the outer columns look 18 degrees to the sides.
TEST_F(WorldTest, TheTruthIsThatOfTheZonesWhichTheToFSensorHas) {
    ASSERT_EQ(world.set("pose.yaw_deg", 10), "");
    for (const auto& [mode, side_deg] : {std::pair{0, 12.0}, {1, 18.0}, {2, 12.0}}) {
        world.set_tof_point_mode(mode);
        const double t = std::tan(radians(side_deg)) * std::tan(radians(10));
        const Truth truth = world.truth();
        EXPECT_NEAR(truth.zones_mm[0], 1500 / (1 - t), 1e-6) << mode;
        EXPECT_NEAR(truth.zones_mm[1], 1500 / (1 - t), 1e-6) << mode;
        EXPECT_NEAR(truth.zones_mm[2], 1500 / (1 + t), 1e-6) << mode;
        EXPECT_NEAR(truth.zones_mm[3], 1500 / (1 + t), 1e-6) << mode;
    }
}

TEST_F(WorldTest, TheTruthKnowsHowMuchLightIsUsed) {
    world.display().top_width = 1148;
    EXPECT_NEAR(world.truth().light_used, (1148 + 1280) / 2560.0, 1e-12);
}

TEST_F(WorldTest, WithoutATimeConstantTheBarrelIsTheLed) {
    set("led.temperature_c", 25);
    set("led.rise_c", 35);
    for (const double time_s : {10.0, 300.0, 900.0}) {
        world.advance_to(microseconds(time_s));
        EXPECT_EQ(world.get("lens.barrel_c"), world.get("led.temperature_c"));
    }
}

TEST_F(WorldTest, TheBarrelWarmsAfterTheLedAndTheFocusDriftsWithIt) {
    set("led.temperature_c", 25);
    set("led.rise_c", 35);
    set("lens.barrel_time_constant_s", 900);
    set("lens.hot_drift_tmr", 0);
    set("lens.cold_drift_tmr", 0);
    const double cold_focus = world.truth().best_focus_tmr;
    set("lens.barrel_drift_tmr_per_c", -1);
    set("lens.barrel_reference_c", 25);
    world.advance_to(microseconds(600));
    const double barrel_c = world.get("lens.barrel_c");
    EXPECT_NEAR(barrel_c, barrel_after({25, 60, 240, 25, 900}, 600), 1e-9);
    EXPECT_LT(barrel_c, world.get("led.temperature_c") - 5);
    EXPECT_NEAR(world.truth().best_focus_tmr - cold_focus, -(barrel_c - 25), 1e-9);
}

TEST_F(WorldTest, AnLedThatIsSetDuringTheRunLeavesTheBarrelBehind) {
    set("lens.barrel_time_constant_s", 600);
    world.advance_to(microseconds(1));
    set("led.temperature_c", 65);
    EXPECT_EQ(world.get("lens.barrel_c"), 45);
    world.advance_to(microseconds(601));
    EXPECT_NEAR(world.get("lens.barrel_c"), 65 - 20 * std::exp(-1), 1e-9);
}

TEST_F(WorldTest, TheBarrelsWarmingDoesNotDependOnHowOftenItIsLookedAt) {
    World often(1);
    for (World* w : {&world, &often}) {
        w->set("led.temperature_c", 25);
        w->set("lens.barrel_time_constant_s", 400);
        w->set("led.rise_c", 35);
    }
    for (int s = 1; s <= 300; ++s) often.advance_to(microseconds(s));
    world.advance_to(microseconds(300));
    EXPECT_EQ(often.get("lens.barrel_c"), world.get("lens.barrel_c"));
}

TEST_F(WorldTest, TheTmrReadingLagsByTheSideTheLensCameFrom) {
    set("tmr.noise_sigma", 0);
    set("tmr.hysteresis", 8);
    set("lens.left_backlash_steps", 0);
    set("lens.right_backlash_steps", 0);
    EXPECT_EQ(world.tmr_reading(), 6 - 4);  // the backlash stands to the right
    ASSERT_TRUE(world.move_lens({Side::right, 1, 1, false}));
    ASSERT_TRUE(world.move_lens({Side::left, 1, 1, false}));
    world.advance_to(8000);
    EXPECT_EQ(world.settings().lens.position_steps, 18);
    EXPECT_EQ(world.tmr_reading(), 6 + 4);
}

TEST_F(WorldTest, ATableSinksNoFartherThanUpright) {
    set("pose.pitch_deg", 80);
    set("hand.table_sink_deg_per_h", 60);
    world.advance_to(3600 * microseconds_per_second);
    EXPECT_EQ(world.get("pose.pitch_deg"), 90);
    EXPECT_EQ(world.truth().pose.pitch_deg, 90);
}

TEST_F(WorldTest, ATableSinksEvenlyWhileNobodyHoldsTheUnit) {
    set("hand.table_sink_deg_per_h", 2);
    set("pose.pitch_deg", 3);
    world.advance_to(microseconds(1800));
    EXPECT_NEAR(world.truth().pose.pitch_deg, 4, 1e-12);
    EXPECT_NEAR(world.get("pose.pitch_deg"), 4, 1e-12);
    world.begin({GestureKind::bump, microseconds(0.06), {}});
    world.advance_to(microseconds(3600) + 60000);
    EXPECT_NEAR(world.truth().pose.pitch_deg, 5, 1e-12);
    set("hand.table_sink_deg_per_h", 0);
    world.advance_to(microseconds(7200));
    EXPECT_NEAR(world.truth().pose.pitch_deg, 5, 1e-12);
    set("hand.table_sink_deg_per_h", 2);
    world.begin({GestureKind::pick_up, microseconds(1), {}});
    world.advance_to(microseconds(9000));
    EXPECT_NEAR(world.get("pose.pitch_deg"), 5, 1e-12);
    set("pose.pitch_deg", 0);
    world.advance_to(microseconds(9000 + 900));
    EXPECT_NEAR(world.truth().pose.pitch_deg, 0.5, 1e-12);
}

TEST_F(WorldTest, SinkingDoesNotDependOnHowOftenItIsLookedAt) {
    World often(1);
    for (World* w : {&world, &often}) w->set("hand.table_sink_deg_per_h", 0.7);
    for (int s = 1; s <= 1000; ++s) often.advance_to(microseconds(s));
    world.advance_to(microseconds(1000));
    EXPECT_EQ(often.truth().pose.pitch_deg, world.truth().pose.pitch_deg);
}

TEST_F(WorldTest, KnocksByChanceAreFeltAndPass) {
    set("gravity.noise_sigma", 0);
    const auto still = world.gravity_now();
    set("hand.knocks_per_h", 3600);
    set("hand.knock_g", 0.1);
    world.advance_to(microseconds(1) + knock_duration / 4);
    EXPECT_NEAR(world.gravity_now()[0], still[0] - 100, 1e-6);
    world.advance_to(microseconds(1) + knock_duration);
    EXPECT_EQ(world.gravity_now(), still);
}

TEST_F(WorldTest, TheGravitySensorIsAsWarmAsTheBarrel) {
    set("gravity.noise_sigma", 0);
    const auto before = world.gravity_now();
    set("gravity.bias_drift_mg_per_c", 1);
    EXPECT_NEAR(world.gravity_now()[1], before[1] + 20, 1e-9);
}

TEST_F(WorldTest, CountsItsWearForTheRunAndWithWhatWasBefore) {
    set("wear.reversals", 1000);
    set("wear.heat_cycles", 7);
    set("wear.travel_mm", 2.5);
    set("led.temperature_c", 25);
    set("led.rise_c", 35);
    ASSERT_TRUE(world.move_lens({Side::right, 2, 1, false}));
    ASSERT_TRUE(world.move_lens({Side::left, 2, 1, false}));
    world.count_record_write();
    world.count_width_write();
    world.count_width_write();
    world.advance_to(microseconds(600));
    const WearAccount wear = world.wear();
    EXPECT_EQ(wear.run.reversals, 1);
    EXPECT_EQ(wear.total.reversals, 1001);
    EXPECT_EQ(wear.run.heat_cycles, 1);
    EXPECT_EQ(wear.total.heat_cycles, 8);
    EXPECT_NEAR(wear.run.travel_mm, 0.01, 1e-12);
    EXPECT_NEAR(wear.total.travel_mm, 2.51, 1e-12);
    EXPECT_EQ(wear.run.full_steps, 4);
    EXPECT_EQ(wear.run.orders, 2);
    EXPECT_EQ(wear.run.record_writes, 1);
    EXPECT_EQ(wear.run.width_writes, 2);
}

TEST_F(WorldTest, AUnitThatIsColdAtTheStartHasNotCooledDown) {
    set("led.temperature_c", 20);
    world.advance_to(microseconds(1));
    set("led.temperature_c", 29);
    EXPECT_EQ(world.wear().run.heat_cycles, 0);
    set("led.temperature_c", 31);
    EXPECT_EQ(world.wear().run.heat_cycles, 1);
}

TEST_F(WorldTest, ReversalsBeforeTheRunHaveWidenedTheBacklash) {
    set("lens.backlash_growth_steps", 1);
    set("wear.reversals", 2000);
    ASSERT_TRUE(world.move_lens({Side::left, 6, 1, false}));  // 3 and 2 steps of backlash
    world.advance_to(microseconds(1));
    EXPECT_NEAR(world.settings().lens.position_steps, 17, 1e-9);
}

}  // namespace
}  // namespace vp
