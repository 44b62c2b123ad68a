#include "bench/run_split.h"

#include <algorithm>
#include <numeric>

#include "virtual_projector/world/lens.h"

namespace bench {
namespace {

constexpr double full_step = 1;
constexpr double half_step = 0.5;

Span common(const Span& a, const Span& b) {
    return {std::max(a.begin_us, b.begin_us), std::min(a.end_us, b.end_us)};
}

std::int64_t overlap_us(const Span& span, const std::vector<Span>& others) {
    return std::accumulate(
        others.begin(), others.end(), std::int64_t{0},
        [&](std::int64_t sum, const Span& other) { return sum + common(span, other).length_us(); });
}

vp::LensMove move_of(const vp::LensMoveAt& order) {
    return {order.side, order.steps, order.half_steps ? half_step : full_step, false};
}

}  // namespace

std::vector<Span> lens_travels(const std::vector<vp::LensMoveAt>& orders, const vp::LensSettings& lens) {
    std::vector<Span> travels;
    vp::LensSettings now = lens;
    vp::LensMotor motor;
    for (const vp::LensMoveAt& order : orders) {
        motor.advance_to(order.t_us, now);
        motor.add(order.t_us, move_of(order), now);
        const std::int64_t end_us = motor.finish_time(order.t_us, now);
        if (!travels.empty() && order.t_us <= travels.back().end_us) {
            travels.back().end_us = end_us;
        } else {
            travels.push_back({order.t_us, end_us});
        }
    }
    return travels;
}

RunSplit split_run(const Span& run, const std::vector<ThreadCall>& calls, const std::vector<Span>& travels) {
    RunSplit split;
    split.lens_us = overlap_us(run, travels);
    const auto idle_us = [&](const Span& wait) {
        const Span in_run = common(run, wait);
        return in_run.length_us() == 0 ? 0 : in_run.length_us() - overlap_us(in_run, travels);
    };
    std::int64_t before_us = calls.empty() ? 0 : calls.front().t_us;
    for (const ThreadCall& call : calls) {
        split.frames_us += idle_us({before_us, call.t_us});
        split.pauses_us += idle_us({call.t_us, call.t_us + call.sleep_us});
        before_us = call.t_us + call.sleep_us;
    }
    split.rest_us = run.length_us() - split.total_us();
    return split;
}

}  // namespace bench
