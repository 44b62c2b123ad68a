#include "virtual_projector/live/world_state.h"

#include <array>
#include <cmath>
#include <nlohmann/json.hpp>
#include <string_view>

#include "virtual_projector/launcher/truth_trace.h"
#include "virtual_projector/trace/records.h"
#include "virtual_projector/world/parameters.h"
#include "virtual_projector/world/tof.h"
#include "virtual_projector/world/tof_frames.h"

namespace vp {
namespace {

using Json = nlohmann::ordered_json;

constexpr std::array<std::string_view, 5> drawn_areas = {"wall.", "room.", "heat.", "tof.blocked_",
                                                         "tof.zone_"};

double rounded(double value) {
    constexpr double scale = 1000;
    return std::round(value * scale) / scale + 0.0;  // + 0.0: no negative zero
}

bool is_drawn(std::string_view name) {
    for (const std::string_view area : drawn_areas) {
        if (name.substr(0, area.size()) == area) return true;
    }
    return false;
}

Json room_of(const Settings& settings) {
    Json values = Json::object();
    for (const Parameter& parameter : parameters()) {
        if (is_drawn(parameter.name)) values[std::string(parameter.name)] = parameter.get(settings);
    }
    return values;
}

Json pose_of(const Settings& settings) {
    const Pose& pose = settings.pose;
    return {{"distance_mm", rounded(pose.distance_mm)},
            {"pitch_deg", rounded(pose.pitch_deg)},
            {"yaw_deg", rounded(pose.yaw_deg)},
            {"roll_deg", rounded(pose.roll_deg)},
            {"mounting", pose.mounting}};
}

// What a sensor of four zones says that has been calibrated as it should be. The truth of a sensor that is set
// to eight is that of rays farther out.
Json zones_of(const World& world) {
    const TofScene scene = world.tof_scene();
    const std::int64_t frame = tof_frame_index({scene.tof.frames_per_s, 0, scene.seed}, world.now());
    const std::vector<ZoneReading> readings =
        tof_zones(scene, four_zone_mode, true_pixel_offsets(scene.tof, scene.unit_seed),
                  std::max<std::int64_t>(frame, 0));
    Json sensed = Json::array();
    Json quality = Json::array();
    Json really = Json::array();
    for (const ZoneReading& reading : readings) {
        sensed.push_back(reading.distance_mm);
        quality.push_back(reading.quality);
    }
    for (const double distance_mm : true_zone_distances(scene, four_zone_mode))
        really.push_back(std::isfinite(distance_mm) ? rounded(distance_mm) : -1);
    return {{"sensed_mm", sensed}, {"true_mm", really}, {"quality", quality}};
}

Json gravity_of(const World& world) {
    const double units_per_g = world.get("gravity.units_per_g");
    Json axes = Json::array();
    for (const double units : world.gravity_now()) axes.push_back(rounded(units / units_per_g));
    return axes;
}

}  // namespace

Json state_of(const World& world) {
    const Truth truth = world.truth();
    Json state = {{"truth", json_of(record_of(truth))}};
    state["pose"] = pose_of(world.settings());
    state["held"] = world.hand_is_moving();
    state["gravity_g"] = gravity_of(world);
    state["led_reading_c"] = world.led_reading_c();
    state["zones"] = zones_of(world);
    state["room"] = room_of(world.settings());
    return state;
}

}  // namespace vp
