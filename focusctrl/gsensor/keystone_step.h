// What one step of auto-keystone makes of a distance. Values in, values out.
#ifndef OVRA_FOCUSCTRL_GSENSOR_KEYSTONE_STEP_H
#define OVRA_FOCUSCTRL_GSENSOR_KEYSTONE_STEP_H

#include <array>
#include <cstdint>
#include <cstdlib>
#include <optional>

namespace ovra {

/// Up to this distance two readings of a projector at rest differ by no more than the tolerance. The noise of
/// the sensor grows with the distance.
struct DistanceTolerance {
    std::int32_t up_to_mm;
    std::int32_t tolerance_mm;
};

inline constexpr std::array<DistanceTolerance, 3> distance_tolerances{{{1000, 5}, {2000, 8}, {3059, 10}}};

/// Corrections are made at every step until this long after the movement.
inline constexpr std::int32_t correct_always_ms = 1000;

/// How far two steady readings may differ, in millimetres; nothing where the sensor no longer measures well.
constexpr std::optional<std::int32_t> tolerance_mm(std::int32_t distance_mm) {
    for (const DistanceTolerance& entry : distance_tolerances) {
        if (distance_mm <= entry.up_to_mm) return entry.tolerance_mm;
    }
    return std::nullopt;
}

enum class KeystoneStep {
    count_steady,  // the distance did not change
    correct,       // it did, or the movement is too fresh to tell
};

inline KeystoneStep choose_keystone_step(std::int32_t distance_mm, std::int32_t last_distance_mm,
                                         std::int32_t tolerance, std::int32_t since_movement_ms) {
    const bool unchanged = std::abs(distance_mm - last_distance_mm) <= tolerance;
    return since_movement_ms >= correct_always_ms && unchanged ? KeystoneStep::count_steady
                                                               : KeystoneStep::correct;
}

}  // namespace ovra

#endif
