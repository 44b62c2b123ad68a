// The focus lens and its stepper motor.
//
// The motor makes its steps one by one at a fixed speed. Between motor and lens there is backlash: after each
// change of direction the first steps move nothing. Moves that are asked for while the motor runs are
// queued.
#ifndef VIRTUAL_PROJECTOR_WORLD_LENS_H
#define VIRTUAL_PROJECTOR_WORLD_LENS_H

#include <cstddef>
#include <deque>

#include "virtual_projector/world/microseconds.h"
#include "virtual_projector/world/settings.h"
#include "virtual_projector/world/side.h"

namespace vp {

/// One order to the motor.
struct LensMove {
    Side side = Side::left;
    int count = 0;           // steps; of a run to an end stop: the most that are tried
    double step_size = 1;    // in full steps: 1 or 0.5
    bool until_end = false;  // ends as soon as the lens is at the end stop of its side
};

class LensMotor {
public:
    static constexpr std::size_t queue_limit = 16;

    /// Makes all steps that are due. Lens position and backlash in `lens` follow.
    void advance_to(Microseconds now, LensSettings& lens);

    /// Queues a move; false when the queue is full. Call advance_to(now) first.
    bool add(Microseconds now, const LensMove& move, const LensSettings& lens);

    bool is_running() const { return !queue_.empty(); }

    /// When the last queued step will be done; `now` when nothing runs.
    Microseconds finish_time(Microseconds now, const LensSettings& lens) const;

    /// Time of one step of the moves that are added from now on; 0: as the lens's speed says.
    void set_step_period(Microseconds period) { step_period_ = period; }

    /// The driver's own count of full steps from the left end, which knows nothing of backlash and lost steps.
    double counted_position() const { return counted_; }

    /// Drops everything that is queued; the lens stays where it is.
    void stop() { queue_.clear(); }

private:
    struct Running {
        LensMove move;
        Microseconds period = 0;
        Microseconds next_step = 0;  // time of the next step; of a waiting move: not yet known
        int done = 0;
    };

    bool is_done(const Running& running, const LensSettings& lens) const;
    void make_step(Running& running, LensSettings& lens);
    void take_next(Microseconds from, const LensSettings& lens);

    std::deque<Running> queue_;
    Microseconds step_period_ = 0;
    double counted_ = 0;
};

/// Moves the motor by `motor_steps` full steps (of either size) to a side: backlash first, then the lens,
/// up to its end stops.
void turn_motor(LensSettings& lens, Side side, double motor_steps);

}  // namespace vp

#endif
