// The focus lens and its stepper motor.
//
// The motor makes its steps one by one at a fixed speed. Between motor and lens there is backlash: after each
// change of direction the first steps move nothing. Moves that are asked for while the motor runs are
// queued. Heat and wear change the backlash; a step can be lost.
#ifndef VIRTUAL_PROJECTOR_WORLD_LENS_H
#define VIRTUAL_PROJECTOR_WORLD_LENS_H

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <vector>

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

/// Full steps that are lost on turning to each side.
struct Backlash {
    double left = 0;
    double right = 0;
};

/// With the barrel as warm as it is, after so many reversals of the motor:
///     nominal * (1 + backlash_per_c * (barrel - reference)) + backlash_growth * reversals / 1000
/// and never less than none. Plastic gears and nuts gain play with warmth and with use.
Backlash backlash_of(const LensSettings& lens, double reversals);

/// That a step is lost: a stepper's torque falls with its speed, and the nut runs hard near a stop (makers'
/// pull-out curves; here a square law and an exponential one):
///     p = p0 * (v / v0)^2 * (1 + (k - 1) e^(-d / 2 steps)), at most 1
/// with p0 lens.lost_step_probability, v the speed and v0 the motor's own in full steps a second, k
/// lens.lost_step_stop_factor and d the full steps to the nearer stop.
double lost_step_probability(const LensSettings& lens, double full_steps_per_s);

class LensMotor {
public:
    static constexpr std::size_t queue_limit = 16;

    /// The seed says which steps are lost.
    explicit LensMotor(std::uint64_t seed = 1) : seed_(seed) {}

    /// Makes all steps that are due. Lens position and backlash in `lens` follow.
    void advance_to(Microseconds now, LensSettings& lens);

    /// Queues a move; false when the queue is full. Call advance_to(now) first.
    bool add(Microseconds now, const LensMove& move, const LensSettings& lens);

    bool is_running() const { return !queue_.empty(); }

    /// When the last queued step will be done; `now` when nothing runs.
    Microseconds finish_time(Microseconds now, const LensSettings& lens) const;

    /// From `now` to finish_time(), which is the last of them: when the lens begins to move, turns or stands
    /// still. Between two of these times it moves evenly, step by step.
    std::vector<Microseconds> bends(Microseconds now, const LensSettings& lens) const;

    /// Time of one step of the moves that are added from now on; 0: as the lens's speed says.
    void set_step_period(Microseconds period) { step_period_ = period; }

    /// The driver's own count of full steps from the left end, which knows nothing of backlash and lost steps.
    double counted_position() const { return counted_; }

    /// Which way the lens itself moved last; nothing before its first movement.
    std::optional<Side> lens_moved_last() const { return lens_moved_last_; }

    /// Those before the run, which have widened the backlash too.
    void set_reversals_before(double reversals) { reversals_before_ = reversals; }

    /// What the motor and the lens have done since the motor was made.
    const Wear& wear() const { return wear_; }

    /// Drops everything that is queued; the lens stays where it is.
    void stop() { queue_.clear(); }

private:
    struct Running {
        LensMove move;
        Microseconds period = 0;
        Backlash backlash;           // as it is when the move is ordered
        Microseconds next_step = 0;  // time of the next step; of a waiting move: not yet known
        int done = 0;
    };

    bool is_done(const Running& running, const LensSettings& lens) const;
    bool is_lost(const Running& running, const LensSettings& lens) const;
    void make_step(Running& running, LensSettings& lens);
    void turn_lens(const Running& running, LensSettings& lens);
    void count_step(const Running& running);
    void take_next(Microseconds from, const LensSettings& lens);

    std::deque<Running> queue_;
    Microseconds step_period_ = 0;
    double counted_ = 0;
    std::uint64_t seed_;
    std::int64_t steps_made_ = 0;
    double reversals_before_ = 0;
    Wear wear_;
    std::optional<Side> turned_last_;  // the motor
    std::optional<Side> lens_moved_last_;
};

/// Moves a motor that has never turned by `motor_steps` full steps (of either size) to a side: backlash first,
/// then the lens, up to its end stops.
void turn_motor(LensSettings& lens, Side side, double motor_steps);

}  // namespace vp

#endif
