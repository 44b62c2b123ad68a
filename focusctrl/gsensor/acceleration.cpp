#include "ovrafocus/acceleration.h"

#include <sys/time.h>

#include <cstdint>
#include <optional>

#include "base/elapsed_time.h"
#include "base/log.h"
#include "base/mutex_guard.h"
#include "base/whole_number.h"
#include "focusctrl/gsensor/block_average.h"
#include "focusctrl/gsensor/gravity_log.h"
#include "focusctrl/gsensor/gravity_sensor.h"
#include "focusctrl/gsensor/gravity_state.h"
#include "focusctrl/gsensor/motion.h"

namespace ovra {
namespace {

// The block under way; guarded by sample_processing.
BlockAverage block;

void process_sample(const Axes& sample) {
    set_axes(acc_read_data, sample);
    log_axes(level_sample, "%s %.3f %.3f %.3f", "acc read", sample);
    const std::optional<Axes> average = block.add(sample);
    if (!average) return;
    set_axes(acc_avg, *average);
    log_axes(level_sample, "%s %.3f %.3f %.3f", "acc avg", *average);
    judge_block(*average);
}

}  // namespace
}  // namespace ovra

int32_t acc_init_set(void) {
    ovra::calibrate_gravity_sensor();
    if (!ovra::open_gravity_sensor()) return -1;
    ovra::log_focus_at(ovra::level_event, "gsensor work in ioctl mode");
    return 0;
}

void acc_event_read(void) {
    // The request is outside the lock: it waits for the sensor, and two threads may wait side by side.
    const std::optional<ovra::Axes> sample = ovra::read_gravity_sample();
    if (!sample) return;
    const ovra::MutexGuard processing(ovra::sample_processing);
    ovra::process_sample(*sample);
}

int32_t acc_file_close(void) { return ovra::close_gravity_sensor(); }

int32_t get_systime_ms(struct timeval start) {
    return ovra::saturated_to_32_bits(ovra::elapsed_ms(start, ovra::wall_clock()));
}
