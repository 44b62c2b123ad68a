#include "virtual_projector/live/pace.h"

#include <algorithm>
#include <cmath>

namespace vp {
namespace {

// Of real time: a program that computes for a moment is not to lose it.
constexpr double made_up_us = 50000;

}  // namespace

Microseconds Pace::reached_at(RealMicroseconds now) const {
    const auto gone = static_cast<Microseconds>(static_cast<double>(now - real_begin_) * speed_);
    const Microseconds reached = begin_ + std::max<Microseconds>(gone, 0);
    return end_ ? std::min(*end_, reached) : reached;
}

std::optional<RealMicroseconds> Pace::wait_until(Microseconds time, RealMicroseconds now) const {
    if (end_ && time > *end_) return std::nullopt;
    if (time <= reached_at(now)) return 0;
    const double length = static_cast<double>(time - begin_) / speed_;
    return std::max<RealMicroseconds>(real_begin_ + static_cast<RealMicroseconds>(std::ceil(length)) - now, 1);
}

void Pace::begin_at(Microseconds time, RealMicroseconds now) {
    begin_ = time;
    real_begin_ = now;
}

void Pace::set_speed(double speed, RealMicroseconds now) {
    begin_at(reached_at(now), now);
    speed_ = std::clamp(speed, min_speed, max_speed);
}

void Pace::pause(RealMicroseconds now) { end_ = reached_at(now); }

void Pace::resume(RealMicroseconds now) {
    begin_at(reached_at(now), now);
    end_.reset();
}

void Pace::step(Microseconds length, RealMicroseconds now) {
    const Microseconds from = reached_at(now);
    begin_at(from, now);
    end_ = (end_ ? std::max(*end_, from) : from) + length;
}

void Pace::note_delay(Microseconds time, RealMicroseconds now) {
    const auto allowed = static_cast<Microseconds>(made_up_us * speed_);
    if (reached_at(now) - time > allowed) begin_at(time + allowed, now);
}

}  // namespace vp
