#include "virtual_projector/report/trace_reader.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <nlohmann/json.hpp>

namespace vp {
namespace {

using nlohmann::json;

const std::string motor = "/sys/class/motor/";

TruthAt truth_of(std::int64_t t_us, const json& truth) {
    TruthAt at;
    at.t_us = t_us;
    at.distance_mm = truth.value("distance_mm", 0.0);
    at.pitch_deg = truth.value("pitch_deg", 0.0);
    at.led_c = truth.value("led_c", 0.0);
    at.lens_tmr = truth.value("lens_tmr", 0.0);
    at.lens_error_tmr = truth.value("lens_error_tmr", 0.0);
    at.sharpness = truth.value("sharpness", 0.0);
    at.top_width = truth.value("top_width", 0);
    at.bottom_width = truth.value("bottom_width", 0);
    at.left_side_deg = truth.value("left_side_deg", 0.0);
    at.right_side_deg = truth.value("right_side_deg", 0.0);
    at.on_wall = truth.value("on_wall", true);
    at.hdmi_turn_deg = truth.value("hdmi_turn_deg", 0);
    at.menu_turn_deg = truth.value("menu_turn_deg", 0);
    return at;
}

class Reader {
public:
    void take(const json& line) {
        const std::int64_t t_us = line.value("t_us", std::int64_t{0});
        if (line.contains("truth")) contents_.truths.push_back(truth_of(t_us, line.at("truth")));
        if (line.contains("event")) contents_.events.push_back({t_us, line.at("event").get<std::string>()});
        if (line.contains("call")) take_call(t_us, line);
    }
    TraceContents contents() && { return std::move(contents_); }

private:
    void take_call(std::int64_t t_us, const json& line) {
        const std::string call = line.at("call");
        const std::string path = line.value("path", "");
        const long result = line.value("result", 0L);
        if (call == "call") contents_.library_calls.push_back({t_us, path, result});
        if (result < 0) {
            contents_.failures.push_back({t_us, call + " " + path + ": " + line.value("error", "")});
        } else if (call == "write" && path.compare(0, motor.size(), motor) == 0) {
            take_motor(t_us, path.substr(motor.size()), line.value("data", ""));
        }
    }
    void take_motor(std::int64_t t_us, const std::string& node, const std::string& data) {
        const int value = std::atoi(data.c_str());
        if (node == "pulse") half_steps_ = value == 1;
        if ((node == "left" || node == "right") && value != 0) {
            contents_.lens_moves.push_back({t_us, node == "right", value, half_steps_});
        }
    }

    TraceContents contents_;
    bool half_steps_ = false;
};

}  // namespace

double TruthAt::worst_side_deg() const { return std::max(std::abs(left_side_deg), std::abs(right_side_deg)); }

TraceContents read_trace(const std::string& path) {
    Reader reader;
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);) {
        const json record = json::parse(line, nullptr, false);
        if (record.is_object()) reader.take(record);
    }
    return std::move(reader).contents();
}

}  // namespace vp
