#include "virtual_projector/world/lens.h"

#include <algorithm>
#include <cmath>

#include "virtual_projector/world/noise.h"

namespace vp {
namespace {

constexpr double tiny_steps = 1e-9;  // less than any real travel: sums of step sizes are not exact

constexpr double stop_reach_steps = 2;  // how far from a stop the nut begins to run hard
constexpr double reversals_of_growth = 1000;
constexpr double um_per_mm = 1000;

// The state of the backlash counts from 0 (taken up to the left) to 1 (taken up to the right), whatever each
// way costs. Returns the motor steps that are left over for the lens.
double take_up_backlash(LensSettings& lens, const Backlash& both, Side side, double motor_steps) {
    const double backlash = side == Side::left ? both.left : both.right;
    const double open = side == Side::left ? lens.backlash_state : 1 - lens.backlash_state;
    const double needed = open * backlash;
    if (motor_steps >= needed - tiny_steps) {
        lens.backlash_state = side == Side::left ? 0 : 1;
        return std::max(motor_steps - needed, 0.0);
    }
    const double taken = motor_steps / backlash;
    lens.backlash_state += side == Side::left ? -taken : taken;
    return 0;
}

bool is_at_end(const LensSettings& lens, Side side) {
    return side == Side::left ? lens.position_steps <= tiny_steps
                              : lens.position_steps >= lens.travel_steps - tiny_steps;
}

// What has become of a turn of the motor.
struct Turned {
    double lens_steps = 0;  // to the right
    double slipped_steps = 0;
    bool against_stop = false;
};

Turned turn(LensSettings& lens, const Backlash& backlash, Side side, double motor_steps) {
    if (lens.stuck != 0) return {};
    const Side driven = lens.reversed != 0 ? opposite(side) : side;
    const double driving = take_up_backlash(lens, backlash, driven, motor_steps);
    const double steps = driving * (1 - lens.slip);
    const double before = lens.position_steps;
    const double moved = before + (driven == Side::left ? -steps : steps);
    lens.position_steps = std::clamp(moved, 0.0, lens.travel_steps);
    return {lens.position_steps - before, driving * lens.slip,
            std::abs(moved - lens.position_steps) > tiny_steps};
}

}  // namespace

Backlash backlash_of(const LensSettings& lens, double reversals) {
    const double warm = 1 + lens.backlash_per_c * (lens.barrel_c - lens.barrel_reference_c);
    const double grown = lens.backlash_growth_steps * (reversals / reversals_of_growth);
    return {std::max(lens.left_backlash_steps * warm + grown, 0.0),
            std::max(lens.right_backlash_steps * warm + grown, 0.0)};
}

double lost_step_probability(const LensSettings& lens, double full_steps_per_s) {
    const double relative_speed = full_steps_per_s / lens.speed_steps_per_s;
    const double to_stop = std::min(lens.position_steps, lens.travel_steps - lens.position_steps);
    const double near_stop = 1 + (lens.lost_step_stop_factor - 1) * std::exp(-to_stop / stop_reach_steps);
    return std::min(lens.lost_step_probability * relative_speed * relative_speed * near_stop, 1.0);
}

void turn_motor(LensSettings& lens, Side side, double motor_steps) {
    turn(lens, backlash_of(lens, 0), side, motor_steps);
}

bool LensMotor::add(Microseconds now, const LensMove& move, const LensSettings& lens) {
    if (queue_.size() >= queue_limit) return false;
    if (move.count <= 0) return true;
    const Microseconds own_period = microseconds(1 / lens.speed_steps_per_s);
    const Backlash backlash = backlash_of(lens, reversals_before_ + wear_.reversals);
    ++wear_.orders;
    queue_.push_back({move, step_period_ > 0 ? step_period_ : own_period, backlash, 0, 0});
    if (queue_.size() == 1) take_next(now, lens);
    return true;
}

// The first step is done one period after the move begins.
void LensMotor::take_next(Microseconds from, const LensSettings& lens) {
    while (!queue_.empty() && is_done(queue_.front(), lens)) queue_.pop_front();
    if (!queue_.empty()) queue_.front().next_step = from + queue_.front().period;
}

bool LensMotor::is_done(const Running& running, const LensSettings& lens) const {
    if (running.done >= running.move.count) return true;
    return running.move.until_end && is_at_end(lens, running.move.side);
}

bool LensMotor::is_lost(const Running& running, const LensSettings& lens) const {
    if (lens.lost_step_probability == 0) return false;
    const double speed = running.move.step_size / seconds(running.period);
    const Noise noise(seed_, Stream::lens_steps);
    return noise.uniform(steps_made_) < lost_step_probability(lens, speed);
}

void LensMotor::turn_lens(const Running& running, LensSettings& lens) {
    const Turned turned = turn(lens, running.backlash, running.move.side, running.move.step_size);
    wear_.lost_steps += turned.slipped_steps;
    if (turned.against_stop) ++wear_.end_stop_steps;
    if (turned.lens_steps == 0) return;
    wear_.travel_mm += std::abs(turned.lens_steps) * lens.step_um / um_per_mm;
    lens_moved_last_ = turned.lens_steps < 0 ? Side::left : Side::right;
}

void LensMotor::count_step(const Running& running) {
    ++(running.move.step_size < 1 ? wear_.half_steps : wear_.full_steps);
    wear_.motor_on_s += seconds(running.period);
    if (turned_last_ && *turned_last_ != running.move.side) ++wear_.reversals;
    turned_last_ = running.move.side;
}

void LensMotor::make_step(Running& running, LensSettings& lens) {
    count_step(running);
    if (is_lost(running, lens)) {
        wear_.lost_steps += running.move.step_size;
    } else {
        turn_lens(running, lens);
    }
    ++steps_made_;
    ++running.done;
    counted_ += running.move.side == Side::left ? -running.move.step_size : running.move.step_size;
    if (running.move.until_end && is_at_end(lens, running.move.side)) {
        counted_ = running.move.side == Side::left ? 0 : lens.travel_steps;
    }
}

void LensMotor::advance_to(Microseconds now, LensSettings& lens) {
    while (!queue_.empty() && queue_.front().next_step <= now) {
        Running& running = queue_.front();
        const Microseconds at = running.next_step;
        make_step(running, lens);
        if (is_done(running, lens)) {
            take_next(at, lens);
        } else {
            running.next_step = at + running.period;
        }
    }
}

Microseconds LensMotor::finish_time(Microseconds now, const LensSettings& lens) const {
    LensMotor ahead = *this;
    LensSettings lens_ahead = lens;
    Microseconds time = now;
    while (ahead.is_running()) {
        time = ahead.queue_.front().next_step;
        ahead.advance_to(time, lens_ahead);
    }
    return time;
}

std::vector<Microseconds> LensMotor::bends(Microseconds now, const LensSettings& lens) const {
    LensMotor ahead = *this;
    LensSettings lens_ahead = lens;
    std::vector<Microseconds> times;
    std::optional<double> speed_before;  // full steps a microsecond, to the right
    Microseconds time = now;
    while (ahead.is_running()) {
        const Microseconds next = ahead.queue_.front().next_step;
        const double from = lens_ahead.position_steps;
        ahead.advance_to(next, lens_ahead);
        const double speed =
            (lens_ahead.position_steps - from) / static_cast<double>(std::max<Microseconds>(next - time, 1));
        const bool is_even = speed_before && std::abs(speed - *speed_before) < tiny_steps;
        if (!is_even && time > now) times.push_back(time);
        speed_before = speed;
        time = next;
    }
    if (time > now) times.push_back(time);
    return times;
}

}  // namespace vp
