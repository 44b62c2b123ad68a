#include "focusctrl/autofocus/factory_step.h"

#include <unistd.h>

#include "base/log.h"
#include "focusctrl/autofocus/lens_units.h"
#include "ovrafocus/focus_nodes.h"

namespace ovra {
namespace {

constexpr useconds_t settle_us = 100000;

}  // namespace

std::int32_t measure_position(std::int32_t& reading) {
    std::int32_t current = reading;  // what stands when the sensor gives no number
    if (motor_tmr_x_dir_read(&current) != 0) return failed;
    log_focus("currentTMR = %d", current);
    reading = current;
    return 0;
}

std::int32_t step_and_measure(const char* message, std::int32_t (*move)(std::int32_t), std::int32_t& reading) {
    log_focus("%s", message);
    if (move(1) == failed) return failed;
    ::usleep(settle_us);
    return measure_position(reading);
}

}  // namespace ovra
