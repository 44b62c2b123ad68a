#include "focusctrl/autofocus/focus_plan.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "base/whole_number.h"
#include "ovrafocus/result_codes.h"

namespace ovra {
namespace {

// The distances of the factory calibration, in millimetres.
constexpr CalibratedPoints distance_table = {3000, 1500, 1000, 750, 600, 500, 430,
                                             375,  333,  300,  275, 255, 240};

// A zone that reads this or more has seen no wall.
constexpr std::int32_t out_of_range_mm = 4000;

// Points of the focus curve above the first are negative ones, in 16-bit two's complement.
constexpr std::int32_t largest_positive_point = 10000;
constexpr std::int32_t two_to_the_16 = 65536;

// The place scan begins here and takes only what is nearer than this (millimetres or TMR units).
constexpr int fallback_place = 5;
constexpr std::int64_t scan_limit = 4000;

// Results of the keystone step.
constexpr std::int32_t keystone_failed = -1;
constexpr std::int32_t keystone_no_angle = OVRA_RESULT_NO_DISTANCE;

// LED temperatures in degrees Celsius from which each adjustment holds. The light engine's curve was taken
// cold: it holds alone below 30, half-way towards the flash table below 40, and not at all above.
constexpr std::int32_t curve_half_from_celsius = 30;
constexpr std::int32_t curve_ends_at_celsius = 40;
constexpr std::int32_t hot_half_from_celsius = 51;
constexpr std::int32_t hot_full_from_celsius = 56;
constexpr std::int32_t hot_half_offset_tmr = 10;
constexpr std::int32_t hot_full_offset_tmr = 20;

// Extrapolation begins below this distance: deliberately nearer than the last place's 240 mm, so that a
// picture at the nearest calibrated distance is left alone. Then a third of a TMR unit per millimetre.
constexpr int nearest_calibrated_place = focus_places - 1;
constexpr std::int32_t extrapolate_below_mm = 230;
constexpr double mm_per_tmr = 3.0;
constexpr double min_extrapolation_tmr = 30.0;

constexpr std::int32_t places_per_step = 2;

// The part of the calibrated backlash that is taken up before a reversed move; the fine loop finds the rest.
constexpr double backlash_share = 0.4;

// Fine loop, TMR units: from 31 on whole steps, from 5 on single ones, nearer than that is sharp.
constexpr std::int64_t whole_steps_from = 31;
constexpr std::int64_t single_step_from = 5;

std::int32_t signed_point(std::int32_t number) {
    return number > largest_positive_point ? number - two_to_the_16 : number;
}

std::int64_t widened_difference(std::int32_t a, std::int32_t b) { return std::int64_t{a} - b; }

// A table from a damaged record can hold any 32-bit number: arithmetic wraps instead of overflowing.
std::int32_t wrapped_sum(std::int32_t a, std::int32_t b) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) + static_cast<std::uint32_t>(b));
}

std::int32_t wrapped_negative(std::int32_t value) {
    return static_cast<std::int32_t>(0U - static_cast<std::uint32_t>(value));
}

}  // namespace

PlaceTable expand_to_places(const CalibratedPoints& points) {
    PlaceTable places{};
    for (std::size_t place = 0; place < places.size(); ++place) {
        const std::int64_t here = points[place / 2];
        const bool between = place % 2 != 0;
        places[place] = static_cast<std::int32_t>(between ? (here + points[place / 2 + 1]) / 2 : here);
    }
    return places;
}

PlaceTable curve_of_places(const CurveNumbers& numbers, bool negated) {
    CalibratedPoints points{};
    std::transform(numbers.rbegin(), numbers.rbegin() + calibrated_distances, points.begin(), signed_point);
    PlaceTable curve = expand_to_places(points);
    if (negated) {
        std::transform(curve.begin(), curve.end(), curve.begin(), wrapped_negative);
    }
    return curve;
}

PlaceTable distance_of_places() { return expand_to_places(distance_table); }

std::int32_t average_distance(const std::int32_t* zones_mm, int count) {
    std::int64_t sum = 0;
    int in_range = 0;
    for (int zone = 0; zone < count; ++zone) {
        if (zones_mm[zone] >= out_of_range_mm) continue;
        sum += zones_mm[zone];
        ++in_range;
    }
    return in_range == 0 ? -1 : static_cast<std::int32_t>(sum / in_range);
}

int nearest_place(const PlaceTable& table, std::int32_t value) {
    int best_place = fallback_place;
    std::int64_t best_difference = scan_limit;
    for (int place = 0; place < focus_places; ++place) {
        const std::int64_t difference =
            std::abs(widened_difference(table[static_cast<std::size_t>(place)], value));
        if (difference >= best_difference) continue;
        best_difference = difference;
        best_place = place;
    }
    return best_place;
}

KeystoneVerdict judge_keystone(std::int32_t keystone_result, bool autofocus_enabled) {
    KeystoneVerdict verdict;
    if (keystone_result == keystone_failed) {
        verdict = {OVRA_TOAST_KEYSTONE_FAILED, !autofocus_enabled, OVRA_RESULT_KEYSTONE_FAILED};
    } else if (keystone_result == keystone_no_angle) {
        verdict = {OVRA_TOAST_NO_DISTANCE, !autofocus_enabled, OVRA_RESULT_NO_DISTANCE};
    }
    return verdict;
}

TableChoice choose_table(bool has_curve, bool calibrated_hot, std::int32_t led_celsius) {
    using Table = TableChoice::Table;
    using Grade = TableChoice::Grade;
    if (has_curve && led_celsius < curve_ends_at_celsius) {
        return {Table::curve, led_celsius < curve_half_from_celsius ? Grade::plain : Grade::half};
    }
    if (!calibrated_hot || led_celsius < hot_half_from_celsius) return {Table::flash, Grade::plain};
    return {Table::flash, led_celsius < hot_full_from_celsius ? Grade::half : Grade::full};
}

std::int32_t temperature_offset(const TableChoice& choice, std::int32_t flash_tmr, std::int32_t curve_tmr) {
    if (choice.grade == TableChoice::Grade::plain) return 0;
    if (choice.table == TableChoice::Table::curve) {
        return static_cast<std::int32_t>(widened_difference(flash_tmr, curve_tmr) / 2);
    }
    return choice.grade == TableChoice::Grade::full ? hot_full_offset_tmr : hot_half_offset_tmr;
}

PlaceTable shifted_table(const TableChoice& choice, const PlaceTable& table, std::int32_t offset) {
    const std::int32_t shift = choice.table == TableChoice::Table::curve ? offset : -offset;
    PlaceTable shifted{};
    std::transform(table.begin(), table.end(), shifted.begin(),
                   [shift](std::int32_t position) { return wrapped_sum(position, shift); });
    return shifted;
}

std::int32_t extrapolate_near(std::int32_t target_tmr, int place, std::int32_t distance_mm) {
    if (place != nearest_calibrated_place || distance_mm >= extrapolate_below_mm) return target_tmr;
    const double missing_mm = static_cast<double>(extrapolate_below_mm) - distance_mm;
    return whole_number(target_tmr + std::max(missing_mm / mm_per_tmr, min_extrapolation_tmr));
}

std::int32_t steps_between(int current_place, int target_place) {
    return (target_place - current_place) / places_per_step;
}

CoarseMove plan_coarse_move(int current_place, int target_place) {
    CoarseMove move;
    move.needed = current_place != target_place;
    move.side = target_place < current_place ? Side::left : Side::right;
    move.steps = std::abs(steps_between(current_place, target_place));
    return move;
}

std::int32_t backlash_steps(std::int32_t calibrated) {
    return std::max(whole_number(calibrated * backlash_share), 0);
}

Side approach_side(std::int32_t target_tmr, std::int32_t current_tmr) {
    return target_tmr > current_tmr ? Side::right : Side::left;
}

FineAction next_fine_action(Side side, std::int32_t target_tmr, std::int32_t current_tmr) {
    const std::int64_t to_the_right = widened_difference(target_tmr, current_tmr);
    const std::int64_t ahead = side == Side::right ? to_the_right : -to_the_right;
    if (ahead < single_step_from) return {FineAction::Kind::done, side, 0};
    if (ahead < whole_steps_from) return {FineAction::Kind::single_step, side, 1};
    return {FineAction::Kind::steps, side, static_cast<std::int32_t>(ahead / tmr_per_step)};
}

}  // namespace ovra
