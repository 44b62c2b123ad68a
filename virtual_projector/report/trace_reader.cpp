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

Wear wear_from(const json& figures) {
    Wear wear;
    for (const WearFigure& figure : wear_figures())
        wear.*figure.member = figures.value(std::string(figure.name), 0.0);
    return wear;
}

class Reader {
public:
    void take(const json& line) {
        const std::int64_t t_us = line.value(record_key::t_us, std::int64_t{0});
        if (line.contains(record_key::run)) contents_.run = run_from(line.at(record_key::run));
        if (line.contains(record_key::truth))
            contents_.truths.push_back({truth_from(line.at(record_key::truth)), t_us});
        if (line.contains(record_key::event))
            contents_.events.push_back({t_us, line.at(record_key::event).get<std::string>()});
        if (line.contains(record_key::wear)) take_wear(line.at(record_key::wear));
        if (line.contains(record_key::call)) take_call(t_us, call_line_from(line));
    }
    TraceContents contents() && { return std::move(contents_); }

private:
    void take_wear(const json& wear) {
        contents_.wear =
            WearAccount{wear_from(wear.at(record_key::run)), wear_from(wear.at(record_key::total))};
    }
    void take_call(std::int64_t t_us, const CallLine& line) {
        if (line.call == "call") contents_.library_calls.push_back({t_us, line.path, line.result});
        if (line.result < 0) {
            contents_.failures.push_back({t_us, line.call + " " + line.path + ": " + line.error});
        } else if (line.call == "write" && line.path.compare(0, motor.size(), motor) == 0) {
            take_motor(t_us, line.path.substr(motor.size()), line.data);
        }
    }
    void take_motor(std::int64_t t_us, const std::string& node, const std::string& data) {
        const int value = std::atoi(data.c_str());
        if (node == "pulse") half_steps_ = value == 1;
        for (const Side side : {Side::left, Side::right}) {
            if (node == side_name(side) && value != 0)
                contents_.lens_moves.push_back({t_us, side, value, half_steps_});
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
