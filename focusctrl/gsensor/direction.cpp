#include "ovrafocus/direction.h"

#include <array>
#include <cstdint>

#include "base/log.h"
#include "base/shared_flag.h"
#include "focusctrl/gsensor/gravity_log.h"
#include "focusctrl/gsensor/rotation_choice.h"
#include "ovrafocus/gravity_state.h"
#include "ovrafocus/requests.h"
#include "platform/board_display.h"

using ovra::load;
using ovra::log_focus_at;
using ovra::store;

namespace ovra {
namespace {

// As the host counts: in the opposite direction to the display.
constexpr std::array<std::int32_t, rotations> host_rotation_codes{0, 3, 2, 1};

constexpr std::uint8_t half_turn = 2;

// What the display and the HDMI input are given: at the half turn nothing of either, otherwise the display
// turns by the rotation and the HDMI input by the half. Uneven as they look, the board needs these pairs.
constexpr int display_rotation_at_half_turn = 0;
constexpr int hdmi_rotation_at_half_turn = 0;
constexpr int hdmi_rotation_otherwise = 2;

std::uint8_t current_rotation = startup_phase;
std::uint8_t requested_rotation = 0;

void turn_picture(std::uint8_t rotation) {
    const bool at_half_turn = rotation == half_turn;
    am_set_rotation(at_half_turn ? display_rotation_at_half_turn : rotation);
    const int result = hdmirx_set_rotate(at_half_turn ? hdmi_rotation_at_half_turn : hdmi_rotation_otherwise);
    if (result < 0) log_focus_at(level_event, "HDMI stops working");
}

void notify_host(std::uint8_t rotation) {
    const app_callback_table* host = load_acquire(gsensor_app_callback);
    if (host != nullptr && host->rotation_changed != nullptr)
        host->rotation_changed(host_rotation_codes[rotation]);
}

const char* rotation_name(std::uint8_t rotation) {
    return rotation < rotations ? direction_at(rotation).name : "startup phase";
}

}  // namespace
}  // namespace ovra

int32_t set_device_direction(int32_t index) {
    if (index < 0 || index >= static_cast<int32_t>(ovra::directions.size())) {
        log_focus_at(ovra::level_event, "The angle set exceeds the range.\n");
        return -1;
    }
    const std::uint8_t rotation = ovra::direction_at(index).rotation;
    const std::uint8_t old_rotation = load(ovra::current_rotation);
    store(ovra::requested_rotation, rotation);
    if (rotation == old_rotation) return 0;
    ovra::turn_picture(rotation);
    // Before the host hears of it: its callback may lead back here, and must not find the turn still to be
    // made.
    store(ovra::current_rotation, rotation);
    ovra::notify_host(rotation);
    log_focus_at(ovra::level_event, "from %s -> %s, device rotation success", ovra::rotation_name(old_rotation),
                 ovra::rotation_name(rotation));
    return 0;
}

int32_t get_device_direction(void) { return load(ovra::requested_rotation); }

void match_projection_direction(void) {
    const ovra::Axes tilt = ovra::axes_of(acc_degree);
    const int matched = matching_direction(tilt);
    if (matched != ovra::no_direction)
        log_focus_at(ovra::level_match, "match projection direction %d", matched);

    const ovra::RotationAction action = choose_rotation(matched, tilt, load(ovra::current_rotation));
    if (action.kind == ovra::RotationAction::keep) return;
    if (action.kind == ovra::RotationAction::correct)
        log_focus_at(ovra::level_event, "correct forward or reverse from %s -> %s", "invalid direction",
                     ovra::direction_at(action.target).name);
    set_device_direction(action.target);
}
