#include "ovrafocus/keystone_width.h"

#include <pthread.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <optional>
#include <vector>

#include "base/log.h"
#include "base/shared_flag.h"
#include "focusctrl/autofocus/focus_plan.h"
#include "focusctrl/autofocus/keystone_plan.h"
#include "ovrafocus/display_keystone.h"
#include "ovrafocus/focus_nodes.h"
#include "ovrafocus/gravity_state.h"
#include "ovrafocus/nds01_isp.h"
#include "ovrafocus/projection_geometry.h"
#include "ovrafocus/requests.h"
#include "ovrafocus/result_codes.h"

int32_t width = 1280;
int32_t height = 720;
int32_t preUpW = 1280;
int32_t preDownW = 1280;
int32_t currentKeystoneAngle = 0;
uint8_t focusAndKeystone = 0;
pthread_mutex_t mutex_keystone = PTHREAD_MUTEX_INITIALIZER;

namespace {

using ovra::KeystoneWidths;
using ovra::load;
using ovra::log_focus;
using ovra::store;

constexpr int tof_readings = 3;  // the first one is discarded: it may be left over from before the movement
constexpr double hundredths_per_degree = 100.0;

constexpr useconds_t halving_pause_us = 30000;

// The keystone of this product corrects the tilt alone.
constexpr float no_turn_degrees = 0.0F;
constexpr float no_roll_degrees = 0.0F;
constexpr float picture_on_lens_axis = 0.0F;

// A ranging frame: distances in millimetres, then confidences, each in this order.
enum FrameValue { top_right, bottom_right, top_left, bottom_left, confidences };
using Frame = std::array<int32_t, ovra::ranging_frame_values>;

// ---- The tilt ------------------------------------------------------------------------------------------

bool read_tof_angle(nds01_angle_result& reading) {
    if (nds01_get_angle(&reading) < 0) {
        log_focus("VKeystone: nds01_get_angle failed");
        return false;
    }
    log_focus("TOF: yaw = %.1f degree, pitch = %.1f degree, Depth = %dmm\n",
              reading.yaw / hundredths_per_degree, reading.pitch / hundredths_per_degree, reading.depth_mm);
    return true;
}

// The sensor is mounted a quarter turn round: what it calls yaw is the projector's tilt.
void add_tilt(float& sum_degrees, const nds01_angle_result& reading) {
    sum_degrees = static_cast<float>(static_cast<double>(sum_degrees) + reading.yaw / hundredths_per_degree);
}

int32_t mean_of_rows(int32_t left_mm, int32_t right_mm) {
    return static_cast<int32_t>((static_cast<int64_t>(left_mm) + right_mm) / 2);
}

void log_frame(int32_t result, const Frame& frame) {
    log_focus("tof distance ret=%d, tr:%d, br:%d, tl:%d, bl=%d\n", result, frame[top_right],
              frame[bottom_right], frame[top_left], frame[bottom_left]);
    const int32_t* confidence = frame.data() + confidences;
    log_focus("tof confidence ret=%d, tr:%d, br:%d, tl:%d, bl=%d\n", result, confidence[top_right],
              confidence[bottom_right], confidence[top_left], confidence[bottom_left]);
}

std::optional<int32_t> tof_angle() {
    int32_t angle = 0;
    if (get_tof_angle(&angle) == 0) return angle;
    log_focus("VKeystone: get_tof_angle fail");
    return std::nullopt;
}

struct GravityTilt {
    float x_degrees;
    int32_t vertical_degrees;
};

GravityTilt gravity_tilt() {
    float x = 0.0F;
    float y = 0.0F;
    float z = 0.0F;
    acc_get_degree(&x, &y, &z);
    const int32_t vertical = ovra::tilt_from_gravity(y, z);
    log_focus("\033[36;1mgsensor angle : x = %f, y = %f, z = %f, vAngle = %d\033[0m\n", static_cast<double>(x),
              static_cast<double>(y), static_cast<double>(z), vertical);
    return {x, vertical};
}

// ---- The widths ----------------------------------------------------------------------------------------

void log_offsets(const std::array<float, ovra::offset_count>& o) {
    const auto at = [&o](ovra::OffsetSlot slot) { return static_cast<double>(o[slot]); };
    log_focus("finalOffsetPoints：\ntl: %f, %f\ttr: %f, %f\nbl: %f, %f\tbr: %f, %f\n\n", at(ovra::tl_x),
              at(ovra::tl_y), at(ovra::tr_x), at(ovra::tr_y), at(ovra::bl_x), at(ovra::bl_y), at(ovra::br_x),
              at(ovra::br_y));
}

// Nothing when the geometry had no memory for its result.
std::optional<KeystoneWidths> compute_widths(int32_t angle, const char* caller) {
    const int32_t panel_width = load(width);
    const int32_t panel_height = load(height);
    const std::vector<float> result =
        keystoneDeviation(no_turn_degrees, static_cast<float>(angle), picture_on_lens_axis, load(DLP_RATIO),
                          panel_width, panel_height, no_roll_degrees);
    std::array<float, ovra::offset_count> offsets{};
    if (result.size() != offsets.size()) return std::nullopt;
    std::copy(result.begin(), result.end(), offsets.begin());
    log_offsets(offsets);
    const KeystoneWidths widths = ovra::widths_from_offsets(offsets, panel_width, panel_height);
    log_focus("%s: keystone upWidth = %d, downWidth = %d\n", caller, widths.up, widths.down);
    return widths;
}

// ---- Applying them -------------------------------------------------------------------------------------

constexpr const char* apply_name = "varnel_thread_setDLPKeystone";

// The display's answer is not looked at: the next run sends widths again.
void apply_exactly(const KeystoneWidths& target) {
    set_keystone_api(target.up, target.down);
    store(preDownW, target.down);
    store(preUpW, target.up);
}

// One edge is full at once; the other one goes half of the remaining way with each step.
void step_towards(const KeystoneWidths& target) {
    int32_t& full_edge = target.up_is_full ? preUpW : preDownW;
    int32_t& moving_edge = target.up_is_full ? preDownW : preUpW;
    const int32_t goal = target.up_is_full ? target.down : target.up;
    const char* goal_name = target.up_is_full ? "downWidth" : "upWidth";
    const char* edge_name = target.up_is_full ? "preDownW" : "preUpW";

    store(full_edge, load(width));
    set_keystone_api(load(preUpW), load(preDownW));
    for (int step = 0; step < ovra::max_halving_steps; ++step) {
        if (!ovra::halving_goes_on(goal, load(moving_edge))) break;
        store(moving_edge, ovra::halfway(goal, load(moving_edge)));
        log_focus("%s: circle %s = %d, %s = %d\n", apply_name, goal_name, goal, edge_name, load(moving_edge));
        set_keystone_api(load(preUpW), load(preDownW));
        ::usleep(halving_pause_us);
    }
}

void approach(const KeystoneWidths& target) {
    if (ovra::noticeable(target, load(preUpW), load(preDownW))) step_towards(target);
    apply_exactly(target);
    if (load(focusAndKeystone) != 0) store(focusAndKeystone, 0);
}

int32_t correct_by_gravity(int32_t vertical_degrees) {
    const int32_t result = varnel_thread_setDLPKeystone(vertical_degrees);
    log_focus("\033[36;1muse gsensor vAngle\033[0m");
    return result;
}

int32_t report(int32_t result) {
    if (result == -1) {
        log_focus("VKeystone: varnel_thread_setDLPKeystone fail");
        return -1;
    }
    log_focus("VKeystone success");
    return 0;
}

}  // namespace

int32_t get_tof_angle(int32_t* angle) {
    float sum_degrees = 0.0F;
    float count = 0.0F;
    for (int n = 0; n < tof_readings; ++n) {
        nds01_angle_result reading{};
        if (!read_tof_angle(reading)) return -1;
        if (n == 0) continue;
        add_tilt(sum_degrees, reading);
        count += 1.0F;
    }
    const std::optional<int32_t> mean = ovra::mean_tilt(sum_degrees, count);
    if (!mean) return -1;
    *angle = *mean;
    log_focus("tof angle = %d degree\n", *mean);
    return 0;
}

int32_t cacuTofAngle(int32_t* angle) {
    log_focus("VKeystone: cacuTofAngle by distance");
    Frame frame{};
    const int32_t result = tof_distance_read(frame.data());
    if (result == -1) {
        log_focus("cacuTofAngle error: get tof distance failed");
        return -1;
    }
    log_frame(result, frame);
    const int32_t up_mm = mean_of_rows(frame[top_left], frame[top_right]);
    const int32_t down_mm = mean_of_rows(frame[bottom_left], frame[bottom_right]);
    log_focus("avgDistUp = %d\n", up_mm);
    log_focus("avgDistDown = %d\n", down_mm);
    const double tilt_degrees = ovra::tilt_from_distances(up_mm, down_mm);
    log_focus("TOF keystone cali param: phi = %f, beta = %f\n", static_cast<double>(ovra::zone_rows_degrees),
              static_cast<double>(ovra::mounting_degrees));
    log_focus("TOF keystone: avgDistUp = %d, avgDistDown = %d, result = %lf\n", up_mm, down_mm, tilt_degrees);
    *angle = ovra::whole_number(tilt_degrees);
    log_focus("VKeystone: cacuTofAngle success");
    return 0;
}

int32_t varnel_keystone(int32_t code) {
    if (load(g_osd_keystone) == 0) return 0;
    if (code == OVRA_KEYSTONE_FOR_FOCUS) store(focusAndKeystone, 1);
    const std::optional<int32_t> tof_degrees = tof_angle();
    const GravityTilt gravity = gravity_tilt();
    switch (ovra::choose_tilt_source(tof_degrees, gravity.x_degrees)) {
        case ovra::TiltSource::tof:
            return report(varnel_thread_setDLPKeystone(*tof_degrees));
        case ovra::TiltSource::gravity:
            if (std::abs(gravity.vertical_degrees) > ovra::gravity_max_degrees) {
                log_focus("keystone error: vAngle > 90");
                return -1;
            }
            return report(correct_by_gravity(gravity.vertical_degrees));
        case ovra::TiltSource::none:
            break;
    }
    return OVRA_RESULT_NO_DISTANCE;
}

int32_t varnel_thread_setDLPKeystone(int32_t angle) {
    pthread_mutex_lock(&mutex_keystone);
    const std::optional<KeystoneWidths> target = compute_widths(angle, apply_name);
    // Without memory the board does not live much longer; the mutex stays locked and no run follows.
    if (!target) return -1;
    if (load(g_run_once_keystone) != 0) {
        apply_exactly(*target);
    } else {
        approach(*target);
    }
    store(currentKeystoneAngle, angle);
    pthread_mutex_unlock(&mutex_keystone);
    return 0;
}

int32_t varnel_cacu_keystone_width(int32_t angle, int32_t* upWidth, int32_t* downWidth) {
    const std::optional<KeystoneWidths> widths = compute_widths(angle, "varnel_cacu_keystone_width");
    if (!widths) return -1;
    *upWidth = widths->up;
    *downWidth = widths->down;
    store(currentKeystoneAngle, angle);
    return 0;
}

int32_t get_current_keystone_angle() { return load(currentKeystoneAngle); }
