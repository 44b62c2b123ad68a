// The factory bench, which has errors of its own: what it writes into a unit is what it measured.
//
//     depth    the target stands so much farther than the bench believes:
//              e = depth_mm_sigma z, in whole millimetres
//     camera   the place that it finds sharpest is so much too far to the right:
//              e = camera_tmr_sigma z; the bench's motor goes to it in whole steps
//     level    the unit is tipped so far when the bench believes it level, in pitch and in roll:
//              e = level_deg_sigma z each
//
// z is normal, of variance 1 and never beyond 6, and follows the unit's seed: a unit is calibrated once. A
// sigma of 0 is a faultless bench, which also finds the best place between two steps.
#ifndef VIRTUAL_PROJECTOR_WORLD_BENCH_H
#define VIRTUAL_PROJECTOR_WORLD_BENCH_H

#include <cstdint>

#include "virtual_projector/world/settings.h"

namespace vp {

/// The errors with which one unit was calibrated.
struct BenchErrors {
    double depth_mm = 0;    // the target is farther than believed
    double camera_tmr = 0;  // the sharpest place is believed so far to the right
    bool whole_steps = false;
    double pitch_deg = 0;
    double roll_deg = 0;
};

BenchErrors bench_errors(const BenchSettings& bench, std::uint64_t unit_seed);

/// The pose in which a unit really stands that the bench believes to stand in this one.
Pose pose_on_bench(const Pose& believed, const BenchErrors& errors);

}  // namespace vp

#endif
