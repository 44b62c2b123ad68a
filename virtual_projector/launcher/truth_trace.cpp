#include "virtual_projector/launcher/truth_trace.h"

#include <algorithm>
#include <cmath>

#include "virtual_projector/trace/records.h"

namespace vp {
namespace {

constexpr std::int64_t interval_us = 100000;
constexpr std::int64_t longest_silence_us = 60000000;

double rounded(double value) {
    constexpr double scale = 1000;
    return std::round(value * scale) / scale + 0.0;  // + 0.0: no negative zero
}

// A length that may be infinite, which a trace cannot hold.
double length_mm(double length) {
    constexpr double nothing_there = -1;
    return std::isfinite(length) ? rounded(length) : nothing_there;
}

bool changes_lens_or_picture(const CallRecord& record) {
    if (record.call == "write") return record.path.substr(0, 17) == "/sys/class/motor/";
    return record.call == "ioctl" && record.path == "/dev/dis";
}

// Into the way of a ray, or out of it, which changes nothing else of the truth.
bool somebody_steps(const TruthRecord& before, const TruthRecord& after) {
    constexpr double least_mm = 50;
    return !std::equal(before.zones_mm.begin(), before.zones_mm.end(), after.zones_mm.begin(),
                       [](double a, double b) { return std::abs(a - b) < least_mm; });
}

void add_unit(TruthRecord& record, const Truth& truth) {
    record.distance_mm = rounded(truth.pose.distance_mm);
    record.pitch_deg = rounded(truth.pose.pitch_deg);
    record.yaw_deg = rounded(truth.pose.yaw_deg);
    record.roll_deg = rounded(truth.pose.roll_deg);
    record.mounting = rounded(truth.pose.mounting);
    record.wall_tilt_deg = rounded(truth.wall.tilt_deg);
    record.wall_turn_deg = rounded(truth.wall.turn_deg);
    record.axis_mm = length_mm(truth.axis_mm);
    std::transform(truth.zones_mm.begin(), truth.zones_mm.end(), record.zones_mm.begin(), length_mm);
    record.led_c = rounded(truth.led_c);
}

void add_lens(TruthRecord& record, const Truth& truth) {
    record.lens_tmr = rounded(truth.lens_tmr);
    record.lens_error_tmr = rounded(truth.lens_error_tmr);
    record.best_tmr = rounded(truth.best_focus_tmr);
    record.lens_moving = truth.lens_is_moving;
    record.backlash_state = rounded(truth.backlash_state);
    record.barrel_c = rounded(truth.barrel_c);
    record.drift_tmr = rounded(truth.drift_tmr);
    record.sharpness = rounded(truth.sharpness);
    record.blur_px = rounded(truth.blur.middle_px);
    record.blur_corner_px = rounded(truth.blur.corner_px);
    std::transform(truth.blur.corners_px.begin(), truth.blur.corners_px.end(), record.blur_corners_px.begin(),
                   [](double px) { return rounded(px); });
}

void add_picture(TruthRecord& record, const Truth& truth) {
    record.top_width = truth.display.top_width;
    record.bottom_width = truth.display.bottom_width;
    record.left_side_deg = rounded(truth.picture.left_side_deg);
    record.right_side_deg = rounded(truth.picture.right_side_deg);
    record.edge_difference = rounded(truth.picture.edge_difference);
    record.on_wall = truth.picture.is_on_wall;
    record.hdmi_turn_deg = truth.hdmi_turn_deg;
    record.menu_turn_deg = truth.menu_turn_deg;
    record.top_edge_deg = rounded(truth.picture.top_edge_deg);
    record.bottom_edge_deg = rounded(truth.picture.bottom_edge_deg);
    record.worst_edge_deg = rounded(truth.picture.worst_edge_deg());
    record.side_difference = rounded(truth.picture.side_difference);
    record.light_used = rounded(truth.light_used);
    for (std::size_t i = 0; i < record.outline_mm.size(); ++i) {
        const PictureCorner& corner = truth.picture.corners.at(i);
        record.outline_mm.at(i) = {rounded(corner.x_mm), rounded(corner.z_mm)};
    }
}

}  // namespace

TruthRecord record_of(const Truth& truth) {
    TruthRecord record;
    add_unit(record, truth);
    add_lens(record, truth);
    add_picture(record, truth);
    return record;
}

TruthTrace::TruthTrace(TraceSink& sink, std::function<Truth()> truth) : sink_(sink), truth_(std::move(truth)) {}

void TruthTrace::record(const CallRecord& record) {
    pass_bends(record.t_us);
    sink_.record(record);
    if (record.result < 0 || !changes_lens_or_picture(record)) return;
    record_change(record.t_us);
    look_for_bends();
}

void TruthTrace::record_wait(const WaitRecord& record) {
    pass_bends(record.t_us);
    sink_.record_wait(record);
}

void TruthTrace::record_truth(std::int64_t t_us, const nlohmann::ordered_json& state) {
    sink_.record_truth(t_us, state);
}

// It may have stopped the lens, or have changed how it moves; or somebody stands before the sensor now.
void TruthTrace::record_event(std::int64_t t_us, std::string_view what) {
    sink_.record_event(t_us, what);
    look_for_bends();
    const TruthRecord state = record_of(truth_());
    if (written_us_ >= 0 && somebody_steps(written_, state)) write(t_us, state);
}

void TruthTrace::look_for_bends() {
    if (!course_.bends) return;
    bends_ = course_.bends();
    std::reverse(bends_.begin(), bends_.end());
}

void TruthTrace::pass_bends(std::int64_t t_us) {
    while (!bends_.empty() && bends_.back() <= t_us) {
        const Microseconds bend = bends_.back();
        bends_.pop_back();
        const TruthRecord state = record_of(course_.truth_at(bend));
        if (!tell_the_same(state, written_)) write(bend, state);
    }
}

void TruthTrace::time_is(std::int64_t t_us) {
    pass_bends(t_us);
    if (looked_us_ >= 0 && t_us - looked_us_ < interval_us) return;
    if (t_us - written_us_ >= longest_silence_us) {
        record_now(t_us);
    } else {
        record_change(t_us);
    }
}

void TruthTrace::record_change(std::int64_t t_us) {
    looked_us_ = t_us;
    const TruthRecord state = record_of(truth_());
    if (written_us_ < 0 || !tell_the_same(state, written_) || somebody_steps(written_, state))
        write(t_us, state);
}

void TruthTrace::record_now(std::int64_t t_us) {
    pass_bends(t_us);
    looked_us_ = t_us;
    write(t_us, record_of(truth_()));
}

void TruthTrace::write(std::int64_t t_us, const TruthRecord& state) {
    sink_.record_truth(t_us, json_of(state));
    written_us_ = t_us;
    written_ = state;
}

}  // namespace vp
