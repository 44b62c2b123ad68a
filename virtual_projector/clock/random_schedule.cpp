#include "virtual_projector/clock/random_schedule.h"

namespace vp {
namespace {

// 53 bits: as many as the fraction of a double holds, so that a draw is even over [0, 1).
constexpr int draw_shift = 11;
constexpr double draw_scale = 1.0 / 9007199254740992.0;

}  // namespace

double RandomSchedule::draw() { return static_cast<double>(random_() >> draw_shift) * draw_scale; }

std::size_t RandomSchedule::choose(const SchedulingPoint& point) {
    const bool keeps_turn =
        point.kind == SchedulingPoint::Kind::call && (preempt_ <= 0.0 || draw() >= preempt_);
    if (keeps_turn) return point.last();
    return point.runnable.size() == 1 ? 0 : static_cast<std::size_t>(random_() % point.runnable.size());
}

}  // namespace vp
