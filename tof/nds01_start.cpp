#include "ovrafocus/nds01_start.h"

#include <array>
#include <cerrno>

#include "base/log.h"
#include "ovrafocus/nds01_isp.h"
#include "ovrafocus/nds01_sysfs.h"
#include "tof/nds01_device.h"

namespace ovra {
namespace {

using SpadSelection = std::array<uint8_t, 8>;

// The driver may read it after the command that names it.
SpadSelection spad_selection{};

int32_t fail_point_mode(const char* complaint) {
    log_tof("%s: %s\n", "nds01_set_point_mode", complaint);
    return -1;
}

bool refresh_point_mode() {
    int32_t mode = 0;
    if (nds01_isp_get_point_mode(&mode, spad_selection.data()) < 0) return false;
    set_current_point_mode(mode);
    return true;
}

bool hand_over_spad_selection(int32_t mode) {
    if (mode != eight_zone_mode) {
        const auto selection = reinterpret_cast<intptr_t>(spad_selection.data());
        return nds01_set_isp_spad_enable(selection, static_cast<int32_t>(spad_selection.size())) >= 0;
    }
    const int32_t result = send_spad_selection(spad_selection.data());
    if (result == whole_command_bytes) return true;
    log_tof("%s: fail to write lib_data, ret = %d!\n", "nds01_set_point_mode", result);
    return false;
}

}  // namespace
}  // namespace ovra

int32_t nds01_dev_init(int32_t point_mode) {
    if (ovra::open_tof_device() < 0) return -1;
    if (nds01_isp_init(NDS01_FILTER_DEFAULT) < 0) {
        ovra::log_tof("fail to init isp!");
        return -ENOENT;
    }
    if (nds01_set_point_mode(point_mode) < 0) {
        ovra::log_tof("fail to set point mode!");
        return -ESRCH;
    }
    ovra::log_tof("nds01 device init successful.");
    return 0;
}

int32_t nds01_dev_uninit(void) {
    nds01_isp_uninit();
    ovra::close_tof_device();
    ovra::log_tof("nds01 device uninit successful.");
    return 0;
}

int32_t nds01_set_point_mode(int32_t mode) {
    using ovra::fail_point_mode;
    if (nds01_set_running_state(0) < 0) return fail_point_mode("stop ranging failed!");
    if (nds01_isp_set_point_mode(mode) < 0) return fail_point_mode("fail to set point mode!");
    if (!ovra::refresh_point_mode()) return fail_point_mode("fail to get point mode!");
    if (!ovra::hand_over_spad_selection(mode)) return -1;
    if (write_sysfs_int("point_mode", ovra::tof_attributes, mode) < 0) {
        return fail_point_mode("fail to write point_mode!");
    }
    if (nds01_set_running_state(1) < 0) return fail_point_mode("start ranging failed!!");
    return 0;
}

int32_t nds01_get_point_mode(int32_t* mode, uint8_t* spad_selection) {
    return nds01_isp_get_point_mode(mode, spad_selection);
}
