// What a keystone run decides: values in, values out, no device.
#ifndef OVRA_FOCUSCTRL_AUTOFOCUS_KEYSTONE_PLAN_H
#define OVRA_FOCUSCTRL_AUTOFOCUS_KEYSTONE_PLAN_H

#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <optional>

#include "base/whole_number.h"
#include "ovrafocus/projection_geometry.h"

namespace ovra {

// ---- The tilt ------------------------------------------------------------------------------------------

/// From here on the y axis counts as upright (degrees): the projector stands, lens up or down, and its tilt
/// is counted from there.
inline constexpr float standing_degrees = 50.0F;
inline constexpr std::int32_t quarter_turn_degrees = 90;

/// From here on the projector lies on its side (degrees about x): gravity no longer shows its tilt.
inline constexpr float lying_on_side_degrees = 45.0F;

/// Below this tilt the ToF angle is the more precise one.
inline constexpr std::int32_t tof_preferred_below_degrees = 26;

/// The largest ToF angle that is believed where there is no other.
inline constexpr std::int32_t tof_max_degrees = 80;

/// The largest gravity angle that a picture can be corrected for.
inline constexpr std::int32_t gravity_max_degrees = 90;

/// The vertical tilt in whole degrees from the elevations of the y and z axes; its sign changes when the
/// projector is upside down.
inline std::int32_t tilt_from_gravity(float y_degrees, float z_degrees) {
    const std::int32_t lean = whole_number(z_degrees > 0.0F ? -y_degrees : y_degrees);
    if (!(std::fabs(y_degrees) >= standing_degrees)) return lean;
    return lean < 1 ? lean + quarter_turn_degrees : lean - quarter_turn_degrees;
}

enum class TiltSource { tof, gravity, none };

/// Which angle to correct for. `tof_degrees` is empty when the sensor gave none; `x_degrees` is the elevation
/// of the x axis, by which the projector lies on its side.
inline TiltSource choose_tilt_source(std::optional<std::int32_t> tof_degrees, float x_degrees) {
    const bool tof_preferred = tof_degrees && std::abs(*tof_degrees) < tof_preferred_below_degrees;
    const bool on_side = std::fabs(x_degrees) >= lying_on_side_degrees;
    if (!tof_preferred && !on_side) return TiltSource::gravity;
    if (!tof_degrees || std::abs(*tof_degrees) > tof_max_degrees) return TiltSource::none;
    return TiltSource::tof;
}

/// The mean of ToF readings in whole degrees. One degree either way is the sensor's noise and counts as level.
/// Nothing when there were no readings.
inline std::optional<std::int32_t> mean_tilt(float sum_degrees, float count) {
    if (count == 0.0F) return std::nullopt;
    const std::int32_t mean = whole_number(std::round(sum_degrees / count));
    return std::abs(mean) <= 1 ? 0 : mean;
}

/// The angle between the upper and the lower row of ToF zones, and the one at which the sensor is mounted.
inline constexpr float zone_rows_degrees = 24.0F;
inline constexpr float mounting_degrees = 12.0F;

/// The tilt in degrees from the mean distances of the two rows (law of sines in the triangle of sensor and the
/// two points on the wall). Not a number when both distances are 0.
inline double tilt_from_distances(std::int32_t up_mm, std::int32_t down_mm) {
    const double rows = static_cast<double>(degree2radian(zone_rows_degrees));
    const double slope = std::atan(up_mm * std::sin(rows) / (down_mm - up_mm * std::cos(rows)));
    const double wall = static_cast<double>(radian2degree(static_cast<float>(slope)));
    double tilt = (wall - 90.0) + static_cast<double>(mounting_degrees);
    while (tilt < -90.0) tilt += 180.0;
    return tilt;
}

// ---- The widths ----------------------------------------------------------------------------------------

/// What the geometry gives: the inward offsets of the four corners, in panel pixels.
inline constexpr std::size_t offset_count = 8;
enum OffsetSlot : std::size_t { tl_x, tl_y, tr_x, tr_y, bl_x, bl_y, br_x, br_y };

/// The widths of the trapezoid's edges in panel pixels. One of them is always the full width.
struct KeystoneWidths {
    std::int32_t up, down;
    bool up_is_full;
};

/// Below this horizontal offset (pixels) a corner counts as one that stays where it is.
inline constexpr float corner_stays_below_px = 1.0F;

/// The rectangle's side edges, prolonged from its corners to the panel's edge: one edge keeps the panel's
/// width, the other one loses on both sides what the corner's offset comes to there.
inline KeystoneWidths widths_from_offsets(const std::array<float, offset_count>& offsets,
                                          std::int32_t panel_width, std::int32_t panel_height) {
    const auto w = static_cast<float>(panel_width);
    const auto h = static_cast<float>(panel_height);
    const float den = (h - offsets[br_y]) - offsets[tl_y];
    if (offsets[br_x] < corner_stays_below_px) {
        const float lost = 2.0F * (offsets[tl_x] * (h - offsets[br_y]) / den);
        return {panel_width, whole_number(static_cast<double>(w - lost)), true};
    }
    const float lost = 2.0F * (offsets[br_x] * (h - offsets[tl_y]) / den);
    return {whole_number(static_cast<double>(w - lost)), panel_width, false};
}

// ---- The way there -------------------------------------------------------------------------------------

/// The largest change of an edge (pixels) that is applied in one step: the eye does not see a jump in it.
inline constexpr std::int64_t unnoticed_change_px = 8;

/// Halving goes on while an edge is at least this far (pixels) from its goal, but for at most so many steps.
inline constexpr std::int64_t halved_from_px = 13;
inline constexpr int max_halving_steps = 10;

inline std::int64_t distance_between(std::int32_t a, std::int32_t b) {
    return std::llabs(static_cast<long long>(a) - b);
}

inline bool noticeable(const KeystoneWidths& target, std::int32_t up_now, std::int32_t down_now) {
    return distance_between(target.up, up_now) > unnoticed_change_px ||
           distance_between(target.down, down_now) > unnoticed_change_px;
}

inline bool halving_goes_on(std::int32_t goal, std::int32_t now) {
    return distance_between(goal, now) >= halved_from_px;
}

/// Half of the way from `now` to `goal`, the odd pixel left for the next step.
inline std::int32_t halfway(std::int32_t goal, std::int32_t now) {
    return static_cast<std::int32_t>(now + (static_cast<std::int64_t>(goal) - now) / 2);
}

}  // namespace ovra

#endif
