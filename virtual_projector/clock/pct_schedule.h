// Probabilistic concurrency testing: turns by random priorities that change at a few random points.
//
// After S. Burckhardt, P. Kothari, M. Musuvathi and S. Nagarakatte, "A randomized scheduler with probabilistic
// guarantees of finding bugs", ASPLOS 2010. A fault of depth d needs d orderings among the threads' steps. One
// run of n threads and k steps finds it with a probability of at least 1 / (n k^(d-1)).
#ifndef VIRTUAL_PROJECTOR_CLOCK_PCT_SCHEDULE_H
#define VIRTUAL_PROJECTOR_CLOCK_PCT_SCHEDULE_H

#include <cstdint>
#include <random>
#include <unordered_map>

#include "virtual_projector/clock/schedule_policy.h"

namespace vp {

class PctSchedule final : public SchedulePolicy {
public:
    struct Options {
        int depth = 2;               // d, 1 and more
        std::uint64_t steps = 1000;  // k: the scheduling points of a run, about
    };

    PctSchedule(std::uint64_t seed, const Options& options);

    std::size_t choose(const SchedulingPoint& point) override;

private:
    using Priority = std::int64_t;

    Priority& priority_of(const ScheduledThread& thread);
    void lower_running(const SchedulingPoint& point);

    std::mt19937_64 random_;
    std::uint64_t step_ = 0;
    std::unordered_map<std::uint64_t, Priority> changes_;  // by step: what the running thread falls to
    std::unordered_map<int, Priority> priorities_;         // by the threads' numbers
    Priority lowest_ = 0;
};

}  // namespace vp

#endif
