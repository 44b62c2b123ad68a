// What a page draws of the world at one time, as an object.
//
//     {"truth":{...},             as in a trace
//      "pose":{"distance_mm":…},  as it is meant, without what a hand's tremor adds
//      "held":false,              a hand has it
//      "gravity_g":[left, back, up],"led_reading_c":45,
//      "zones":{"sensed_mm":[4],"true_mm":[4],"quality":[4]},   top right, bottom right, top left, bottom left
//      "room":{"room.corner_mm":0,…}}   of the room, the wall, the heat and what blocks the ToF sensor
#ifndef VIRTUAL_PROJECTOR_LIVE_WORLD_STATE_H
#define VIRTUAL_PROJECTOR_LIVE_WORLD_STATE_H

#include <nlohmann/json_fwd.hpp>

#include "virtual_projector/world/world.h"

namespace vp {

/// The world at the time to which it has been advanced.
nlohmann::ordered_json state_of(const World& world);

}  // namespace vp

#endif
