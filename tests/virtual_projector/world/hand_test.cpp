#include "virtual_projector/world/hand.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace vp {
namespace {

constexpr Pose on_table{2000, 0, 0, 0, 0};
constexpr Pose elsewhere{1200, 8, 0, 0, 0};

struct HandTest : ::testing::Test {
    Hand hand{1};

    void begin(GestureKind kind, double duration_s, const Pose& to = on_table) {
        hand.begin(0, on_table, {kind, microseconds(duration_s), to});
    }
    Pose pose_at(double time_s) const { return hand.state_at(microseconds(time_s), on_table).pose; }
    Vec3 felt_at(double time_s) const { return hand.state_at(microseconds(time_s), on_table).acceleration_g; }
    double largest_felt(double from_s, double until_s) const {
        double largest = 0;
        for (double t = from_s; t < until_s; t += 0.005) {
            const Vec3 a = felt_at(t);
            largest = std::max(largest, std::sqrt(dot(a, a)));
        }
        return largest;
    }
};

TEST_F(HandTest, AUnitThatNobodyTouchesStandsStill) {
    EXPECT_EQ(pose_at(5).distance_mm, 2000);
    EXPECT_EQ(largest_felt(0, 1), 0);
    EXPECT_FALSE(hand.is_moving(0));
}

TEST_F(HandTest, SettingDownEndsExactlyInItsPlaceAndLetsGo) {
    begin(GestureKind::set_down, 1.2, elsewhere);
    EXPECT_TRUE(hand.is_moving(microseconds(1.1)));
    EXPECT_FALSE(hand.is_moving(microseconds(1.2)));
    EXPECT_EQ(pose_at(1.2).distance_mm, 1200);
    EXPECT_EQ(pose_at(9).pitch_deg, 8);
    EXPECT_EQ(largest_felt(1.2, 3), 0);
}

TEST_F(HandTest, MovesSmoothlyFromTheOneToTheOther) {
    begin(GestureKind::tilt, 1, elsewhere);
    EXPECT_EQ(pose_at(0).pitch_deg, 0);
    EXPECT_NEAR(pose_at(0.5).pitch_deg, 4, 1e-9);
    double last = 0;
    for (double t = 0; t <= 1; t += 0.02) {
        EXPECT_GE(pose_at(t).pitch_deg, last);
        EXPECT_LT(pose_at(t).pitch_deg - last, 0.4);
        last = pose_at(t).pitch_deg;
    }
}

TEST_F(HandTest, HoldsAUnitLessStillThanATable) {
    begin(GestureKind::pick_up, 0.8);
    EXPECT_GT(largest_felt(1, 2), 0.01);
    EXPECT_LT(largest_felt(1, 2), 0.12);
    const auto [least, most] =
        std::minmax({pose_at(1.0).pitch_deg, pose_at(1.4).pitch_deg, pose_at(1.8).pitch_deg});
    EXPECT_GT(most - least, 0.2);
}

TEST_F(HandTest, AHeldUnitIsTippedAndStraightAgainWhenItIsSetDown) {
    begin(GestureKind::pick_up, 0.8);
    const HandState held = hand.state_at(microseconds(1), on_table);
    EXPECT_EQ(held.meant.pitch_deg, 0);
    EXPECT_NEAR(held.pose.pitch_deg, 22, 4);
    EXPECT_NEAR(held.pose.roll_deg, 6, 4);
    hand.begin(microseconds(1), held.meant, {GestureKind::set_down, microseconds(1), elsewhere});
    EXPECT_NEAR(pose_at(1.0001).pitch_deg, held.pose.pitch_deg, 0.1);
    EXPECT_EQ(pose_at(2).pitch_deg, 8);
    EXPECT_EQ(pose_at(2).roll_deg, 0);
}

TEST_F(HandTest, OneGestureGoesOnWhereTheOtherWas) {
    begin(GestureKind::pick_up, 0.8);
    for (const GestureKind kind :
         {GestureKind::carry, GestureKind::shake, GestureKind::turn_over, GestureKind::hang}) {
        const Microseconds at = microseconds(0.4) + hand.end_time();
        const HandState before = hand.state_at(at, on_table);
        hand.begin(at, before.meant, {kind, microseconds(1), elsewhere});
        const HandState after = hand.state_at(at + 100, on_table);
        EXPECT_NEAR(after.pose.pitch_deg, before.pose.pitch_deg, 0.1) << gesture_name(kind);
        EXPECT_NEAR(after.pose.roll_deg, before.pose.roll_deg, 0.1) << gesture_name(kind);
        EXPECT_NEAR(after.pose.distance_mm, before.pose.distance_mm, 0.1) << gesture_name(kind);
    }
}

TEST_F(HandTest, LiftingIsFeltUpwardsFirstThenDownwards) {
    begin(GestureKind::pick_up, 0.8);
    EXPECT_GT(felt_at(0.2).z, 0.1);
    EXPECT_LT(felt_at(0.6).z, -0.1);
}

TEST_F(HandTest, CarryingTowardsTheWallIsFeltForwardsFirst) {
    begin(GestureKind::carry, 2, elsewhere);
    EXPECT_GT(felt_at(0.4).y, 0.05);
    EXPECT_LT(felt_at(1.6).y, -0.05);
}

TEST_F(HandTest, SettingDownEndsWithABump) {
    begin(GestureKind::set_down, 1.2, on_table);
    EXPECT_GT(felt_at(1.17).z, 0.15);
}

// Averaged over a fifth of a second, a sudden shake turns the unit by more than 13 degrees from one average to
// the next, a slow one by 3 to 13 while it is more than 10 degrees from rest.
double largest_block_step(const HandTest& test, double duration_s) {
    double last = 0;
    double largest = 0;
    for (double block = 0; block < duration_s; block += 0.2) {
        double sum = 0;
        for (int i = 0; i < 10; ++i)
            sum += test.hand.state_at(microseconds(block + 0.02 * i), on_table).pose.pitch_deg / 10;
        largest = std::max(largest, std::abs(sum - last));
        last = sum;
    }
    return largest;
}

TEST_F(HandTest, AShakeIsSudden) {
    begin(GestureKind::shake, 2.5);
    EXPECT_GE(largest_block_step(*this, 2.5), 14);
    EXPECT_EQ(pose_at(2.5).pitch_deg, 0);
}

TEST_F(HandTest, ASlowShakeIsNot) {
    begin(GestureKind::slow_shake, 9);
    EXPECT_GE(largest_block_step(*this, 9), 4);
    EXPECT_LT(largest_block_step(*this, 9), 12);
    EXPECT_EQ(pose_at(9).pitch_deg, 0);
}

TEST_F(HandTest, TurningOverTakesTheShorterWay) {
    begin(GestureKind::turn_over, 3, {2000, 0, 0, 0, 3});
    EXPECT_NEAR(pose_at(1.5).roll_deg, -45, 1e-9);
    EXPECT_EQ(pose_at(3).mounting, 3);
    EXPECT_EQ(pose_at(3).roll_deg, 0);
}

TEST_F(HandTest, TurningUpsideDownGoesOverTheBack) {
    begin(GestureKind::turn_over, 3, {2000, 0, 0, 0, 2});
    EXPECT_NEAR(pose_at(1.5).pitch_deg, 90, 1e-9);
    for (double t = 0; t < 3; t += 0.05) {
        const Pose pose = pose_at(t);
        if (pose.pitch_deg < 89.9) {
            EXPECT_NEAR(std::remainder(pose.roll_deg, 180), 0, 0.1) << t;
        }
    }
    EXPECT_EQ(pose_at(3).mounting, 2);
    EXPECT_EQ(pose_at(3).pitch_deg, 0);
    EXPECT_EQ(pose_at(3).roll_deg, 0);
}

TEST_F(HandTest, HangingEndsOnTheCeilingOutOfTheHand) {
    begin(GestureKind::hang, 6, {2500, -10, 0, 0, 2});
    EXPECT_EQ(pose_at(6).mounting, 2);
    EXPECT_EQ(largest_felt(6, 7), 0);
}

TEST_F(HandTest, ATurnInTheHandStaysInTheHand) {
    begin(GestureKind::pick_up, 0.8);
    hand.begin(microseconds(1), on_table, {GestureKind::turn_over, microseconds(1), {2000, 0, 0, 0, 2}});
    EXPECT_GT(largest_felt(3, 4), 0.01);
}

TEST_F(HandTest, IsTheSameForTheSameSeed) {
    begin(GestureKind::pick_up, 0.8);
    Hand twin{1};
    twin.begin(0, on_table, {GestureKind::pick_up, microseconds(0.8), on_table});
    EXPECT_EQ(felt_at(0.5).x, twin.state_at(microseconds(0.5), on_table).acceleration_g.x);
    Hand other{2};
    other.begin(0, on_table, {GestureKind::pick_up, microseconds(0.8), on_table});
    EXPECT_NE(felt_at(0.5).x, other.state_at(microseconds(0.5), on_table).acceleration_g.x);
}

TEST(Gestures, AreFoundByName) {
    for (const std::string_view name : gesture_names()) {
        const std::optional<GestureKind> kind = gesture_named(name);
        ASSERT_TRUE(kind.has_value());
        EXPECT_EQ(gesture_name(*kind), name);
        EXPECT_GT(usual_duration(*kind), 0);
    }
    EXPECT_FALSE(gesture_named("drop").has_value());
}

}  // namespace
}  // namespace vp
