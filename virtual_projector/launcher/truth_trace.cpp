#include "virtual_projector/launcher/truth_trace.h"

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

bool changes_lens_or_picture(const CallRecord& record) {
    if (record.call == "write") return record.path.substr(0, 17) == "/sys/class/motor/";
    return record.call == "ioctl" && record.path == "/dev/dis";
}

}  // namespace

nlohmann::ordered_json json_of(const Truth& truth) {
    TruthRecord record;
    record.distance_mm = rounded(truth.pose.distance_mm);
    record.pitch_deg = rounded(truth.pose.pitch_deg);
    record.yaw_deg = rounded(truth.pose.yaw_deg);
    record.roll_deg = rounded(truth.pose.roll_deg);
    record.mounting = rounded(truth.pose.mounting);
    record.led_c = rounded(truth.led_c);
    record.lens_tmr = rounded(truth.lens_tmr);
    record.lens_error_tmr = rounded(truth.lens_error_tmr);
    record.sharpness = rounded(truth.sharpness);
    record.top_width = truth.display.top_width;
    record.bottom_width = truth.display.bottom_width;
    record.left_side_deg = rounded(truth.picture.left_side_deg);
    record.right_side_deg = rounded(truth.picture.right_side_deg);
    record.edge_difference = rounded(truth.picture.edge_difference);
    record.on_wall = truth.picture.is_on_wall;
    record.hdmi_turn_deg = truth.hdmi_turn_deg;
    record.menu_turn_deg = truth.menu_turn_deg;
    return json_of(record);
}

TruthTrace::TruthTrace(TraceSink& sink, std::function<Truth()> truth) : sink_(sink), truth_(std::move(truth)) {}

void TruthTrace::record(const CallRecord& record) {
    sink_.record(record);
    if (record.result >= 0 && changes_lens_or_picture(record)) record_change(record.t_us);
}

void TruthTrace::record_truth(std::int64_t t_us, const nlohmann::ordered_json& state) {
    sink_.record_truth(t_us, state);
}

void TruthTrace::record_event(std::int64_t t_us, std::string_view what) { sink_.record_event(t_us, what); }

void TruthTrace::time_is(std::int64_t t_us) {
    if (looked_us_ >= 0 && t_us - looked_us_ < interval_us) return;
    if (t_us - written_us_ >= longest_silence_us) {
        record_now(t_us);
    } else {
        record_change(t_us);
    }
}

void TruthTrace::record_change(std::int64_t t_us) {
    looked_us_ = t_us;
    nlohmann::ordered_json state = json_of(truth_());
    if (state != written_) write(t_us, std::move(state));
}

void TruthTrace::record_now(std::int64_t t_us) {
    looked_us_ = t_us;
    write(t_us, json_of(truth_()));
}

void TruthTrace::write(std::int64_t t_us, nlohmann::ordered_json state) {
    sink_.record_truth(t_us, state);
    written_us_ = t_us;
    written_ = std::move(state);
}

}  // namespace vp
