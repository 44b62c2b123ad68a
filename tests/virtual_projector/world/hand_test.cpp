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

TEST_F(HandTest, BringsDistanceAndAllAnglesAlongTheSameSmoothWay) {
    begin(GestureKind::tilt, 1, {1200, 8, 16, 24, 0});
    struct {
        double time_s;
        double part;  // of the way: 6 t^5 - 15 t^4 + 10 t^3
    } const table[] = {{0.25, 0.103515625}, {0.5, 0.5}, {0.75, 0.896484375}};
    for (const auto& [time_s, part] : table) {
        EXPECT_NEAR(pose_at(time_s).distance_mm, 2000 - 800 * part, 1e-9) << time_s;
        EXPECT_NEAR(pose_at(time_s).pitch_deg, 8 * part, 1e-9) << time_s;
        EXPECT_NEAR(pose_at(time_s).yaw_deg, 16 * part, 1e-9) << time_s;
        EXPECT_NEAR(pose_at(time_s).roll_deg, 24 * part, 1e-9) << time_s;
    }
}

// How often an angle comes up through its middle, and how far it goes to either side of it.
struct Swing {
    int times = 0;
    double amplitude_deg = 0;
};

Swing swing_of(const Hand& hand, double Pose::*angle, double middle_deg, double from_s, double until_s) {
    Swing swing;
    bool was_below = false;
    for (double time_s = from_s; time_s < until_s; time_s += 0.01) {
        const double turned_deg = hand.state_at(microseconds(time_s), on_table).pose.*angle - middle_deg;
        if (was_below && turned_deg >= 0) ++swing.times;
        was_below = turned_deg < 0;
        swing.amplitude_deg = std::max(swing.amplitude_deg, std::abs(turned_deg));
    }
    return swing;
}

TEST_F(HandTest, AHeldUnitSwaysByFourDegreesAboutEachAxisAtItsOwnFrequency) {
    begin(GestureKind::pick_up, 0.8);
    struct {
        const char* name;
        double Pose::*angle;
        double middle_deg;
        double hz;
    } const table[] = {{"pitch", &Pose::pitch_deg, 22, 0.7},
                       {"roll", &Pose::roll_deg, 6, 0.55},
                       {"yaw", &Pose::yaw_deg, 0, 0.45}};
    constexpr double from_s = 1;
    constexpr double long_s = 500;
    for (const auto& [name, angle, middle_deg, hz] : table) {
        const Swing sway = swing_of(hand, angle, middle_deg, from_s, from_s + long_s);
        EXPECT_NEAR(sway.times, hz * long_s, 1) << name;
        EXPECT_NEAR(sway.amplitude_deg, 4, 0.01) << name;
    }
}

TEST_F(HandTest, EachShakeHasItsOwnFrequencyAndRollsHalfAsFarAsItPitches) {
    struct {
        GestureKind kind;
        double hz;
        double pitch_deg;
    } const table[] = {{GestureKind::shake, 0.8, 25}, {GestureKind::slow_shake, 0.22, 24}};
    constexpr double long_s = 500;
    for (const auto& [kind, hz, pitch_deg] : table) {
        begin(kind, long_s);
        const Swing pitch = swing_of(hand, &Pose::pitch_deg, 0, 0, long_s);
        EXPECT_NEAR(pitch.times, hz * long_s, 1) << gesture_name(kind);
        EXPECT_NEAR(pitch.amplitude_deg, pitch_deg, 0.05) << gesture_name(kind);
        const Swing roll = swing_of(hand, &Pose::roll_deg, 0, 0, long_s);
        EXPECT_NEAR(roll.times, hz * long_s, 1) << gesture_name(kind);
        EXPECT_NEAR(roll.amplitude_deg, pitch_deg / 2, 0.05) << gesture_name(kind);
    }
}

// What many hands do on average: each trembles in its own way.
Vec3 mean_felt(GestureKind kind, double duration_s, double time_s) {
    constexpr int hands = 400;
    Vec3 sum;
    for (int seed = 0; seed < hands; ++seed) {
        Hand hand{static_cast<std::uint64_t>(seed)};
        hand.begin(0, on_table, {kind, microseconds(duration_s), on_table});
        sum = sum + (1.0 / hands) * hand.state_at(microseconds(time_s), on_table).acceleration_g;
    }
    return sum;
}

TEST_F(HandTest, AShakeJoltsSidewaysThriceInEachSwing) {
    struct {
        GestureKind kind;
        double swing_s;
        double jolt_g;
    } const table[] = {{GestureKind::shake, 1 / 0.8, 0.3}, {GestureKind::slow_shake, 1 / 0.22, 0.02}};
    constexpr int swings = 100;
    for (const auto& [kind, swing_s, jolt_g] : table) {
        const double middle_s = swing_s * swings / 2;  // where the shaking is largest
        for (const int twelfths : {0, 1, 2, 3, 5}) {
            const double jolt = mean_felt(kind, swing_s * swings, middle_s + twelfths * swing_s / 12).x;
            const double expected = twelfths == 1 || twelfths == 5 ? 1 : twelfths == 3 ? -1 : 0;
            EXPECT_NEAR(jolt, expected * jolt_g, 0.005) << gesture_name(kind) << " " << twelfths;
        }
    }
}

TEST_F(HandTest, TremblesInEachDirectionByItself) {
    begin(GestureKind::pick_up, 0.8);
    constexpr int samples = 4000;
    Vec3 squares;
    Vec3 products;
    for (int i = 0; i < samples; ++i) {
        const Vec3 a = felt_at(1 + 0.01 * i);
        squares = squares + Vec3{a.x * a.x, a.y * a.y, a.z * a.z};
        products = products + Vec3{a.x * a.y, a.y * a.z, a.z * a.x};
    }
    constexpr double variance = 0.015 * 0.015;
    for (const double sum : {squares.x, squares.y, squares.z}) {
        EXPECT_NEAR(sum / samples / variance, 1, 0.1);
    }
    for (const double sum : {products.x, products.y, products.z}) {
        EXPECT_NEAR(sum / samples / variance, 0, 0.1);
    }
}

TEST_F(HandTest, HoldsAUnitLessStillThanATable) {
    begin(GestureKind::pick_up, 0.8);
    EXPECT_GT(largest_felt(1, 2), 0.01);
    EXPECT_LT(largest_felt(1, 2), 0.12);
    const auto [min, max] =
        std::minmax({pose_at(1.0).pitch_deg, pose_at(1.4).pitch_deg, pose_at(1.8).pitch_deg});
    EXPECT_GT(max - min, 0.2);
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

TEST_F(HandTest, ABumpIsAKnockOfItsStrengthAndLeavesTheUnitInItsPlace) {
    hand.begin(0, on_table, {GestureKind::bump, microseconds(0.06), elsewhere, 0.04});
    struct {
        double time_s;
        double part;
    } const table[] = {{0.005, 0.5}, {0.015, 1}, {0.03, 0}, {0.045, -1}, {0.06, 0}, {1, 0}};
    for (const auto& [time_s, part] : table) {
        EXPECT_NEAR(felt_at(time_s).x, 0.04 * part, 1e-9) << time_s;
        EXPECT_EQ(felt_at(time_s).z, 0) << time_s;
        EXPECT_EQ(pose_at(time_s).pitch_deg, on_table.pitch_deg) << time_s;
        EXPECT_EQ(pose_at(time_s).distance_mm, on_table.distance_mm) << time_s;
    }
    EXPECT_FALSE(hand.holds());
}

TEST_F(HandTest, ASlideGoesEvenlyAndIsNotFelt) {
    begin(GestureKind::slide, 20, {1200, 4, 10, 0, 0});
    for (const double time_s : {2.0, 5.0, 15.0}) {
        const double part = time_s / 20;
        EXPECT_NEAR(pose_at(time_s).distance_mm, 2000 - 800 * part, 1e-9) << time_s;
        EXPECT_NEAR(pose_at(time_s).pitch_deg, 4 * part, 1e-9) << time_s;
        EXPECT_NEAR(pose_at(time_s).yaw_deg, 10 * part, 1e-9) << time_s;
    }
    EXPECT_EQ(pose_at(20).distance_mm, 1200);
    EXPECT_EQ(largest_felt(0, 21), 0);
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
