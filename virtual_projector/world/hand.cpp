#include "virtual_projector/world/hand.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "virtual_projector/world/noise.h"
#include "virtual_projector/world/vibration.h"

namespace vp {
namespace {

constexpr double gravity_mm_per_s2 = 9810;
constexpr double quarter_turn_deg = 90;
constexpr double lift_mm = 300;
constexpr double hang_lift_mm = 1500;

// A sudden shake turns the unit by more than 13 degrees in a fifth of a second; a slow one goes as far, in
// steps of 3 to 7 degrees.
constexpr double shake_deg = 25;
constexpr double shake_hz = 0.8;
constexpr double shake_jolt_g = 0.3;
constexpr double slow_shake_deg = 24;
constexpr double slow_shake_hz = 0.22;
constexpr double slow_shake_jolt_g = 0.02;
constexpr double roll_part = 0.5;  // of the turn that a shake makes in pitch
constexpr double jolt_harmonic = 3;

constexpr double tremor_g = 0.015;
constexpr Microseconds tremor_period_us = 10000;
constexpr double sway_deg = 4;  // of somebody who walks about
constexpr double sway_pitch_hz = 0.7;
constexpr double sway_roll_hz = 0.55;
constexpr double sway_yaw_hz = 0.45;
constexpr double grip_pitch_deg = 22;  // how people hold it: front up, one side a little lower
constexpr double grip_roll_deg = 6;

constexpr double bump_g = 0.25;
constexpr Microseconds bump_us = 60000;

struct NamedGesture {
    GestureKind kind;
    const char* name;
    double usual_s;
};

constexpr std::array<NamedGesture, 10> gestures = {{
    {GestureKind::pick_up, "pick_up", 0.8},
    {GestureKind::carry, "carry", 3},
    {GestureKind::set_down, "set_down", 1.2},
    {GestureKind::tilt, "tilt", 1},
    {GestureKind::shake, "shake", 2.5},
    {GestureKind::slow_shake, "slow_shake", 9},
    {GestureKind::turn_over, "turn_over", 3},
    {GestureKind::hang, "hang", 6},
    {GestureKind::bump, "bump", 0.06},
    {GestureKind::slide, "slide", 20},
}};

const NamedGesture& entry(GestureKind kind) {
    return *std::find_if(gestures.begin(), gestures.end(),
                         [kind](const NamedGesture& g) { return g.kind == kind; });
}

// The smoothest way from 0 to 1, with the least jerk: how people move things.
double smooth(double part) { return part * part * part * (10 + part * (6 * part - 15)); }
double smooth_acceleration(double part) { return part * (60 + part * (120 * part - 180)); }

double mix(double from, double to, double part) { return from + (to - from) * part; }

double total_roll_deg(const Pose& pose) { return pose.roll_deg + quarter_turn_deg * pose.mounting; }

double shorter_way_deg(double from, double to) { return std::remainder(to - from, 360.0); }

Pose blend(const Pose& from, const Pose& to, double part) {
    Pose pose = from;
    pose.distance_mm = mix(from.distance_mm, to.distance_mm, part);
    pose.pitch_deg = mix(from.pitch_deg, to.pitch_deg, part);
    pose.yaw_deg = mix(from.yaw_deg, to.yaw_deg, part);
    pose.roll_deg = from.roll_deg + part * shorter_way_deg(total_roll_deg(from), total_roll_deg(to));
    return pose;
}

// 1 when the unit stays in the hand, 0 when it is let go.
double grip_after(GestureKind kind, double grip_before) {
    switch (kind) {
        case GestureKind::pick_up:
        case GestureKind::carry:
            return 1;
        case GestureKind::set_down:
        case GestureKind::tilt:
        case GestureKind::hang:
        case GestureKind::slide:
            return 0;
        default:
            return grip_before;
    }
}

// Upside down a unit gets over its back: tipped up until the lens looks to the ceiling, turned round there, and
// tipped down again. (Turned about its lens instead, it would lie on its side half-way.)
constexpr double tipped_up_at = 0.4;  // parts of the gesture
constexpr double turned_round_at = 0.6;
constexpr double lens_up_deg = 90;
constexpr double over_its_back_deg = 135;  // from so much of a turn on

bool goes_over_its_back(const Pose& from, const Pose& to) {
    return std::abs(shorter_way_deg(total_roll_deg(from), total_roll_deg(to))) > over_its_back_deg;
}

double part_between(double part, double begin, double end) {
    return smooth(std::clamp((part - begin) / (end - begin), 0.0, 1.0));
}

Pose over_its_back(const Pose& from, const Pose& to, double part) {
    Pose pose = blend(from, to, smooth(part));
    const double raised = mix(from.pitch_deg, lens_up_deg, part_between(part, 0, tipped_up_at));
    pose.pitch_deg = mix(raised, to.pitch_deg, part_between(part, turned_round_at, 1));
    const double turn = shorter_way_deg(total_roll_deg(from), total_roll_deg(to));
    pose.roll_deg = from.roll_deg + turn * part_between(part, tipped_up_at, turned_round_at);
    return pose;
}

Pose on_the_way(const Pose& from, const Pose& to, double part) {
    return goes_over_its_back(from, to) ? over_its_back(from, to, part) : blend(from, to, smooth(part));
}

bool stays_in_place(GestureKind kind) {
    return kind == GestureKind::pick_up || kind == GestureKind::shake || kind == GestureKind::slow_shake ||
           kind == GestureKind::bump;
}

// Only a hand trembles; what happens to the table or to the foot does not.
bool is_by_hand(GestureKind kind) {
    return kind != GestureKind::tilt && kind != GestureKind::bump && kind != GestureKind::slide;
}

double lift_of(GestureKind kind) {
    switch (kind) {
        case GestureKind::pick_up:
            return lift_mm;
        case GestureKind::set_down:
            return -lift_mm;
        case GestureKind::hang:
            return hang_lift_mm;
        default:
            return 0;
    }
}

struct Shaking {
    double turn_deg = 0;
    double hz = 0;
    double jolt_g = 0;
};

Shaking shaking_of(GestureKind kind) {
    if (kind == GestureKind::shake) return {shake_deg, shake_hz, shake_jolt_g};
    if (kind == GestureKind::slow_shake) return {slow_shake_deg, slow_shake_hz, slow_shake_jolt_g};
    return {};
}

// Shaking swells and dies away within the gesture.
double envelope(double part) {
    const double half = std::sin(pi * part);
    return half * half;
}

double wave(double hz, Microseconds time) { return std::sin(2 * pi * hz * seconds(time)); }

}  // namespace

std::optional<GestureKind> gesture_named(std::string_view name) {
    for (const NamedGesture& gesture : gestures) {
        if (name == gesture.name) return gesture.kind;
    }
    return std::nullopt;
}

const char* gesture_name(GestureKind kind) { return entry(kind).name; }

const std::vector<std::string_view>& gesture_names() {
    static const std::vector<std::string_view> names = [] {
        std::vector<std::string_view> all;
        all.reserve(gestures.size());
        for (const NamedGesture& gesture : gestures) all.emplace_back(gesture.name);
        return all;
    }();
    return names;
}

Microseconds usual_duration(GestureKind kind) { return microseconds(entry(kind).usual_s); }

void Hand::begin(Microseconds now, const Pose& from, const Gesture& gesture) {
    grip_before_ = has_gesture_ ? grip_at(now) : 0;
    grip_after_ = grip_after(gesture.kind, grip_before_);
    has_gesture_ = true;
    start_ = now;
    from_ = from;
    gesture_ = gesture;
    gesture_.duration = std::max<Microseconds>(gesture.duration, 1);
    if (stays_in_place(gesture.kind)) gesture_.to = from;
}

void Hand::let_go() { has_gesture_ = false; }

bool Hand::is_moving(Microseconds now) const { return has_gesture_ && now < end_time(); }

HandState Hand::state_at(Microseconds now, const Pose& resting) const {
    if (!has_gesture_) return {resting, resting, {}};
    return {meant_at(now), really_at(now), acceleration_at(now) + tremor_at(now)};
}

double Hand::part_at(Microseconds now) const {
    return static_cast<double>(now - start_) / static_cast<double>(gesture_.duration);
}

double Hand::grip_at(Microseconds now) const {
    return is_moving(now) ? mix(grip_before_, grip_after_, smooth(part_at(now))) : grip_after_;
}

Pose Hand::meant_at(Microseconds now) const {
    if (!is_moving(now)) return gesture_.to;
    if (gesture_.kind == GestureKind::slide) return blend(from_, gesture_.to, part_at(now));
    return on_the_way(from_, gesture_.to, part_at(now));
}

Pose Hand::really_at(Microseconds now) const {
    Pose pose = meant_at(now);
    const double grip = grip_at(now);
    pose.pitch_deg += grip * (grip_pitch_deg + sway_deg * wave(sway_pitch_hz, now));
    pose.roll_deg += grip * (grip_roll_deg + sway_deg * wave(sway_roll_hz, now));
    pose.yaw_deg += grip * sway_deg * wave(sway_yaw_hz, now);
    if (is_moving(now)) {
        const Shaking shaking = shaking_of(gesture_.kind);
        const double turn = shaking.turn_deg * envelope(part_at(now)) * wave(shaking.hz, now - start_);
        pose.pitch_deg += turn;
        pose.roll_deg += roll_part * turn;
    }
    return pose;
}

// A slide is felt by nobody, a bump as a knock. The way to the wall and the way up each have the acceleration
// of the smooth movement; shaking jolts the unit sideways, and setting down ends with a bump.
Vec3 Hand::acceleration_at(Microseconds now) const {
    if (!is_moving(now) || gesture_.kind == GestureKind::slide) return {};
    if (gesture_.kind == GestureKind::bump)
        return {knock_g(gesture_.strength_g, now - start_, gesture_.duration), 0, 0};
    const double part = part_at(now);
    const double duration_s = seconds(gesture_.duration);
    const double per_mm = smooth_acceleration(part) / (duration_s * duration_s * gravity_mm_per_s2);
    const Shaking shaking = shaking_of(gesture_.kind);
    const double jolt = shaking.jolt_g * envelope(part) * wave(jolt_harmonic * shaking.hz, now - start_);
    const bool bumps = gesture_.kind == GestureKind::set_down && end_time() - now <= bump_us;
    return {jolt, (from_.distance_mm - gesture_.to.distance_mm) * per_mm,
            lift_of(gesture_.kind) * per_mm + (bumps ? bump_g : 0)};
}

Vec3 Hand::tremor_at(Microseconds now) const {
    const bool is_touched = grip_at(now) > 0 || (is_moving(now) && is_by_hand(gesture_.kind));
    if (!is_touched) return {};
    const Noise noise(seed_, Stream::hand);
    const std::int64_t index = now / tremor_period_us;
    return {tremor_g * noise.gaussian(index, 0), tremor_g * noise.gaussian(index, 1),
            tremor_g * noise.gaussian(index, 2)};
}

}  // namespace vp
