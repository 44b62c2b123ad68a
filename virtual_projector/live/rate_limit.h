// So many a second, and a few at once.
#ifndef VIRTUAL_PROJECTOR_LIVE_RATE_LIMIT_H
#define VIRTUAL_PROJECTOR_LIVE_RATE_LIMIT_H

#include <algorithm>
#include <chrono>

namespace vp {

/// In no second more than `per_second` + `at_once` pass. Not safe for threads.
class RateLimit {
public:
    using Clock = std::chrono::steady_clock;

    RateLimit(double per_second, double at_once, Clock::time_point now)
        : per_second_(per_second), most_(at_once), left_(at_once), since_(now) {}

    /// Takes one, if there is one.
    bool take(Clock::time_point now) {
        fill(now);
        if (left_ < 1) return false;
        left_ -= 1;
        return true;
    }

    /// When there will be one.
    Clock::time_point next(Clock::time_point now) {
        fill(now);
        if (left_ >= 1) return now;
        const std::chrono::duration<double> wait((1 - left_) / per_second_);
        return now + std::chrono::ceil<Clock::duration>(wait);
    }

private:
    void fill(Clock::time_point now) {
        const std::chrono::duration<double> gone = now - since_;
        since_ = now;
        left_ = std::min(most_, left_ + gone.count() * per_second_);
    }

    double per_second_;
    double most_;
    double left_;
    Clock::time_point since_;
};

}  // namespace vp

#endif
