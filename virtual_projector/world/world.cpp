#include "virtual_projector/world/world.h"

#include <algorithm>
#include <cmath>

#include "virtual_projector/world/lens_sensor.h"
#include "virtual_projector/world/noise.h"
#include "virtual_projector/world/optics.h"
#include "virtual_projector/world/vibration.h"

namespace vp {
namespace {

constexpr double upright_deg = 90;

constexpr int tmr_limit = 2000;  // the sensor's range
constexpr int broken_bus_reading = 32767;
constexpr double half_step = 0.5;
constexpr double seconds_per_hour = 3600;

bool begins_with(std::string_view text, std::string_view start) {
    return text.substr(0, start.size()) == start;
}

bool concerns_heat(std::string_view name) {
    return begins_with(name, "led.") || begins_with(name, "heat.") || begins_with(name, "lens.barrel_");
}

}  // namespace

World::World(std::uint64_t seed)
    : seed_(seed),
      settings_(standard_settings()),
      motor_(seed),
      hand_(seed),
      pose_(settings_.pose),
      firm_pose_(settings_.pose) {
    heat_cycles_ = HeatCycles(settings_.lens.barrel_c);
    restart_heat();
}

void World::advance_to(Microseconds now) {
    if (now <= now_) return;
    now_ = now;
    motor_.advance_to(now, settings_.lens);
    settings_.heat.led_c = led_at(now);
    settings_.lens.barrel_c = barrel_at(now);
    const HandState hand = hand_.state_at(now, firm_pose_);
    firm_pose_ = hand.meant;
    settings_.pose = hand.meant;
    pose_ = hand.pose;
    if (settings_.hand.table_sink_deg_per_h != 0) {
        const double rests_at = settings_.pose.pitch_deg;  // it sinks no farther than upright
        const double sunk = std::clamp(rests_at + sunk_deg(), -upright_deg, upright_deg) - rests_at;
        settings_.pose.pitch_deg += sunk;
        pose_.pitch_deg += sunk;
    }
    hand_acceleration_g_ = hand.acceleration_g;
}

// A pose that is set is taken at once, out of any hand. An LED temperature that is set stays.
std::string World::set(std::string_view name, double value) {
    const bool is_heat = concerns_heat(name);
    const HeatCycles cycles = is_heat ? heat_cycles_now() : heat_cycles_;
    std::string error = set_parameter(settings_, name, value);
    if (!error.empty()) return error;
    if (begins_with(name, "pose.") || name == "hand.table_sink_deg_per_h") keep_sunk();
    if (begins_with(name, "pose.")) {
        hand_.let_go();
        pose_ = settings_.pose;
        hand_acceleration_g_ = {};
    }
    if (is_heat) set_heat(name, value, cycles);
    settings_.lens.position_steps = std::min(settings_.lens.position_steps, settings_.lens.travel_steps);
    return {};
}

double World::get(std::string_view name) const {
    const Parameter* parameter = find_parameter(name);
    return parameter == nullptr ? 0 : parameter->get(settings_);
}

// At the start the barrel is as warm as the LED unless it has been set, in whatever order; later it has its own
// way there.
void World::set_heat(std::string_view name, double value, const HeatCycles& cycles) {
    const bool is_led = name == "led.temperature_c";
    LensSettings& lens = settings_.lens;
    if (is_led) settings_.heat.led_rise_c = value - settings_.heat.ambient_c;
    if (name == "lens.barrel_c" && now_ == 0) barrel_at_start_c_ = value;
    if (lens.barrel_time_constant_s == 0)
        lens.barrel_c = settings_.heat.led_c;
    else if (now_ == 0)
        lens.barrel_c = barrel_at_start_c_.value_or(settings_.heat.led_c);
    heat_cycles_ = now_ == 0 ? HeatCycles(lens.barrel_c) : cycles;
    heat_cycles_.reach(lens.barrel_c);
    restart_heat();
}

void World::restart_heat() { heat_ = {now_, settings_.heat.led_c, settings_.lens.barrel_c}; }

HeatPath World::heat_path() const {
    const Heat& heat = settings_.heat;
    return {heat_.from_c, heat.ambient_c + heat.led_rise_c, heat.led_time_constant_s, heat_.barrel_from_c,
            settings_.lens.barrel_time_constant_s};
}

// Worked out from the whole way since the last change, so that it does not matter how often somebody looked.
HeatCycles World::heat_cycles_now() const {
    HeatCycles cycles = heat_cycles_;
    cycles.follow(heat_path(), seconds(now_ - heat_.start));
    return cycles;
}

double World::barrel_at(Microseconds time) const {
    if (settings_.lens.barrel_time_constant_s == 0) return settings_.heat.led_c;
    return barrel_after(heat_path(), seconds(time - heat_.start));
}

double World::led_at(Microseconds time) const {
    const Heat& heat = settings_.heat;
    const double left = std::exp(-seconds(time - heat_.start) / heat.led_time_constant_s);
    const double final_c = heat.ambient_c + heat.led_rise_c;
    return final_c + (heat_.from_c - final_c) * left;
}

void World::begin(const Gesture& gesture) {
    keep_sunk();
    hand_.begin(now_, settings_.pose, gesture);
}

// While somebody holds or moves the unit its table does not matter.
double World::sunk_deg() const {
    if (hand_.holds()) return 0;
    const Microseconds from = std::max(sinks_from_, std::min(hand_.end_time(), now_));
    return settings_.hand.table_sink_deg_per_h * seconds(now_ - from) / seconds_per_hour;
}

// What the table has sunk becomes part of the pose in which the unit rests.
void World::keep_sunk() {
    if (!hand_.holds() && !hand_.is_moving(now_)) hand_.let_go();
    firm_pose_ = settings_.pose;
    sinks_from_ = now_;
}

void World::key(std::uint16_t code, std::int32_t value) { keys_.push_back({now_, code, value}); }

bool World::move_lens(const LensMove& move) {
    motor_.set_reversals_before(settings_.wear.reversals);
    return motor_.add(now_, move, settings_.lens);
}

Microseconds World::lens_finish_time() const { return motor_.finish_time(now_, settings_.lens); }

bool World::lens_is_at_left_end() const { return settings_.lens.position_steps < half_step; }

bool World::lens_is_at_right_end() const {
    return settings_.lens.position_steps > settings_.lens.travel_steps - half_step;
}

int World::tmr_reading() const {
    const TmrSettings& tmr = settings_.tmr;
    if (tmr.bus_error != 0) return broken_bus_reading;
    const Noise noise(seed_, Stream::tmr);
    const LensSettings& lens = settings_.lens;
    // Before its first movement the lens stands as the backlash does.
    const Side moved_last =
        motor_.lens_moved_last().value_or(lens.backlash_state < 0.5 ? Side::left : Side::right);
    const double clean = clean_reading(tmr, lens, lens.position_steps, moved_last);
    const double noisy = clean + tmr.noise_sigma * noise.gaussian(now_ / microseconds_per_millisecond);
    return std::clamp(static_cast<int>(std::lround(noisy)), -tmr_limit, tmr_limit);
}

TofScene World::tof_scene() const {
    return {pose_, settings_.wall, settings_.tof, seed_, unit_seed_, settings_.room, now_};
}

std::array<double, 3> World::gravity_now() const {
    const Vec3 knocked{chance_knock_g(settings_.hand, seed_, now_), 0, 0};
    return gravity_sample(settings_.gravity, pose_, hand_acceleration_g_ + knocked, seed_,
                          gravity_sample_index(settings_.gravity, now_), settings_.lens.barrel_c);
}

int World::led_reading_c() const { return static_cast<int>(std::lround(settings_.heat.led_c)); }

WearAccount World::wear() const {
    Wear run = motor_.wear() + writes_;
    run.heat_cycles = heat_cycles_now().count();
    return {run, settings_.wear + run};
}

Truth World::truth() const {
    Truth truth;
    const Settings& s = settings_;
    truth.pose = pose_;
    truth.wall = wall_angles(wall_direction(pose_, s.wall));
    truth.led_c = s.heat.led_c;
    truth.lens_steps = s.lens.position_steps;
    truth.lens_tmr = ideal_tmr(s.tmr, s.lens.position_steps);
    truth.best_focus_tmr =
        ideal_tmr(s.tmr, best_focus_steps(s.lens, s.tmr, pose_.distance_mm, s.lens.barrel_c));
    truth.lens_error_tmr = truth.lens_tmr - truth.best_focus_tmr;
    truth.sharpness = sharpness(s.lens, truth.lens_error_tmr);
    truth.lens_is_moving = motor_.is_running();
    truth.backlash_state = s.lens.backlash_state;
    truth.barrel_c = s.lens.barrel_c;
    truth.drift_tmr = heat_drift_tmr(s.lens, s.lens.barrel_c);
    truth.display = display_;
    truth.picture = picture_shape(pose_, s.wall, s.picture, display_);
    truth.blur = picture_blur(s, pose_.distance_mm, truth.picture);
    truth.light_used = light_used(display_);
    const TofScene scene = tof_scene();
    truth.axis_mm = true_axis_distance_mm(scene);
    const std::vector<double> zones = true_zone_distances(scene, tof_point_mode_);
    const std::array<std::size_t, 4> corners = corner_zones(tof_point_mode_);
    std::transform(corners.begin(), corners.end(), truth.zones_mm.begin(),
                   [&zones](std::size_t corner) { return zones.at(corner); });
    truth.hdmi_turn_deg = hdmi_picture_turn_deg(pose_, display_);
    truth.menu_turn_deg = menu_turn_deg(pose_, display_);
    return truth;
}

}  // namespace vp
