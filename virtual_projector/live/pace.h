// How far simulated time may have gone at a real time: at some speed, standing still, or up to the end of a
// step.
//
//     simulated
//        |            ______ paused
//        |      ____/  speed 0.5
//        |    /
//        |  /  speed 1
//        +------------------- real
#ifndef VIRTUAL_PROJECTOR_LIVE_PACE_H
#define VIRTUAL_PROJECTOR_LIVE_PACE_H

#include <cstdint>
#include <optional>

#include "virtual_projector/world/microseconds.h"

namespace vp {

/// Microseconds of the PC's own steady clock.
using RealMicroseconds = std::int64_t;

class Pace {
public:
    static constexpr double min_speed = 0.1;
    static constexpr double max_speed = 100;

    /// Simulated time 0 is real time `now`.
    explicit Pace(RealMicroseconds now) : real_begin_(now) {}

    /// The simulated time that the pace has come to.
    Microseconds reached_at(RealMicroseconds now) const;
    /// How much real time it takes from `now` until it comes to `time`, 0 when it has; none: it stands still.
    std::optional<RealMicroseconds> wait_until(Microseconds time, RealMicroseconds now) const;

    double speed() const { return speed_; }
    /// How many simulated seconds go by in a real one. A speed out of range becomes the nearest that there is.
    void set_speed(double speed, RealMicroseconds now);

    bool is_paused() const { return end_.has_value(); }
    void pause(RealMicroseconds now);
    void resume(RealMicroseconds now);
    /// Goes on for this long, in simulated time, and then stands.
    void step(Microseconds length, RealMicroseconds now);

    /// The program is slower than the pace and has only come to `time`: what is behind is not made up for, but
    /// for a little.
    void note_delay(Microseconds time, RealMicroseconds now);

private:
    void begin_at(Microseconds time, RealMicroseconds now);

    double speed_ = 1;
    RealMicroseconds real_begin_;
    Microseconds begin_ = 0;
    std::optional<Microseconds> end_;  // it goes no further
};

}  // namespace vp

#endif
