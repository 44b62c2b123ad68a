#include "virtual_projector/interpose/state_watch.h"

#include <cmath>
#include <cstring>
#include <nlohmann/json.hpp>

namespace vp {
namespace {

using Kind = StateWatch::Kind;

// The angles stand after two words in their record, x first.
constexpr std::size_t angle_x = 8;
constexpr std::size_t angle_y = 12;
constexpr std::size_t angle_z = 16;
constexpr double angle_step_deg = 0.25;

// Other threads may write meanwhile.
std::uint32_t load(Kind kind, const void* address) {
    if (kind == Kind::byte) return __atomic_load_n(static_cast<const std::uint8_t*>(address), __ATOMIC_RELAXED);
    return __atomic_load_n(static_cast<const std::uint32_t*>(address), __ATOMIC_RELAXED);
}

float fraction_of(std::uint32_t bits) {
    float value = 0;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

double rounded(float value) {
    constexpr double scale = 1000;
    return std::round(static_cast<double>(value) * scale) / scale + 0.0;  // + 0.0: no negative zero
}

nlohmann::ordered_json value_of(Kind kind, std::uint32_t bits) {
    if (kind == Kind::fraction) return rounded(fraction_of(bits));
    return static_cast<std::int32_t>(bits);
}

}  // namespace

const std::vector<StateWatch::Variable>& StateWatch::variables() {
    static const auto* all = new std::vector<Variable>{
        {"g_run_once_AKAF", "g_run_once_AKAF", 0, Kind::byte, 0},
        {"g_run_once_keystone", "g_run_once_keystone", 0, Kind::byte, 0},
        {"m_manuKeystone_value_for_thread", "m_manuKeystone_value_for_thread", 0, Kind::number, 0},
        {"g_osd_keystone", "g_osd_keystone", 0, Kind::byte, 0},
        {"g_osd_autofocus", "g_osd_autofocus", 0, Kind::byte, 0},
        {"g_osd_state_autofocus", "g_osd_state_autofocus", 0, Kind::byte, 0},
        {"g_limitLeft", "g_limitLeft", 0, Kind::number, 0},
        {"g_limitRight", "g_limitRight", 0, Kind::number, 0},
        {"leftIdle", "leftIdle", 0, Kind::number, 0},
        {"rightIdle", "rightIdle", 0, Kind::number, 0},
        {"lastDirection", "lastDirection", 0, Kind::byte, 0},
        {"direction", "direction", 0, Kind::number, 0},
        {"lastDistance", "lastDistance", 0, Kind::number, 0},
        {"g_flag_high_temp", "g_flag_high_temp", 0, Kind::number, 0},
        {"g_flag_elepn_temp", "g_flag_elepn_temp", 0, Kind::number, 0},
        {"g_focus_temp_adjust", "g_focus_temp_adjust", 0, Kind::number, 0},
        {"project_acc_angle_changed", "project_acc_angle_changed", 0, Kind::number, 0},
        {"project_tof_dist_changed", "project_tof_dist_changed", 0, Kind::number, 0},
        {"project_acc_shake_happened", "project_acc_shake_happened", 0, Kind::number, 0},
        {"threshold_acc_to_shake", "threshold_acc_to_shake", 0, Kind::fraction, 0},
        {"threshold_acc_to_steady", "threshold_acc_to_steady", 0, Kind::fraction, 0},
        {"threshold_to_trigger_keystone", "threshold_to_trigger_keystone", 0, Kind::fraction, 0},
        {"vKeystoneVal", "vKeystoneVal", 0, Kind::fraction, angle_step_deg},
        {"thetaKeystoneVal", "thetaKeystoneVal", 0, Kind::fraction, angle_step_deg},
        {"acc_degree.x", "acc_degree", angle_x, Kind::fraction, angle_step_deg},
        {"acc_degree.y", "acc_degree", angle_y, Kind::fraction, angle_step_deg},
        {"acc_degree.z", "acc_degree", angle_z, Kind::fraction, angle_step_deg},
    };
    return *all;
}

void StateWatch::find_variables(const WatchedLibrary& library) {
    library_ = &library;
    watched_.clear();
    for (const Variable& variable : variables()) {
        const auto* const found = static_cast<const char*>(library.find_variable(variable.symbol));
        if (found != nullptr) watched_.push_back({&variable, found + variable.offset, 0, false});
    }
}

bool StateWatch::has_changed(const Watched& watched, std::uint32_t now) {
    if (!watched.told) return true;
    if (now == watched.last) return false;
    const double step = watched.variable->step;
    return step == 0 || std::abs(fraction_of(now) - fraction_of(watched.last)) >= step;
}

nlohmann::ordered_json StateWatch::changes(const WatchedLibrary& library) {
    if (&library != library_) find_variables(library);
    nlohmann::ordered_json changed;
    for (Watched& watched : watched_) {
        const Kind kind = watched.variable->kind;
        const std::uint32_t now = load(kind, watched.address);
        if (!has_changed(watched, now)) continue;
        watched.last = now;
        watched.told = true;
        changed[watched.variable->name] = value_of(kind, now);
    }
    return changed;
}

}  // namespace vp
