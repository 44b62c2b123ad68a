// The focus motor's driver.
//
// A move that is written while the motor still runs waits its turn; the driver keeps up to 16. The pulse
// setting counts at the time of the write: 2 is full steps, 1 is half steps. A run to an end stop ends as
// soon as the end switch closes, or after more steps than the travel can have. start_dir, tmr_dir_flg and
// excitation are kept and shown; which way "left" turns does not depend on them.

#include <cerrno>
#include <cmath>

#include "virtual_projector/devices/attribute.h"
#include "virtual_projector/devices/drivers.h"

namespace vp {
namespace {

constexpr char directory[] = "/sys/class/motor/";
constexpr long max_steps = 10000;
constexpr long max_step_period_us = 1000000;
constexpr long max_excitation = 3;
constexpr int end_run_reserve = 10;  // steps beyond travel and backlash
constexpr long half_step_pulse = 1;
constexpr long full_step_pulse = 2;
constexpr long rests_left = 1;
constexpr long rests_right = 2;

struct Motor {
    long pulse = full_step_pulse;
    long last_left = 0;
    long last_right = 0;
    long tmr_dir_flag = 0;
    long start_dir = 0;
    long step_period_us = 0;  // 0: the motor's own speed
    long excitation = 0;

    double step_size() const { return pulse == half_step_pulse ? 0.5 : 1.0; }
};

long queue_move(World& world, const LensMove& move) { return world.move_lens(move) ? 0 : -EBUSY; }

long run_to_end(World& world, const Motor& motor, Side side) {
    const LensSettings& lens = world.settings().lens;
    const double steps = lens.travel_steps + lens.left_backlash_steps + lens.right_backlash_steps;
    const int limit = static_cast<int>(std::ceil(steps / motor.step_size())) + end_run_reserve;
    return queue_move(world, {side, limit, motor.step_size(), true});
}

// The whole travel: back to the left end, then all the way to the right, counting.
long measure_travel(World& world, const Motor& motor) {
    const long status = run_to_end(world, motor, Side::left);
    return status < 0 ? status : run_to_end(world, motor, Side::right);
}

long place(const World& world) {
    if (world.lens_is_at_left_end()) return rests_left;
    return world.lens_is_at_right_end() ? rests_right : 0;
}

std::string air_travel(const LensSettings& lens) {
    return std::to_string(std::lround(lens.left_backlash_steps)) + " " +
           std::to_string(std::lround(lens.right_backlash_steps)) + "\n";
}

// Reading the travel waits for the measurement to end.
Answer show_travel(World& world, std::string& text) {
    if (world.lens_is_moving()) return Answer::wait_until(world.lens_finish_time());
    text = std::to_string(std::lround(world.counted_lens_steps())) + "\n";
    return Answer::done(0);
}

class MotorNodes {
public:
    MotorNodes(Board& board, DeviceTable& nodes)
        : folder_(board, nodes, directory, [](const Settings& s) { return s.board.has_motor != 0; }) {}

    void add_moves() {
        const auto motor = motor_;
        folder_.add(
            "left", show_number([motor](World&) { return motor->last_left; }),
            store_number(0, max_steps, [motor](World& world, long steps) {
                motor->last_left = steps;
                return queue_move(world, {Side::left, static_cast<int>(steps), motor->step_size(), false});
            }));
        folder_.add(
            "right", show_number([motor](World&) { return motor->last_right; }),
            store_number(0, max_steps, [motor](World& world, long steps) {
                motor->last_right = steps;
                return queue_move(world, {Side::right, static_cast<int>(steps), motor->step_size(), false});
            }));
        folder_.add(
            "zero", show_number([](World& world) { return world.lens_is_at_left_end() ? 1 : 0; }),
            store_number(1, 1, [motor](World& world, long) { return run_to_end(world, *motor, Side::left); }));
        folder_.add(
            "end", show_number([](World& world) { return world.lens_is_at_right_end() ? 1 : 0; }),
            store_number(1, 1, [motor](World& world, long) { return run_to_end(world, *motor, Side::right); }));
        folder_.add("total_steps", show_travel,
                    store_number(1, 1, [motor](World& world, long) { return measure_travel(world, *motor); }));
    }

    void add_readings() {
        folder_.add("stop", show_number([](World& world) { return world.lens_is_moving() ? 0 : 1; }));
        folder_.add("tmr_adc", show_number([](World& world) { return world.tmr_reading(); }));
        folder_.add("place", show_number([](World& world) { return place(world); }));
        folder_.add("pos", show_number([](World& world) { return std::lround(world.counted_lens_steps()); }));
        folder_.add("air_travel", show_text([](World& world) { return air_travel(world.settings().lens); }));
    }

    void add_settings() {
        folder_.add_setting("pulse", half_step_pulse, full_step_pulse, field(&Motor::pulse));
        folder_.add_setting("tmr_dir_flg", 0, 1, field(&Motor::tmr_dir_flag));
        folder_.add_setting("start_dir", 0, 1, field(&Motor::start_dir));
        folder_.add_setting("excitation", 0, max_excitation, field(&Motor::excitation));
        const auto motor = motor_;
        folder_.add("delay", show_number([motor](World&) { return motor->step_period_us; }),
                    store_number(0, max_step_period_us, [motor](World& world, long period) {
                        motor->step_period_us = period;
                        world.set_step_period(period);
                        return 0L;
                    }));
    }

private:
    std::shared_ptr<long> field(long Motor::*member) const { return {motor_, &((*motor_).*member)}; }

    AttributeFolder folder_;
    std::shared_ptr<Motor> motor_ = std::make_shared<Motor>();
};

}  // namespace

void add_motor(Board& board, DeviceTable& nodes) {
    MotorNodes motor(board, nodes);
    motor.add_moves();
    motor.add_readings();
    motor.add_settings();
}

}  // namespace vp
