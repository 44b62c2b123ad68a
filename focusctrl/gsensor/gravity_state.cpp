#include "focusctrl/gsensor/gravity_state.h"

#include "base/shared_flag.h"
#include "focusctrl/gsensor/axes.h"

ovra_acc_sample acc_read_data = {};
ovra_acc_sample acc_avg = {};
ovra_acc_sample acc_sum = {};
ovra_acc_sample acc_sum_last = {};
ovra_acc_angles acc_degree = {};
ovra_acc_angles acc_degree_last = {};
ovra_acc_angles acc_origin_data = {};
int32_t acc_input_arry[16] = {};
int32_t acc_correction_val[3] = {};

int32_t project_acc_angle_changed = 0;
int32_t project_tof_dist_changed = 0;
int32_t project_acc_shake_happened = 0;
float threshold_acc_to_shake = 25.01F;
float threshold_acc_to_steady = 1.76F;
float threshold_to_trigger_keystone = 4.01F;
float vKeystoneVal = 0.0F;
float thetaKeystoneVal = 0.0F;

namespace ovra {

pthread_mutex_t sample_processing = PTHREAD_RECURSIVE_MUTEX_INITIALIZER_NP;
std::uint8_t first_blocks_skipped = 0;
std::int32_t tof_steady_readings = 0;

}  // namespace ovra

using ovra::Axes;
using ovra::axes_of;
using ovra::load;

void acc_get_degree(float* x, float* y, float* z) {
    const Axes tilt = axes_of(acc_degree);
    *x = tilt.x;
    *y = tilt.y;
    *z = tilt.z;
}

void acc_get_data(float* x, float* y, float* z) {
    const Axes average = axes_of(acc_avg);
    *x = average.x;
    *y = average.y;
    *z = average.z;
}

int32_t acc_get_init_status(void) { return ovra::load_acquire(ovra::first_blocks_skipped); }

int32_t acc_get_angle(float* v, float* theta) {
    if (v != nullptr) *v = load(vKeystoneVal);
    if (theta != nullptr) *theta = load(thetaKeystoneVal);
    return 0;
}
