#include "ovrafocus/distance.h"

#include <cstdlib>

#include "base/log.h"
#include "base/shared_flag.h"
#include "focusctrl/autofocus/focus_plan.h"
#include "ovrafocus/focus_nodes.h"
#include "ovrafocus/keystone_width.h"
#include "ovrafocus/lens_state.h"

namespace {

using ovra::load;
using ovra::log_focus;

constexpr int64_t changed_distance_mm = 20;

}  // namespace

int32_t getAvgDist(const int32_t* frame) { return ovra::average_distance(frame, ovra::ranging_zones); }

int32_t isDistChanged(void) {
    int32_t frame[ovra::ranging_frame_values];
    const int32_t result = tof_distance_read(frame);
    if (result == -1) return -1;
    const int32_t angle = get_current_keystone_angle();
    const int32_t average = getAvgDist(frame);
    log_focus("tof distance ret=%d, tr:%d, br:%d, tl:%d, bl:%d\n", result, frame[0], frame[1], frame[2],
              frame[3]);
    log_focus("\033[36;1mavgDist = %d, last keystone Angle = %d\033[0m\n", average, angle);
    const int64_t change = int64_t{average} - load(lastDistance);
    return std::abs(change) >= changed_distance_mm ? 1 : 0;
}
