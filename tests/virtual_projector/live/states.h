// What a live run tells of itself, for tests of those who hand it on.
#ifndef TESTS_VIRTUAL_PROJECTOR_LIVE_STATES_H
#define TESTS_VIRTUAL_PROJECTOR_LIVE_STATES_H

#include <nlohmann/json.hpp>

#include "virtual_projector/live/hub.h"

inline vp::Hub::Json state_at(int t_us) {
    return {{"t_us", t_us},
            {"truth",
             {{"lens_tmr", 1},
              {"best_tmr", 2},
              {"sharpness", 1},
              {"left_side_deg", 0},
              {"right_side_deg", 0},
              {"distance_mm", 1500},
              {"pitch_deg", 0},
              {"led_c", 45}}}};
}

#endif
