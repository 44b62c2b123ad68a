#include "focusctrl/autofocus/focus_plan.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

namespace {

using ovra::CurveNumbers;
using ovra::FineAction;
using ovra::PlaceTable;
using ovra::Side;
using ovra::TableChoice;
using Kind = FineAction::Kind;
using Table = TableChoice::Table;
using Grade = TableChoice::Grade;

constexpr std::int32_t lowest = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t highest = std::numeric_limits<std::int32_t>::max();

PlaceTable filled(std::int32_t value) {
    PlaceTable table;
    table.fill(value);
    return table;
}

int place_of_distance(std::int32_t distance_mm) {
    return ovra::nearest_place(ovra::distance_of_places(), distance_mm);
}

// --- Tables ----------------------------------------------------------------------------------------------

TEST(FocusPlaces, StandAtTheCalibratedDistancesAndHalfWayBetween) {
    const PlaceTable expected = {3000, 2250, 1500, 1250, 1000, 875, 750, 675, 600, 550, 500, 465, 430,
                                 402,  375,  354,  333,  316,  300, 287, 275, 265, 255, 247, 240};
    EXPECT_EQ(ovra::distance_of_places(), expected);
}

TEST(FocusPlaces, TruncateTheirMidPointsTowardsZero) {
    ovra::CalibratedPoints points{};
    points[0] = -3;
    points[2] = 5;
    points[3] = -2;
    const PlaceTable places = ovra::expand_to_places(points);
    EXPECT_EQ(places[0], -3);
    EXPECT_EQ(places[1], -1);
    EXPECT_EQ(places[3], 2);
    EXPECT_EQ(places[5], 1);
    EXPECT_EQ(places[7], -1);
}

CurveNumbers curve_with_point(int point, std::int32_t number) {
    CurveNumbers numbers{};
    numbers[static_cast<std::size_t>(ovra::curve_numbers - 1 - point)] = number;
    return numbers;
}

TEST(FocusCurve, IsTheLastThirteenNumbersFromBackToFront) {
    CurveNumbers numbers{};
    for (int i = 0; i < ovra::curve_numbers; ++i) numbers[static_cast<std::size_t>(i)] = 100 * (i + 1);
    const PlaceTable expected = {2000, 1950, 1900, 1850, 1800, 1750, 1700, 1650, 1600, 1550, 1500, 1450, 1400,
                                 1350, 1300, 1250, 1200, 1150, 1100, 1050, 1000, 950,  900,  850,  800};
    EXPECT_EQ(ovra::curve_of_places(numbers, false), expected);
}

TEST(FocusCurve, TakesNumbersFrom10001OnAsNegativeOnes) {
    EXPECT_EQ(ovra::curve_of_places(curve_with_point(0, 65535), false)[0], -1);
    EXPECT_EQ(ovra::curve_of_places(curve_with_point(0, 10000), false)[0], 10000);
    EXPECT_EQ(ovra::curve_of_places(curve_with_point(0, 10001), false)[0], -55535);
    EXPECT_EQ(ovra::curve_of_places(curve_with_point(0, -5), false)[0], -5);
}

TEST(FocusCurve, SignsItsPointsBeforeItTakesTheirMean) {
    EXPECT_EQ(ovra::curve_of_places(curve_with_point(1, 65533), false)[1], -1);
    EXPECT_EQ(ovra::curve_of_places(curve_with_point(1, 65533), true)[1], 1);
}

TEST(FocusCurve, ChangesItsSignWhenNegated) {
    const PlaceTable curve = ovra::curve_of_places(curve_with_point(12, 300), true);
    EXPECT_EQ(curve[24], -300);
    EXPECT_EQ(curve[23], -150);
    EXPECT_EQ(curve[22], 0);
}

TEST(FocusCurve, BearsAnyNumber) {
    EXPECT_EQ(ovra::curve_of_places(curve_with_point(0, lowest), true)[0], lowest);
    EXPECT_EQ(ovra::curve_of_places(curve_with_point(0, highest), false)[0], highest - 65536);
}

// --- Distance --------------------------------------------------------------------------------------------

std::int32_t average(const std::vector<std::int32_t>& zones) {
    return ovra::average_distance(zones.data(), static_cast<int>(zones.size()));
}

TEST(AverageDistance, IsTheTruncatedMeanOfTheZonesInRange) {
    EXPECT_EQ(average({900, 4000, 1100, 3999}), 1999);
    EXPECT_EQ(average({1, 1, 1, 2}), 1);
    EXPECT_EQ(average({0, 0, 0, 0}), 0);
}

TEST(AverageDistance, IsMinusOneWhenNoZoneIsInRange) {
    EXPECT_EQ(average({5000, 5000, 5000, 5000}), -1);
    EXPECT_EQ(average({4000, 4000, 4000, 4000}), -1);
}

TEST(AverageDistance, CountsAZoneOf3999) { EXPECT_EQ(average({4000, 4000, 4000, 3999}), 3999); }

TEST(AverageDistance, BearsAnyNumber) { EXPECT_EQ(average({lowest, lowest, lowest, lowest}), lowest); }

TEST(NearestPlace, IsTheOneWhoseDistanceIsClosest) {
    EXPECT_EQ(place_of_distance(3000), 0);
    EXPECT_EQ(place_of_distance(3999), 0);
    EXPECT_EQ(place_of_distance(2250), 1);
    EXPECT_EQ(place_of_distance(1250), 3);
    EXPECT_EQ(place_of_distance(1000), 4);
    EXPECT_EQ(place_of_distance(240), 24);
    EXPECT_EQ(place_of_distance(0), 24);
}

TEST(NearestPlace, IsTheLowerOneOnATie) {
    EXPECT_EQ(place_of_distance(2625), 0);
    EXPECT_EQ(place_of_distance(2624), 1);
    EXPECT_EQ(place_of_distance(1875), 1);
    EXPECT_EQ(place_of_distance(525), 9);
    EXPECT_EQ(place_of_distance(244), 23);
    EXPECT_EQ(place_of_distance(243), 24);
}

TEST(NearestPlace, IsTheFifthWhenNoneIsWithin3999) {
    EXPECT_EQ(ovra::nearest_place(filled(0), 4000), 5);
    EXPECT_EQ(ovra::nearest_place(filled(0), -4000), 5);
    EXPECT_EQ(ovra::nearest_place(filled(0), 3999), 0);
    EXPECT_EQ(ovra::nearest_place(filled(highest), lowest), 5);
}

// --- Keystone --------------------------------------------------------------------------------------------

TEST(KeystoneVerdict, LeavesASuccessAndUnknownResultsToTheRun) {
    for (const std::int32_t result : {0, 1, -2, -100, -102}) {
        for (const bool autofocus : {false, true}) {
            const ovra::KeystoneVerdict verdict = ovra::judge_keystone(result, autofocus);
            EXPECT_FALSE(verdict.ends_run) << result;
            EXPECT_EQ(verdict.toast, ovra::no_toast) << result;
        }
    }
}

TEST(KeystoneVerdict, RemembersItsToastWhileFocusIsOn) {
    EXPECT_FALSE(ovra::judge_keystone(-1, true).ends_run);
    EXPECT_EQ(ovra::judge_keystone(-1, true).toast, 2);
    EXPECT_FALSE(ovra::judge_keystone(-101, true).ends_run);
    EXPECT_EQ(ovra::judge_keystone(-101, true).toast, 9);
}

TEST(KeystoneVerdict, EndsTheRunWhenFocusIsOff) {
    const ovra::KeystoneVerdict failed = ovra::judge_keystone(-1, false);
    EXPECT_TRUE(failed.ends_run);
    EXPECT_EQ(failed.toast, 2);
    EXPECT_EQ(failed.result, -2);
    const ovra::KeystoneVerdict no_angle = ovra::judge_keystone(-101, false);
    EXPECT_TRUE(no_angle.ends_run);
    EXPECT_EQ(no_angle.toast, 9);
    EXPECT_EQ(no_angle.result, -101);
}

// --- Temperature -----------------------------------------------------------------------------------------

struct Choice {
    bool has_curve;
    bool hot;
    std::int32_t celsius;
    Table table;
    Grade grade;
};

TEST(TableChoice, FollowsTheTemperature) {
    const Choice choices[] = {
        {false, false, 20, Table::flash, Grade::plain}, {false, false, 60, Table::flash, Grade::plain},
        {false, true, -1, Table::flash, Grade::plain},  {false, true, 50, Table::flash, Grade::plain},
        {false, true, 51, Table::flash, Grade::half},   {false, true, 55, Table::flash, Grade::half},
        {false, true, 56, Table::flash, Grade::full},   {false, true, 90, Table::flash, Grade::full},
        {true, false, -1, Table::curve, Grade::plain},  {true, false, 29, Table::curve, Grade::plain},
        {true, false, 30, Table::curve, Grade::half},   {true, false, 39, Table::curve, Grade::half},
        {true, false, 40, Table::flash, Grade::plain},  {true, false, 60, Table::flash, Grade::plain},
        {true, true, 29, Table::curve, Grade::plain},   {true, true, 39, Table::curve, Grade::half},
        {true, true, 40, Table::flash, Grade::plain},   {true, true, 51, Table::flash, Grade::half},
        {true, true, 56, Table::flash, Grade::full},
    };
    for (const Choice& expected : choices) {
        const TableChoice choice = ovra::choose_table(expected.has_curve, expected.hot, expected.celsius);
        EXPECT_EQ(choice.table, expected.table) << expected.celsius;
        EXPECT_EQ(choice.grade, expected.grade) << expected.celsius;
    }
}

TEST(TemperatureOffset, OfTheFlashTableIsFixed) {
    EXPECT_EQ(ovra::temperature_offset({Table::flash, Grade::plain}, 300, 100), 0);
    EXPECT_EQ(ovra::temperature_offset({Table::flash, Grade::half}, 300, 100), 10);
    EXPECT_EQ(ovra::temperature_offset({Table::flash, Grade::full}, 300, 100), 20);
}

TEST(TemperatureOffset, OfTheCurveIsHalfItsWayToTheFlashTable) {
    EXPECT_EQ(ovra::temperature_offset({Table::curve, Grade::plain}, 300, 100), 0);
    EXPECT_EQ(ovra::temperature_offset({Table::curve, Grade::half}, 300, 101), 99);
    EXPECT_EQ(ovra::temperature_offset({Table::curve, Grade::half}, 100, 301), -100);
    EXPECT_EQ(ovra::temperature_offset({Table::curve, Grade::half}, highest, lowest), highest);
}

TEST(ShiftedTable, MovesTheFlashTableDownAndTheCurveUp) {
    EXPECT_EQ(ovra::shifted_table({Table::flash, Grade::full}, filled(100), 20), filled(80));
    EXPECT_EQ(ovra::shifted_table({Table::curve, Grade::half}, filled(100), 20), filled(120));
    EXPECT_EQ(ovra::shifted_table({Table::curve, Grade::half}, filled(100), -30), filled(70));
}

TEST(ShiftedTable, BearsAnyNumber) {
    EXPECT_EQ(ovra::shifted_table({Table::flash, Grade::full}, filled(lowest), 20), filled(highest - 19));
}

// --- Extrapolation ---------------------------------------------------------------------------------------

TEST(NearExtrapolation, BeginsBelow230Millimetres) {
    EXPECT_EQ(ovra::extrapolate_near(400, 24, 245), 400);
    EXPECT_EQ(ovra::extrapolate_near(400, 24, 230), 400);
    EXPECT_EQ(ovra::extrapolate_near(400, 24, 229), 430);
}

TEST(NearExtrapolation, AddsAtLeast30AndThenAThirdPerMillimetre) {
    EXPECT_EQ(ovra::extrapolate_near(400, 24, 200), 430);
    EXPECT_EQ(ovra::extrapolate_near(400, 24, 140), 430);
    EXPECT_EQ(ovra::extrapolate_near(400, 24, 137), 431);
    EXPECT_EQ(ovra::extrapolate_near(400, 24, 100), 443);
    EXPECT_EQ(ovra::extrapolate_near(400, 24, 0), 476);
}

TEST(NearExtrapolation, TruncatesTheSumTowardsZero) {
    EXPECT_EQ(ovra::extrapolate_near(-400, 24, 100), -356);
    EXPECT_EQ(ovra::extrapolate_near(-20, 24, 100), 23);
}

TEST(NearExtrapolation, HoldsAtTheLastPlaceOnly) { EXPECT_EQ(ovra::extrapolate_near(400, 23, 100), 400); }

TEST(NearExtrapolation, BearsAnyNumber) {
    EXPECT_EQ(ovra::extrapolate_near(highest, 24, lowest), highest);
    EXPECT_EQ(ovra::extrapolate_near(lowest, 24, 229), lowest + 30);
}

// --- Coarse move -----------------------------------------------------------------------------------------

TEST(CoarseMove, IsNotNeededAtTheSamePlace) { EXPECT_FALSE(ovra::plan_coarse_move(7, 7).needed); }

TEST(CoarseMove, MakesOneStepForTwoPlaces) {
    const ovra::CoarseMove left = ovra::plan_coarse_move(9, 2);
    EXPECT_TRUE(left.needed);
    EXPECT_EQ(left.side, Side::left);
    EXPECT_EQ(left.steps, 3);
    const ovra::CoarseMove right = ovra::plan_coarse_move(0, 24);
    EXPECT_EQ(right.side, Side::right);
    EXPECT_EQ(right.steps, 12);
}

TEST(CoarseMove, ToANeighbouringPlaceHasNoStep) {
    for (const int target : {4, 6}) {
        const ovra::CoarseMove move = ovra::plan_coarse_move(5, target);
        EXPECT_TRUE(move.needed);
        EXPECT_EQ(move.steps, 0);
    }
}

TEST(StepsBetween, TruncateTowardsZero) {
    EXPECT_EQ(ovra::steps_between(0, 5), 2);
    EXPECT_EQ(ovra::steps_between(5, 0), -2);
    EXPECT_EQ(ovra::steps_between(1, 0), 0);
    EXPECT_EQ(ovra::steps_between(0, 1), 0);
}

TEST(BacklashSteps, AreFourTenthsOfTheBacklashTruncated) {
    EXPECT_EQ(ovra::idle_steps(1), 0);
    EXPECT_EQ(ovra::idle_steps(2), 0);
    EXPECT_EQ(ovra::idle_steps(3), 1);
    EXPECT_EQ(ovra::idle_steps(5), 2);
    EXPECT_EQ(ovra::idle_steps(14), 5);
}

TEST(BacklashSteps, AreNeverNegative) {
    EXPECT_EQ(ovra::idle_steps(0), 0);
    EXPECT_EQ(ovra::idle_steps(-10), 0);
    EXPECT_EQ(ovra::idle_steps(lowest), 0);
}

// --- Fine loop -------------------------------------------------------------------------------------------

void expect_action(Side side, std::int32_t ahead, Kind kind, std::int32_t steps) {
    const std::int32_t target = side == Side::right ? 100 + ahead : 100 - ahead;
    const FineAction action = ovra::next_fine_action(side, target, 100);
    EXPECT_EQ(action.kind, kind) << ahead;
    EXPECT_EQ(action.side, side) << ahead;
    EXPECT_EQ(action.steps, steps) << ahead;
}

TEST(ApproachSide, IsRightOnlyForATargetAbove) {
    EXPECT_EQ(ovra::approach_side(101, 100), Side::right);
    EXPECT_EQ(ovra::approach_side(100, 100), Side::left);
    EXPECT_EQ(ovra::approach_side(99, 100), Side::left);
}

TEST(FineAction, HasTheSameBoundsFromBothSides) {
    for (const Side side : {Side::right, Side::left}) {
        expect_action(side, 360, Kind::steps, 20);
        expect_action(side, 54, Kind::steps, 3);
        expect_action(side, 53, Kind::steps, 2);
        expect_action(side, 35, Kind::steps, 1);
        expect_action(side, 31, Kind::steps, 1);
        expect_action(side, 30, Kind::single_step, 1);
        expect_action(side, 5, Kind::single_step, 1);
        expect_action(side, 4, Kind::done, 0);
        expect_action(side, 0, Kind::done, 0);
    }
}

TEST(FineAction, IsDoneAfterAnyOvershoot) {
    for (const Side side : {Side::right, Side::left}) {
        expect_action(side, -5, Kind::done, 0);
        expect_action(side, -500, Kind::done, 0);
    }
}

TEST(FineAction, BearsAnyNumber) {
    EXPECT_EQ(ovra::next_fine_action(Side::right, highest, lowest).steps, 238609294);
    EXPECT_EQ(ovra::next_fine_action(Side::left, lowest, highest).steps, 238609294);
}

}  // namespace
