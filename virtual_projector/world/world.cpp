#include "virtual_projector/world/world.h"

#include <algorithm>
#include <cmath>

#include "virtual_projector/world/noise.h"
#include "virtual_projector/world/optics.h"

namespace vp {
namespace {

constexpr int tmr_limit = 2000;  // the sensor's range
constexpr int broken_bus_reading = 32767;
constexpr double half_step = 0.5;

bool begins_with(std::string_view text, std::string_view start) {
    return text.substr(0, start.size()) == start;
}

}  // namespace

World::World(std::uint64_t seed)
    : seed_(seed), settings_(standard_settings()), hand_(seed), pose_(settings_.pose) {
    restart_heat();
}

void World::advance_to(Microseconds now) {
    if (now <= now_) return;
    now_ = now;
    motor_.advance_to(now, settings_.lens);
    settings_.heat.led_c = led_at(now);
    const HandState hand = hand_.state_at(now, settings_.pose);
    settings_.pose = hand.meant;
    pose_ = hand.pose;
    hand_acceleration_g_ = hand.acceleration_g;
}

// A pose that is set is taken at once, out of any hand. An LED temperature that is set stays.
std::string World::set(std::string_view name, double value) {
    std::string error = set_parameter(settings_, name, value);
    if (!error.empty()) return error;
    if (begins_with(name, "pose.")) {
        hand_.let_go();
        pose_ = settings_.pose;
        hand_acceleration_g_ = {};
    }
    if (name == "led.temperature_c") settings_.heat.led_rise_c = value - settings_.heat.ambient_c;
    if (begins_with(name, "led.") || begins_with(name, "heat.")) restart_heat();
    settings_.lens.position_steps = std::min(settings_.lens.position_steps, settings_.lens.travel_steps);
    return {};
}

double World::get(std::string_view name) const {
    const Parameter* parameter = find_parameter(name);
    return parameter == nullptr ? 0 : parameter->get(settings_);
}

void World::restart_heat() { heat_ = {now_, settings_.heat.led_c}; }

double World::led_at(Microseconds time) const {
    const Heat& heat = settings_.heat;
    const double left = std::exp(-seconds(time - heat_.start) / heat.led_time_constant_s);
    const double final_c = heat.ambient_c + heat.led_rise_c;
    return final_c + (heat_.from_c - final_c) * left;
}

void World::begin(const Gesture& gesture) { hand_.begin(now_, settings_.pose, gesture); }

void World::key(std::uint16_t code, std::int32_t value) { keys_.push_back({now_, code, value}); }

bool World::move_lens(const LensMove& move) { return motor_.add(now_, move, settings_.lens); }

Microseconds World::lens_finish_time() const { return motor_.finish_time(now_, settings_.lens); }

bool World::lens_is_at_left_end() const { return settings_.lens.position_steps < half_step; }

bool World::lens_is_at_right_end() const {
    return settings_.lens.position_steps > settings_.lens.travel_steps - half_step;
}

int World::tmr_reading() const {
    const TmrSettings& tmr = settings_.tmr;
    if (tmr.bus_error != 0) return broken_bus_reading;
    const Noise noise(seed_, Stream::tmr);
    const double travelled = settings_.lens.position_steps - tmr.zero_steps;
    const double clean = tmr.polarity * tmr.slope_per_step * travelled + tmr.offset;
    const double noisy = clean + tmr.noise_sigma * noise.gaussian(now_ / microseconds_per_millisecond);
    return std::clamp(static_cast<int>(std::lround(noisy)), -tmr_limit, tmr_limit);
}

TofScene World::tof_scene() const { return {pose_, settings_.wall, settings_.tof, seed_}; }

std::array<double, 3> World::gravity_now() const {
    return gravity_sample(settings_.gravity, pose_, hand_acceleration_g_, seed_,
                          gravity_sample_index(settings_.gravity, now_));
}

int World::led_reading_c() const { return static_cast<int>(std::lround(settings_.heat.led_c)); }

Truth World::truth() const {
    Truth truth;
    const Settings& s = settings_;
    truth.pose = pose_;
    truth.wall = wall_angles(wall_direction(pose_, s.wall));
    truth.led_c = s.heat.led_c;
    truth.lens_steps = s.lens.position_steps;
    truth.lens_tmr = ideal_tmr(s.tmr, s.lens.position_steps);
    truth.best_focus_tmr = ideal_tmr(s.tmr, best_focus_steps(s.lens, s.tmr, pose_.distance_mm, s.heat.led_c));
    truth.lens_error_tmr = truth.lens_tmr - truth.best_focus_tmr;
    truth.sharpness = sharpness(s.lens, truth.lens_error_tmr);
    truth.lens_is_moving = motor_.is_running();
    truth.display = display_;
    truth.picture = picture_shape(pose_, s.wall, display_);
    truth.hdmi_turn_deg = hdmi_picture_turn_deg(pose_, display_);
    truth.menu_turn_deg = menu_turn_deg(pose_, display_);
    return truth;
}

}  // namespace vp
