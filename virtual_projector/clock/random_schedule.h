// Turns by the throw of a seeded die.
#ifndef VIRTUAL_PROJECTOR_CLOCK_RANDOM_SCHEDULE_H
#define VIRTUAL_PROJECTOR_CLOCK_RANDOM_SCHEDULE_H

#include <cstdint>
#include <random>

#include "virtual_projector/clock/schedule_policy.h"

namespace vp {

class RandomSchedule final : public SchedulePolicy {
public:
    /// `preempt` is the probability that a thread loses its turn at a call, where every runnable thread,
    /// itself among them, is then as likely as the others. Without it a turn is kept until the thread waits.
    explicit RandomSchedule(std::uint64_t seed, double preempt = 0.0) : random_(seed), preempt_(preempt) {}

    std::size_t choose(const SchedulingPoint& point) override;

private:
    double draw();

    std::mt19937_64 random_;
    double preempt_;
};

}  // namespace vp

#endif
