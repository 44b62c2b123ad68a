// What an auto-focus run decides: values in, values out, no device.
#ifndef OVRA_FOCUSCTRL_AUTOFOCUS_FOCUS_PLAN_H
#define OVRA_FOCUSCTRL_AUTOFOCUS_FOCUS_PLAN_H

#include <array>
#include <cstdint>

#include "focusctrl/autofocus/lens_units.h"

namespace ovra {

/// The lens is calibrated at 13 distances; with the mid-points between them there are 25 focus places,
/// the farthest first.
constexpr int calibrated_distances = 13;
constexpr int focus_places = 25;

using CalibratedPoints = std::array<std::int32_t, calibrated_distances>;
using PlaceTable = std::array<std::int32_t, focus_places>;

/// The calibrated points at the even places, the truncated mean of their neighbours at the odd ones.
PlaceTable expand_to_places(const CalibratedPoints& points);

/// The light engine's focus curve as its driver gives it: 7 numbers that are not ours, then the 13 points as
/// 16-bit two's-complement TMR values, the nearest distance first.
constexpr int curve_numbers = 20;
using CurveNumbers = std::array<std::int32_t, curve_numbers>;

/// The curve at the focus places, the farthest first; with the sign changed when `negated`.
PlaceTable curve_of_places(const CurveNumbers& numbers, bool negated);

/// The distance of each focus place in millimetres, 3000 to 240.
PlaceTable distance_of_places();

/// A ranging frame: the distances of four zones in millimetres, then four values of the driver's own.
constexpr int ranging_frame_values = 8;
constexpr int ranging_zones = 4;

/// The mean in millimetres of the zones that are in range (below 4000 mm); -1 when none is.
std::int32_t average_distance(const std::int32_t* zones_mm, int count);

/// The place whose entry is nearest to `value`; of two equally near ones the lower place. When every entry
/// is 4000 or more away it is place 5.
int nearest_place(const PlaceTable& table, std::int32_t value);

// --- The keystone step ---------------------------------------------------------------------------------

constexpr std::int32_t no_toast = -1;

/// What a keystone result means for the run.
struct KeystoneVerdict {
    std::int32_t toast = no_toast;  // at once when the run ends here, else at the run's end
    bool ends_run = false;
    std::int32_t result = 0;  // of the run, when it ends here
};
KeystoneVerdict judge_keystone(std::int32_t keystone_result, bool autofocus_enabled);

// --- The target ----------------------------------------------------------------------------------------

/// Which lens table holds at a temperature, and what is added to it.
struct TableChoice {
    enum class Table { flash, curve };
    enum class Grade { plain, half, full };  // how far the temperature adjusts it
    Table table = Table::flash;
    Grade grade = Grade::plain;
};
TableChoice choose_table(bool has_curve, bool calibrated_hot, std::int32_t led_celsius);

/// The amount by which the choice shifts its table, in TMR units: subtracted from the flash table, added to
/// the curve. `flash_tmr` and `curve_tmr` are both tables' entries for the place that is compared.
std::int32_t temperature_offset(const TableChoice& choice, std::int32_t flash_tmr, std::int32_t curve_tmr);

/// The place, that of 1500 mm, whose entries say how far the curve as a whole lies from the flash table.
constexpr int compared_place = 2;

/// The lens positions in TMR units of all places: the chosen table, shifted.
PlaceTable shifted_table(const TableChoice& choice, const PlaceTable& table, std::int32_t offset);

/// The lens position beyond the nearest calibrated place: at place 24 and below 230 mm, at least 30 TMR
/// units more than the table says; elsewhere the table's own.
std::int32_t extrapolate_near(std::int32_t target_tmr, int place, std::int32_t distance_mm);

// --- The moves -----------------------------------------------------------------------------------------

/// The coarse move from one place to another, in whole motor steps; none when both are the same.
struct CoarseMove {
    bool needed = false;
    Side side = Side::right;
    std::int32_t steps = 0;  // never negative
};
CoarseMove plan_coarse_move(int current_place, int target_place);

/// Motor steps from one place to another, positive to the right: two places for one step.
std::int32_t steps_between(int current_place, int target_place);

/// How far to run the motor first when it reverses, in motor steps, for a calibrated backlash in motor steps.
std::int32_t backlash_steps(std::int32_t calibrated);

/// What the fine loop does next.
struct FineAction {
    enum class Kind { done, single_step, steps };
    Kind kind = Kind::done;
    Side side = Side::right;
    std::int32_t steps = 0;
};

/// The side from which the whole loop approaches its target.
Side approach_side(std::int32_t target_tmr, std::int32_t current_tmr);

/// Far away: whole steps of 18 TMR units; near: one single step; inside the dead band, and beyond the
/// target: done.
FineAction next_fine_action(Side side, std::int32_t target_tmr, std::int32_t current_tmr);

}  // namespace ovra

#endif
