#include "virtual_projector/report/signals.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <type_traits>

#include "virtual_projector/world/parameters.h"
#include "virtual_projector/world/side.h"
#include "virtual_projector/world/tof.h"

namespace vp {
namespace {

constexpr double unknown = std::numeric_limits<double>::quiet_NaN();

constexpr std::string_view motor_folder = "/sys/class/motor/";
constexpr std::string_view tmr_node = "/sys/class/motor/tmr_adc";
constexpr std::string_view led_node = "/sys/devices/platform/pwm-fan/r_temp";
constexpr std::string_view ranging_node = "/sys/class/nd_tof/nds01/ranging_data";
constexpr std::string_view grid_node = "/sys/class/tof/distance";

constexpr std::uint32_t get_gravity_sample = 0x4004A109;
constexpr std::uint32_t get_tof_frame = 0x4004A203;
constexpr std::uint32_t set_widths = 0x801C0E10;

// Values of tilt.chosen_by.
constexpr double chosen_by_host = 0;
constexpr double chosen_by_tof = 1;
constexpr double chosen_by_gravity = 2;

struct Entry {
    std::string_view name;
    SignalInfo info;
};

// Ordered as they are shown; a truth without a line here is told by its name, whose end is its unit.
constexpr Entry entries[] = {
    {"truth.lens_tmr", {"TMR", "where the lens truly stands"}},
    {"truth.best_tmr", {"TMR", "where it would be sharp"}},
    {"truth.lens_error_tmr", {"TMR", "how far it stands from there"}},
    {"truth.sharpness", {"", "of the middle of the picture, 0 to 1"}},
    {"truth.blur_px", {"px", "blur in the middle of the picture"}},
    {"truth.blur_corner_px", {"px", "blur in the worst corner"}},
    {"truth.blur_tl_px", {"px", "blur in the picture's corner at the top left"}},
    {"truth.blur_tr_px", {"px", "top right"}},
    {"truth.blur_br_px", {"px", "bottom right"}},
    {"truth.blur_bl_px", {"px", "bottom left"}},
    {"truth.backlash_state", {"", "of the lens's play: 0 taken up to the left, 1 to the right"}},
    {"truth.lens_moving", {"", "1 while the motor turns"}},
    {"truth.barrel_c", {"C", "temperature of the lens"}},
    {"truth.led_c", {"C", "temperature of the LED"}},
    {"truth.drift_tmr", {"TMR", "by which warmth has moved the best place"}},
    {"truth.top_width", {"px", "width of the picture's top edge on the panel"}},
    {"truth.bottom_width", {"px", "width of its bottom edge"}},
    {"truth.light_used", {"", "share of the panel that the picture lights"}},
    {"truth.on_wall", {"", "1 when all corners of the picture meet the wall"}},
    {"truth.mounting", {"", "which way up the projector stands"}},
    {"truth.edge_difference", {"", "how much longer the top edge is than the bottom edge, as a share"}},
    {"truth.side_difference", {"", "the same of the right and the left side"}},
    {"truth.wall_tilt_deg", {"deg", "tilt of the projector against the wall, up"}},
    {"truth.wall_turn_deg", {"deg", "turn of the projector against the wall, sideways"}},
    {"reading.tmr", {"TMR", "what the lens position sensor said"}},
    {"reading.led_c", {"C", "what the fan's driver said of the LED"}},
    {"reading.tof_tr_mm", {"mm", "what the ToF zone said, top right"}},
    {"reading.tof_br_mm", {"mm", "bottom right"}},
    {"reading.tof_tl_mm", {"mm", "top left"}},
    {"reading.tof_bl_mm", {"mm", "bottom left"}},
    {"gravity.x", {"g", "gravity as the sensor said, its offsets taken off: to the right"}},
    {"gravity.y", {"g", "to the front"}},
    {"gravity.z", {"g", "up"}},
    {"order.position_steps",
     {"steps", "full steps to the right that were ordered in all; 0 again at an end stop"}},
    {"order.side", {"", "side of the last order: -1 left, 1 right"}},
    {"order.top_width", {"px", "width of the top edge, as the display driver was told"}},
    {"order.bottom_width", {"px", "width of the bottom edge"}},
    {"tilt.tof_deg", {"deg", "tilt against the wall as the ToF sensor has it"}},
    {"tilt.tof_turn_deg", {"deg", "turn against the wall as the ToF sensor has it"}},
    {"tilt.gravity_deg", {"deg", "tilt as the gravity sensor has it"}},
    {"tilt.chosen_deg", {"deg", "tilt that the picture was squared for"}},
    {"tilt.chosen_by", {"", "who told that tilt: 0 the host, 1 the ToF sensor, 2 the gravity sensor"}},
    {"tilt.chosen_roll_deg", {"deg", "roll that it was squared for"}},
    {"target.tmr", {"TMR", "where the library wants the lens"}},
    {"state.g_limitLeft", {"TMR", "soft limit of the lens to the left"}},
    {"state.g_limitRight", {"TMR", "soft limit to the right"}},
    {"state.leftIdle", {"steps", "play on turning to the left, as the library knows it"}},
    {"state.rightIdle", {"steps", "play on turning to the right"}},
    {"state.lastDistance", {"mm", "distance of the last run"}},
    {"state.g_focus_temp_adjust", {"TMR", "offset for warmth"}},
    {"state.threshold_acc_to_shake", {"deg", "a step of the tilt that counts as a movement"}},
    {"state.threshold_acc_to_steady", {"deg", "a step that counts as rest"}},
    {"state.threshold_to_trigger_keystone", {"deg", "a change that asks for keystone"}},
    {"state.vKeystoneVal", {"deg", "tilt as the gravity sensor has it"}},
    {"state.thetaKeystoneVal", {"deg", "roll as the gravity sensor has it"}},
    {"state.acc_degree.x", {"deg", "angle of the x axis of gravity"}},
    {"state.acc_degree.y", {"deg", "angle of the y axis"}},
    {"state.acc_degree.z", {"deg", "angle of the z axis"}},
};

constexpr std::pair<std::string_view, std::string_view> endings[] = {
    {"_mm", "mm"}, {"_deg", "deg"}, {"_c", "C"}, {"_tmr", "TMR"}, {"_px", "px"}, {"_steps", "steps"}};

bool ends_with(std::string_view text, std::string_view ending) {
    return text.size() >= ending.size() && text.substr(text.size() - ending.size()) == ending;
}

std::string_view unit_by_ending(std::string_view name) {
    for (const auto& [ending, unit] : endings) {
        if (ends_with(name, ending)) return unit;
    }
    return "";
}

bool equal(double a, double b) { return a == b || (std::isnan(a) && std::isnan(b)); }

template <typename Value>
Value value_at(const std::string& bytes, std::size_t offset) {
    Value value{};
    std::memcpy(&value, bytes.data() + offset, sizeof value);
    return value;
}

// The members of the truth that say nothing when the picture is not on the wall.
bool needs_wall(std::string_view key) {
    return ends_with(key, "_side_deg") || ends_with(key, "_edge_deg") || ends_with(key, "_difference") ||
           key == "blur_corner_px";
}

// Of "NAME = 12.3" in a line of the log; none: not a number.
double number_after(const std::string& line, const char* words) {
    const std::size_t at = line.find(words);
    if (at == std::string::npos) return unknown;
    const char* const text = line.c_str() + at + std::strlen(words);
    char* end = nullptr;
    const double value = std::strtod(text, &end);
    return end == text ? unknown : value;
}

// Before the first samples all angles are zero, as gravity never has them.
bool has_felt_gravity(const std::string& angles) {
    for (const char* const axis : {"x = ", "y = ", "z = "}) {
        if (number_after(angles, axis) != 0) return true;
    }
    return false;
}

bool is_valid(int distance_mm, int quality) {
    return quality >= min_valid_quality && quality <= max_quality && distance_mm > 0 &&
           distance_mm < no_distance_mm;
}

double number_in(const std::string& text) {
    char* end = nullptr;
    const double value = std::strtod(text.c_str(), &end);
    return end == text.c_str() || !std::isfinite(value) ? unknown : value;
}

}  // namespace

void Signal::add(std::int64_t at_us, double value) {
    if (!t_us.empty() && at_us <= t_us.back()) {
        at_us = t_us.back();
        t_us.pop_back();
        values.pop_back();
    }
    if (!values.empty() && equal(values.back(), value)) return;
    t_us.push_back(at_us);
    values.push_back(value);
}

SignalInfo signal_info(const std::string& name) {
    for (const Entry& entry : entries) {
        if (entry.name == name) return entry.info;
    }
    return {unit_by_ending(name), ""};
}

Signal& SignalCollector::signal(const std::string& name) {
    const auto found = signals_.find(name);
    if (found != signals_.end()) return found->second;
    const SignalInfo info = signal_info(name);
    return signals_.emplace(name, Signal{name, std::string(info.unit), std::string(info.about), {}, {}})
        .first->second;
}

void SignalCollector::take_run(const RunRecord& run) {
    add("order.position_steps", 0, 0);
    const Parameter* const units = find_parameter("gravity.units_per_g");
    if (units != nullptr) units_per_g_ = units->standard;
    for (const RunRecord::Setting& setting : run.settings) {
        if (setting.name == "gravity.units_per_g" && setting.value > 0) units_per_g_ = setting.value;
    }
}

void SignalCollector::take_truth(const TruthAt& truth) {
    TruthRecord::for_each_member([&](const char* key, auto member, bool) {
        using Member = std::decay_t<decltype(truth.*member)>;
        if constexpr (std::is_arithmetic_v<Member>) {
            const auto value = static_cast<double>(truth.*member);
            const bool known = truth.on_wall || !needs_wall(key);
            add(std::string("truth.") + key, truth.t_us, known ? value : unknown);
        }
    });
    for (std::size_t i = 0; i < corner_names.size(); ++i) {
        const double px = truth.blur_corners_px.at(i);
        add(std::string("truth.blur_") + corner_names.at(i) + "_px", truth.t_us, truth.on_wall ? px : unknown);
    }
    for (std::size_t zone = 0; zone < zone_names.size(); ++zone) {
        const double mm = truth.zones_mm.at(zone);
        add(std::string("truth.zone_") + zone_names.at(zone) + "_mm", truth.t_us, mm < 0 ? unknown : mm);
    }
}

void SignalCollector::take_call(const CallAt& call) {
    if (call.call == "ioctl") {
        if (call.result >= 0) take_request(call);
    } else if (call.call == "read") {
        if (call.result > 0) take_read(call);
    } else if (call.call == "write") {
        const bool is_motor = call.path.compare(0, motor_folder.size(), motor_folder) == 0;
        if (is_motor && call.result >= 0)
            take_motor(call, std::string_view(call.path).substr(motor_folder.size()));
    } else if (call.path == "nx_angle_cal") {
        take_angles(call);
    }
}

void SignalCollector::take_read(const CallAt& call) {
    if (call.path == tmr_node) add("reading.tmr", call.t_us, number_in(call.bytes));
    if (call.path == led_node) add("reading.led_c", call.t_us, number_in(call.bytes));
    ZonesAt zones;
    zones.t_us = call.t_us;
    if (call.path == ranging_node) {
        auto& d = zones.distance_mm;
        auto& q = zones.quality;
        if (std::sscanf(call.bytes.c_str(), "%d,%d,%d,%d,%d,%d,%d,%d", &d[0], &d[1], &d[2], &d[3], &q[0], &q[1],
                        &q[2], &q[3]) == 8)
            take_zones(zones);
    } else if (call.path == grid_node) {
        constexpr std::size_t word_digits = 8;
        constexpr std::array<std::size_t, 4> corners = {2, 8, 0, 6};  // rows of three from the top left
        if (call.bytes.size() < 9 * word_digits) return;
        for (std::size_t zone = 0; zone < corners.size(); ++zone) {
            const std::string word = call.bytes.substr(corners.at(zone) * word_digits, word_digits);
            const unsigned long bits = std::strtoul(word.c_str(), nullptr, 16);
            zones.distance_mm.at(zone) = static_cast<int>(bits & 0xFFFF);
            zones.quality.at(zone) = static_cast<int>(bits >> 16 & 0xFFFF);
        }
        take_zones(zones);
    }
}

void SignalCollector::take_motor(const CallAt& call, std::string_view node) {
    const int count = std::atoi(call.bytes.c_str());
    if (node == "pulse") half_steps_ = count == 1;
    if (node == "zero" || node == "end" || node == "total_steps") {
        ordered_steps_ = 0;
        add("order.position_steps", call.t_us, 0);
        add("order.side", call.t_us, node == "zero" ? -1 : 1);
        return;
    }
    for (const Side side : {Side::left, Side::right}) {
        if (node != side_name(side) || count == 0) continue;
        const double sign = side == Side::left ? -1 : 1;
        ordered_steps_ += sign * count * (half_steps_ ? 0.5 : 1.0);
        add("order.position_steps", call.t_us, ordered_steps_);
        add("order.side", call.t_us, sign);
    }
}

void SignalCollector::take_request(const CallAt& call) {
    switch (call.request) {
        case get_gravity_sample:
            take_gravity(call);
            break;
        case get_tof_frame:
            take_frame(call);
            break;
        case set_widths:
            take_widths(call);
            break;
        default:
            break;
    }
}

void SignalCollector::take_gravity(const CallAt& call) {
    constexpr std::array<const char*, 3> names = {"gravity.x", "gravity.y", "gravity.z"};
    if (call.returned.size() != names.size() * sizeof(std::int32_t)) return;
    for (std::size_t axis = 0; axis < names.size(); ++axis) {
        if (gravity_.at(axis) == nullptr) gravity_.at(axis) = &signal(names.at(axis));
        const auto units = value_at<std::int32_t>(call.returned, axis * sizeof(std::int32_t));
        gravity_.at(axis)->add(call.t_us, units / units_per_g_);
    }
}

// Records of eight bytes, one a zone: distance, quality, nothing.
void SignalCollector::take_frame(const CallAt& call) {
    constexpr std::size_t record = 8;
    const std::size_t count = call.returned.size() / record;
    const int mode = count == zone_count(eight_zone_mode) ? eight_zone_mode : four_zone_mode;
    if (count != zone_count(mode)) return;
    ZonesAt zones;
    zones.t_us = call.t_us;
    const std::array<std::size_t, 4> corners = corner_zones(mode);
    for (std::size_t zone = 0; zone < corners.size(); ++zone) {
        zones.distance_mm.at(zone) = value_at<std::uint16_t>(call.returned, corners.at(zone) * record);
        zones.quality.at(zone) = value_at<std::uint16_t>(call.returned, corners.at(zone) * record + 2);
    }
    take_zones(zones);
}

void SignalCollector::take_zones(const ZonesAt& zones) {
    ZonesAt now = zones;
    for (std::size_t zone = 0; zone < zone_names.size(); ++zone) {
        now.valid.at(zone) = is_valid(now.distance_mm.at(zone), now.quality.at(zone));
        const double mm = now.valid.at(zone) ? now.distance_mm.at(zone) : unknown;
        add(std::string("reading.tof_") + zone_names.at(zone) + "_mm", now.t_us, mm);
    }
    const bool is_news =
        zones_.empty() || zones_.back().distance_mm != now.distance_mm || zones_.back().quality != now.quality;
    if (is_news) zones_.push_back(now);
}

// Layer, switch and padding; then the bottom edge, then the top edge.
void SignalCollector::take_widths(const CallAt& call) {
    constexpr std::size_t size = 28;
    constexpr std::size_t bottom = 8;
    constexpr std::size_t top = 12;
    if (call.given.size() != size) return;
    add("order.top_width", call.t_us, value_at<std::int32_t>(call.given, top));
    add("order.bottom_width", call.t_us, value_at<std::int32_t>(call.given, bottom));
}

void SignalCollector::take_angles(const CallAt& call) {
    for (const NamedText& output : call.outputs) {
        const double degrees = call.result < 0 ? unknown : number_in(output.value);
        if (output.name == "yaw_deg") add("tilt.tof_deg", call.t_us, degrees);
        if (output.name == "pitch_deg") add("tilt.tof_turn_deg", call.t_us, degrees);
    }
}

void SignalCollector::take_state(const StateLine& state) {
    for (const auto& [name, value] : state.values) add("state." + name, state.t_us, value);
}

void SignalCollector::take_log(const LogLine& log) {
    const auto add_number = [&](const char* name, const char* words) {
        const double value = number_after(log.text, words);
        if (!std::isnan(value)) add(name, log.t_us, value);
    };
    const auto says = [&](const char* words) { return log.text.find(words) != std::string::npos; };
    if (says("TOF: yaw")) {
        add_number("tilt.tof_deg", "TOF: yaw = ");
        add_number("tilt.tof_turn_deg", "pitch = ");
    }
    if (says("gsensor angle :") && has_felt_gravity(log.text)) add_number("tilt.gravity_deg", "vAngle = ");
    if (says("halg = ")) {
        add_number("tilt.chosen_deg", "valg = ");
        add_number("tilt.chosen_roll_deg", "theta = ");
    }
    take_choice(log);
    add_number("target.tmr", "targetTMR = ");
}

// A tilt by the ToF sensor is told before the picture is squared for it, one by gravity afterwards.
void SignalCollector::take_choice(const LogLine& log) {
    const auto says = [&](const char* words) { return log.text.find(words) != std::string::npos; };
    if (says("tof angle = ")) tof_told_ = true;
    if (says("halg = ")) {
        chosen_us_ = log.t_us;
        add("tilt.chosen_by", log.t_us, tof_told_ ? chosen_by_tof : chosen_by_host);
        tof_told_ = false;
    }
    if (says("use gsensor vAngle")) {
        Signal& chosen = signal("tilt.chosen_by");
        chosen.add(chosen.t_us.empty() ? chosen_us_ : std::max(chosen_us_, chosen.t_us.back()),
                   chosen_by_gravity);
    }
}

}  // namespace vp
